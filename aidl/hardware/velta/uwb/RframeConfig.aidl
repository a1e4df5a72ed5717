// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Ranging frame configuration: where the STS stands in the frame (IEEE 802.15.4z).
 *
 * There is no value 2.
 */
@VintfStability
enum RframeConfig {
    /** No STS. Spelled with the letter O. */
    SPO = 0,
    /** STS after the SFD, then PHR and payload. */
    SP1 = 1,
    /** STS after the SFD, no PHR, no payload. */
    SP3 = 3,
}
