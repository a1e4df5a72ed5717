// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Which angles of arrival a session measures.
 *
 * A type is available only when the hardware has the antenna pairs for it
 * (see FiraCapabilities).
 */
@VintfStability
enum AoaType {
    /** Azimuth only. */
    AZIMUTH = 0,
    /** Elevation only. */
    ELEVATION = 1,
    /** Both. */
    AZIMUTH_AND_ELEVATION = 2,
}
