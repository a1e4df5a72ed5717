// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Ranging method of a round (IEEE 802.15.4z).
 */
@VintfStability
enum RangingRoundUsage {
    /** One-way ranging; not supported by this service. */
    OWR = 0,
    /** Single-sided two-way ranging. */
    SS_TWR = 1,
    /** Double-sided two-way ranging. */
    DS_TWR = 2,
}
