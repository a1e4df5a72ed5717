// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * One peer to range with in simple ranging mode.
 */
@VintfStability
parcelable RangingRequest {
    /** Request identifier; results carry it. Of two requests with one id the first gets the results. */
    int id;
    /** Second request value; passed to the driver unchanged. */
    int param;
    /** The peer's extended address as a number; passed to the driver unchanged. */
    long peer;
}
