// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * What the simple ranging controller of an interface can do.
 */
@VintfStability
parcelable SimpleRangingCapabilities {
    /** Channels of channel page 4 that the PHY supports. */
    int[] supportedChannels;
}
