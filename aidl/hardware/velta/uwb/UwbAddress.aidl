// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * A short (2 bytes) or extended (8 bytes) IEEE 802.15.4 MAC address.
 */
@VintfStability
parcelable UwbAddress {
    /** The address, in the byte order in which the client gives it: most significant first. */
    byte[] address;
}
