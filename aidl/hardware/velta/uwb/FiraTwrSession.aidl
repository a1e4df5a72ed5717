// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.AoaResultRequest;
import hardware.velta.uwb.AoaType;
import hardware.velta.uwb.BprfPhrDataRate;
import hardware.velta.uwb.DeviceRole;
import hardware.velta.uwb.DeviceType;
import hardware.velta.uwb.FcsType;
import hardware.velta.uwb.FiraStsConfig;
import hardware.velta.uwb.MultiNodeMode;
import hardware.velta.uwb.PreambleDuration;
import hardware.velta.uwb.PrfMode;
import hardware.velta.uwb.PsduDataRate;
import hardware.velta.uwb.RangingRoundControl;
import hardware.velta.uwb.RangingRoundUsage;
import hardware.velta.uwb.ResultReportConfig;
import hardware.velta.uwb.RframeConfig;
import hardware.velta.uwb.UwbAddress;

/**
 * Parameters of one FiRa two-way ranging session.
 */
@VintfStability
parcelable FiraTwrSession {
    /** Session identifier, chosen by the client; taken as unsigned. */
    int id;
    /** Controller or controlee. */
    DeviceType deviceType;
    /** Initiator or responder. */
    DeviceRole deviceRole;
    /** Ranging method: SS_TWR or DS_TWR. */
    RangingRoundUsage rangingRoundUsage;
    /** UNICAST or ONE_TO_MANY. */
    MultiNodeMode multiNodeMode;
    /** This device's short address (2 bytes) in the session. */
    UwbAddress deviceAddress;
    /**
     * Short addresses (2 bytes each) of the peers, at least one: the controlees of a controller,
     * the controller of a controlee.
     */
    UwbAddress[] destAddressList;
    /** Delay before the first round, in milliseconds; not negative. */
    int initiationTimeMs;
    /** Slot duration in ranging scheduling time units (1200 RSTU are 1 ms); not negative. */
    int slotDurationRstu;
    /** Slots in a ranging round; not negative. */
    int slotsPerRangingRound;
    /** Duration of a ranging block, the interval between reports, in milliseconds; not negative. */
    int rangingBlockDurationMs;
    /** Blocks to skip between two rounds; not negative. Used when isBlockStridingEnabled. */
    int blockStridingValue;
    /** Failed rounds before the session stops, 0 for no limit; not negative. */
    int maxRangingRoundRetries;
    /** Whether rounds hop within the block. */
    boolean isHoppingEnabled;
    /** Whether blocks are skipped. */
    boolean isBlockStridingEnabled;
    /** Scheduling priority, 0 to 100, higher goes first. */
    byte sessionPriority;
    /** Messages of a round. */
    RangingRoundControl rangingRoundControl;
    /** Attempts to announce the end of the session in band, 1 to 10. */
    byte inBandTerminationAttemptCount;
    /** UWB channel of channel page 4, one of FiraCapabilities.supportedChannels. */
    int channelNumber;
    /** Preamble code index: 9 to 12 with BPRF, 25 to 32 with HPRF. */
    byte preambleCodeIndex;
    /** Ranging frame configuration. */
    RframeConfig rframeConfig;
    /** Pulse repetition frequency mode. */
    PrfMode prfMode;
    /** Preamble length. */
    PreambleDuration preambleDuration;
    /** Start-of-frame delimiter, below 5. */
    byte sfdId;
    /** Number of STS segments. */
    byte stsSegmentCount;
    /** Payload data rate. */
    PsduDataRate psduDataRate;
    /** PHY header data rate with BPRF. */
    BprfPhrDataRate bprfPhrDataRate;
    /** Frame check sequence. */
    FcsType fcsType;
    /** Whether the power of the payload is adapted. */
    boolean isTxAdaptivePayloadPowerEnabled;
    /** Which angles to measure; the hardware must have the antenna pairs. */
    AoaType aoaType;
    /** How the STS is keyed. */
    FiraStsConfig stsConfig;
    /** Sub-session identifier, for a controlee with an individual key. */
    int subSessionId;
    /** Vendor identifier, 2 bytes with STATIC STS, not empty otherwise. */
    byte[] vendorId;
    /** Static STS initialisation vector, 6 bytes with STATIC STS, not empty otherwise. */
    byte[] staticStsIV;
    /** Whether the STS key is rotated. */
    boolean isKeyRotationEnabled;
    /** Exponent n: the key changes every 2^n blocks. Used when isKeyRotationEnabled. */
    byte keyRotationRate;
    /** Whether angles are wanted. */
    AoaResultRequest aoaResultRequest;
    /** What the result report carries. */
    ResultReportConfig resultReportConfig;
}
