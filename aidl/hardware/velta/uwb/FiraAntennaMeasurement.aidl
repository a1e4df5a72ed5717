// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.AoaAxis;

/**
 * Angle of arrival seen by one antenna pair.
 */
@VintfStability
@FixedSize
parcelable FiraAntennaMeasurement {
    /** Axis that the pair measures. */
    AoaAxis axis = AoaAxis.AZIMUTH;
    /** Angle of arrival in radians, -pi to pi. */
    double angleOfArrival;
    /** Figure of merit of the angle, 0.0 (none) to 1.0 (best). */
    double figureOfMerit;
    /** Phase difference of arrival in radians, -pi to pi. */
    double phaseDifferenceOfArrival;
}
