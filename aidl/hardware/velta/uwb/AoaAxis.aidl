// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Axis of an angle of arrival.
 */
@VintfStability
enum AoaAxis {
    /** In the horizontal plane of the antenna. */
    AZIMUTH = 0,
    /** Above or below that plane. */
    ELEVATION = 1,
}
