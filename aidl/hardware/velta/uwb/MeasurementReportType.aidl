// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Direction of the measurement report message of a round.
 */
@VintfStability
enum MeasurementReportType {
    /** The initiator reports to the responder. */
    INITIATOR_TO_RESPONDER = 0,
    /** The responder reports to the initiator. */
    RESPONDER_TO_INITIATOR = 1,
}
