// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * One measurement of simple ranging mode.
 */
@VintfStability
parcelable RangingResult {
    /** Identifier of the request. */
    int id;
    /** The peer of the request. */
    long peer;
    /** Measured value in the driver's unit, -2147483648 when the report has none. */
    int value;
    /** First angle of arrival in radians, -pi/2 to pi/2; NaN when not measured. */
    float angle1;
    /** Second angle of arrival in radians, -pi/2 to pi/2; NaN when not measured. */
    float angle2;
}
