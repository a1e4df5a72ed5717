// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * UWB pulse shape (CCC digital key numbering).
 */
@VintfStability
enum PulseShape {
    /** Symmetrical root raised cosine pulse. */
    SYMMETRICAL_ROOT_RAISED_COSINE = 0,
    /** Precursor-free pulse. */
    PRECURSOR_FREE = 1,
    /** Precursor-free pulse for special use. */
    PRECURSOR_FREE_SPECIAL = 2,
}
