// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Whether angles of arrival are wanted in the reports.
 */
@VintfStability
enum AoaResultRequest {
    /** No angles. */
    NO_AOA_REPORT = 0,
    /** Angles of the kind that the session's aoaType names. */
    REQ_AOA_RESULTS = 1,
}
