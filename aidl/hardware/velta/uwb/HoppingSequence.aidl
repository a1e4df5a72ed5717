// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * How the next round of a hop is chosen.
 */
@VintfStability
enum HoppingSequence {
    /** The default sequence. */
    DEFAULT = 0,
    /** A sequence derived with AES. */
    AES = 1,
}
