// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Header of one FiRa ranging report.
 */
@VintfStability
parcelable FiraRangingData {
    /** Session identifier; taken as unsigned. */
    int sessionId;
    /** Number of the ranging block that the report belongs to, counted by the radio. */
    int blockIndex;
}
