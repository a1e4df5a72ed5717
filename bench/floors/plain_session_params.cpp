// SPDX-License-Identifier: Apache-2.0

// A session's parameters, attribute by attribute, with nothing between this list and libnl.
#include <netlink/attr.h>

#include "bench/floors/plain_radio.h"
#include "net/mcps802154.h"

namespace hardware::velta::bench {

bool PutPlainSessionParams(nl_msg* msg, const ::aidl::hardware::velta::uwb::FiraTwrSession& s) {
    using namespace ::aidl::hardware::velta::uwb;
    const auto u8 = [msg](int attr, int value) {
        return nla_put_u8(msg, attr, static_cast<uint8_t>(value)) == 0;
    };
    const auto u32 = [msg](int attr, int value) {
        return nla_put_u32(msg, attr, static_cast<uint32_t>(value)) == 0;
    };
    uint8_t iv[8];
    for (size_t i = 0; i < 6; i++) iv[i] = s.staticStsIV[i];
    for (size_t i = 0; i < 2; i++) iv[6 + i] = s.vendorId[i];
    const auto address =
        static_cast<uint16_t>(s.deviceAddress.address[0] << 8 | s.deviceAddress.address[1]);
    return u8(FIRA_SESSION_PARAM_DEVICE_TYPE, s.deviceType == DeviceType::CONTROLLER) &&
           u8(FIRA_SESSION_PARAM_DEVICE_ROLE, s.deviceRole == DeviceRole::INITIATOR) &&
           u8(FIRA_SESSION_PARAM_RANGING_ROUND_USAGE,
              s.rangingRoundUsage == RangingRoundUsage::DS_TWR ? 2 : 1) &&
           u8(FIRA_SESSION_PARAM_MULTI_NODE_MODE, s.multiNodeMode == MultiNodeMode::ONE_TO_MANY) &&
           nla_put_u16(msg, FIRA_SESSION_PARAM_SHORT_ADDR, address) == 0 &&
           u32(FIRA_SESSION_PARAM_INITIATION_TIME_MS, s.initiationTimeMs) &&
           u32(FIRA_SESSION_PARAM_SLOT_DURATION_RSTU, s.slotDurationRstu) &&
           u32(FIRA_SESSION_PARAM_BLOCK_DURATION_MS, s.rangingBlockDurationMs) &&
           u32(FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS, s.slotsPerRangingRound) &&
           u8(FIRA_SESSION_PARAM_PRIORITY, s.sessionPriority) &&
           u32(FIRA_SESSION_PARAM_IN_BAND_TERMINATION_ATTEMPTS, s.inBandTerminationAttemptCount) &&
           u8(FIRA_SESSION_PARAM_CHANNEL_NUMBER, s.channelNumber) &&
           u8(FIRA_SESSION_PARAM_PREAMBLE_CODE_INDEX, s.preambleCodeIndex) &&
           u8(FIRA_SESSION_PARAM_RFRAME_CONFIG, 3) && u8(FIRA_SESSION_PARAM_PRF_MODE, 0) &&
           u8(FIRA_SESSION_PARAM_SFD_ID, s.sfdId) &&
           u8(FIRA_SESSION_PARAM_NUMBER_OF_STS_SEGMENTS, s.stsSegmentCount) &&
           u8(FIRA_SESSION_PARAM_PSDU_DATA_RATE, 0) &&
           u8(FIRA_SESSION_PARAM_TX_ANTENNA_SELECTION, 1) &&
           u8(FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_AZIMUTH, 0) &&
           u8(FIRA_SESSION_PARAM_STS_CONFIG, 0) &&
           nla_put(msg, FIRA_SESSION_PARAM_STATIC_STS_IV_VENDOR_ID, sizeof(iv), iv) == 0 &&
           u8(FIRA_SESSION_PARAM_KEY_ROTATION, s.isKeyRotationEnabled) &&
           u8(FIRA_SESSION_PARAM_AOA_RESULT_REQ, static_cast<int>(s.aoaResultRequest)) &&
           u8(FIRA_SESSION_PARAM_REPORT_TOF, s.resultReportConfig.hasTimeOfFlightReport) &&
           u8(FIRA_SESSION_PARAM_REPORT_AOA_AZIMUTH,
              s.resultReportConfig.hasAngleOfArrivalAzimuthReport) &&
           u8(FIRA_SESSION_PARAM_REPORT_AOA_ELEVATION,
              s.resultReportConfig.hasAngleOfArrivalElevationReport) &&
           u8(FIRA_SESSION_PARAM_REPORT_AOA_FOM,
              s.resultReportConfig.hasAngleOfArrivalFigureOfMeritReport);
}

}  // namespace hardware::velta::bench
