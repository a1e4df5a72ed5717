// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * What the result report message of a FiRa round carries.
 */
@VintfStability
parcelable ResultReportConfig {
    /** Time of flight. */
    boolean hasTimeOfFlightReport;
    /** Azimuth of arrival. */
    boolean hasAngleOfArrivalAzimuthReport;
    /** Elevation of arrival. */
    boolean hasAngleOfArrivalElevationReport;
    /** Figures of merit of the angles. */
    boolean hasAngleOfArrivalFigureOfMeritReport;
}
