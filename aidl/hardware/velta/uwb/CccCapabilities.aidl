// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * What the CCC (digital key) controller of an interface can do.
 *
 * Numbers are those of the CCC digital key capability exchange.
 */
@VintfStability
parcelable CccCapabilities {
    /** Digital key protocol versions. */
    byte[] protocolVersions;
    /** UWB configuration identifiers. */
    byte[] uwbConfigs;
    /** Pulse shape combinations. */
    byte[] pulseShapeCombinations;
    /** RAN multiplier: smallest ranging interval in units of 96 ms. */
    int ranMultiplier;
    /** Numbers of chaps in a slot; a chap is 400 RSTU, 1/3 ms. */
    byte[] chapsPerSlot;
    /** Preamble sync code indexes. */
    byte[] syncCodes;
    /** Channels of channel page 4 that the PHY supports. */
    int[] supportedChannels;
    /** Hopping modes. */
    byte[] hoppingConfigModes;
    /** Hopping sequences. */
    byte[] hoppingSequences;
}
