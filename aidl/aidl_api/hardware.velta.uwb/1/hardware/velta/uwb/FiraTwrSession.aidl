// SPDX-License-Identifier: Apache-2.0
///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

// This file is a snapshot of an AIDL file. Do not edit it manually. There are
// two cases:
// 1). this is a frozen version file - do not edit this in any case.
// 2). this is a 'current' file. If you make a backwards compatible change to
//     the interface (from the latest frozen version), the build system will
//     prompt you to update this file with `m <name>-update-api`.
//
// You must not make a backward incompatible change to any AIDL file built
// with the aidl_interface module type with versions property set. The module
// type is used to build AIDL files in a way that they can be used across
// independently updatable components of the system. If a device is shipped
// with such a backward incompatible change, it has a high risk of breaking
// later when a module using the interface is updated, e.g., Mainline modules.

package hardware.velta.uwb;
@VintfStability
parcelable FiraTwrSession {
  int id;
  hardware.velta.uwb.DeviceType deviceType;
  hardware.velta.uwb.DeviceRole deviceRole;
  hardware.velta.uwb.RangingRoundUsage rangingRoundUsage;
  hardware.velta.uwb.MultiNodeMode multiNodeMode;
  hardware.velta.uwb.UwbAddress deviceAddress;
  hardware.velta.uwb.UwbAddress[] destAddressList;
  int initiationTimeMs;
  int slotDurationRstu;
  int slotsPerRangingRound;
  int rangingBlockDurationMs;
  int blockStridingValue;
  int maxRangingRoundRetries;
  boolean isHoppingEnabled;
  boolean isBlockStridingEnabled;
  byte sessionPriority;
  hardware.velta.uwb.RangingRoundControl rangingRoundControl;
  byte inBandTerminationAttemptCount;
  int channelNumber;
  byte preambleCodeIndex;
  hardware.velta.uwb.RframeConfig rframeConfig;
  hardware.velta.uwb.PrfMode prfMode;
  hardware.velta.uwb.PreambleDuration preambleDuration;
  byte sfdId;
  byte stsSegmentCount;
  hardware.velta.uwb.PsduDataRate psduDataRate;
  hardware.velta.uwb.BprfPhrDataRate bprfPhrDataRate;
  hardware.velta.uwb.FcsType fcsType;
  boolean isTxAdaptivePayloadPowerEnabled;
  hardware.velta.uwb.AoaType aoaType;
  hardware.velta.uwb.FiraStsConfig stsConfig;
  int subSessionId;
  byte[] vendorId;
  byte[] staticStsIV;
  boolean isKeyRotationEnabled;
  byte keyRotationRate;
  hardware.velta.uwb.AoaResultRequest aoaResultRequest;
  hardware.velta.uwb.ResultReportConfig resultReportConfig;
}
