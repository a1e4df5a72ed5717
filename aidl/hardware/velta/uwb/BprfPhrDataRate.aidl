// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Data rate of the PHY header in BPRF mode.
 */
@VintfStability
enum BprfPhrDataRate {
    /** 850 kb/s. */
    RATE_850K = 0,
    /** 6.81 Mb/s. */
    RATE_6M81 = 1,
}
