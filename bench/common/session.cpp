// SPDX-License-Identifier: Apache-2.0
#include "bench/common/session.h"

namespace hardware::velta::bench {
namespace {

using namespace ::aidl::hardware::velta::uwb;

UwbAddress Short(int address) {
    return {.address = {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)}};
}

}  // namespace

FiraTwrSession NewSession(int peers, int block_ms) {
    FiraTwrSession session = {
        .id = kSession,
        .deviceType = DeviceType::CONTROLLER,
        .deviceRole = DeviceRole::INITIATOR,
        .rangingRoundUsage = RangingRoundUsage::DS_TWR,
        .multiNodeMode = MultiNodeMode::ONE_TO_MANY,
        .deviceAddress = Short(1),
        .slotDurationRstu = 1200,
        .slotsPerRangingRound = 1,
        .rangingBlockDurationMs = block_ms,
        .sessionPriority = 50,
        .rangingRoundControl = {.hasResultReportPhase = true, .hasDeferredMode = true},
        .inBandTerminationAttemptCount = 1,
        .channelNumber = 9,
        .preambleCodeIndex = 10,
        .rframeConfig = RframeConfig::SP3,
        .preambleDuration = PreambleDuration::T64_SYMBOLS,
        .sfdId = 2,
        .stsSegmentCount = 1,
        .vendorId = {7, 8},
        .staticStsIV = {1, 2, 3, 4, 5, 6},
        .aoaResultRequest = AoaResultRequest::REQ_AOA_RESULTS,
        .resultReportConfig = {true, true, true, true}};
    for (int i = 0; i < peers; i++) session.destAddressList.push_back(Short(kFirstPeer + i));
    return session;
}

}  // namespace hardware::velta::bench
