// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.BprfPhrDataRate;
import hardware.velta.uwb.DeviceRole;
import hardware.velta.uwb.DeviceType;
import hardware.velta.uwb.FcsType;
import hardware.velta.uwb.FiraStsConfig;
import hardware.velta.uwb.HoppingMode;
import hardware.velta.uwb.HoppingSequence;
import hardware.velta.uwb.MultiNodeMode;
import hardware.velta.uwb.PreambleDuration;
import hardware.velta.uwb.PrfMode;
import hardware.velta.uwb.PsduDataRate;
import hardware.velta.uwb.PulseShape;
import hardware.velta.uwb.RangingRoundUsage;
import hardware.velta.uwb.RframeConfig;

/**
 * What the FiRa controller of an interface can do.
 */
@VintfStability
parcelable FiraCapabilities {
    /**
     * Channels of channel page 4 that a new session may use: all that the PHY supports, or the one
     * that an earlier session of this interface has fixed.
     */
    int[] supportedChannels;
    /** Whether azimuth can be measured. */
    boolean isAzimuthSupported;
    /** Whether elevation can be measured. */
    boolean isElevationSupported;
    /** Supported device types. */
    DeviceType[] deviceTypes;
    /** Supported device roles. */
    DeviceRole[] deviceRoles;
    /** Supported ranging methods. */
    RangingRoundUsage[] rangingRoundUsages;
    /** Supported multi-node modes. */
    MultiNodeMode[] multiNodeModes;
    /** Supported ranging frame configurations. */
    RframeConfig[] rframeConfigs;
    /** Supported pulse repetition frequency modes. */
    PrfMode[] prfModes;
    /** Supported preamble lengths. */
    PreambleDuration[] preambleDurations;
    /** Supported payload data rates. */
    PsduDataRate[] psduDataRates;
    /** Supported PHY header data rates with BPRF. */
    BprfPhrDataRate[] bprfPhrDataRates;
    /** Supported frame check sequences. */
    FcsType[] fcsTypes;
    /** Supported STS key modes. */
    FiraStsConfig[] stsConfigs;
    /** Supported pulse shapes. */
    PulseShape[] pulseShapes;
    /** Supported hopping modes. */
    HoppingMode[] hoppingModes;
    /** Supported hopping sequences. */
    HoppingSequence[] hoppingSequences;
}
