// SPDX-License-Identifier: Apache-2.0
#include "bench/common/session.h"

namespace hardware::velta::bench {
namespace {

using namespace ::aidl::hardware::velta::uwb;

// 0.2 ms.
constexpr int kSlotRstu = 240;
constexpr int kSlotsInMs = 5;

UwbAddress Short(int address) {
    return {.address = {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)}};
}

}  // namespace

int ShortestBlockMs(int peers) {
    return (peers + 1 + kSlotsInMs - 1) / kSlotsInMs;
}

FiraTwrSession NewSession(int peers, int block_ms) {
    FiraTwrSession session = {
        .id = kSession,
        .deviceType = DeviceType::CONTROLLER,
        .deviceRole = DeviceRole::INITIATOR,
        .rangingRoundUsage = RangingRoundUsage::DS_TWR,
        .multiNodeMode = MultiNodeMode::ONE_TO_MANY,
        .deviceAddress = Short(1),
        // The shortest slots, one for each peer beside our own: room for many reports.
        .slotDurationRstu = kSlotRstu,
        .slotsPerRangingRound = peers + 1,
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
