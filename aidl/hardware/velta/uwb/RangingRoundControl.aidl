// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.MeasurementReportType;

/**
 * Messages of a FiRa ranging round.
 */
@VintfStability
parcelable RangingRoundControl {
    /** Whether the round ends with a result report. Controllers only. */
    boolean hasResultReportPhase;
    /** Direction of the measurement report. Controllers only. */
    MeasurementReportType measurementReportType;
    /** Whether measurements are reported in messages of their own after the exchange. */
    boolean hasDeferredMode;
}
