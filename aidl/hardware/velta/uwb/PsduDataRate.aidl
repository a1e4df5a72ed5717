// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Payload data rate.
 */
@VintfStability
enum PsduDataRate {
    /** 6.81 Mb/s. */
    RATE_6M81 = 0,
    /** 7.80 Mb/s. */
    RATE_7M80 = 1,
    /** 27.2 Mb/s. */
    RATE_27M2 = 2,
    /** 31.2 Mb/s. */
    RATE_31M2 = 3,
}
