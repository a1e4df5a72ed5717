// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * How ranging rounds hop within a block.
 */
@VintfStability
enum HoppingMode {
    /** No hopping. */
    NO_HOPPING = 0,
    /** Hop in every block. */
    CONTINUOUS = 1,
    /** Hop when the round of a block failed. */
    ADAPTIVE = 2,
}
