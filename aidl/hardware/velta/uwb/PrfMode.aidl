// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Pulse repetition frequency mode (IEEE 802.15.4z HRP).
 */
@VintfStability
enum PrfMode {
    /** Base pulse repetition frequency, 64 MHz. */
    BPRF = 0,
    /** Higher pulse repetition frequency, 124.8 MHz or 249.6 MHz. */
    HPRF = 1,
}
