// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Frame check sequence of the MAC frame.
 */
@VintfStability
enum FcsType {
    /** 16-bit CRC. */
    CRC_16 = 0,
    /** 32-bit CRC. */
    CRC_32 = 1,
}
