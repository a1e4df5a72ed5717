// SPDX-License-Identifier: Apache-2.0
#include "conformance/fira_client.h"

#include <android-base/stringprintf.h>

#include <chrono>
#include <utility>

#include "conformance/target.h"

namespace hardware::velta::conformance {

using ::android::base::StringPrintf;

FiraTwrSession ControllerSession(int id, std::optional<int> channel) {
    const Target& target = TheTarget();
    return {.id = id,
            .deviceType = DeviceType::CONTROLLER,
            .deviceRole = DeviceRole::INITIATOR,
            .rangingRoundUsage = RangingRoundUsage::DS_TWR,
            .multiNodeMode = MultiNodeMode::ONE_TO_MANY,
            .deviceAddress = Short(0x0001),
            .destAddressList = {Short(target.fira_peer.value_or(kNobody))},
            .slotDurationRstu = 2400,
            .slotsPerRangingRound = 10,
            .rangingBlockDurationMs = 50,
            .sessionPriority = 50,
            .rangingRoundControl = {.hasResultReportPhase = true, .hasDeferredMode = true},
            .inBandTerminationAttemptCount = 1,
            .channelNumber = channel.value_or(target.channel),
            .preambleCodeIndex = 10,
            .rframeConfig = RframeConfig::SP3,
            .preambleDuration = PreambleDuration::T64_SYMBOLS,
            .sfdId = 2,
            .stsSegmentCount = 1,
            .vendorId = {0x07, 0x08},
            .staticStsIV = {1, 2, 3, 4, 5, 6},
            .aoaResultRequest = AoaResultRequest::REQ_AOA_RESULTS,
            .resultReportConfig = {true, true, true, true}};
}

FiraTwrSession ControleeSession(int id) {
    FiraTwrSession session = ControllerSession(id);
    session.deviceType = DeviceType::CONTROLEE;
    session.deviceRole = DeviceRole::RESPONDER;
    std::swap(session.deviceAddress, session.destAddressList[0]);
    return session;
}

FiraClient::FiraClient(const Hal& hal, int radio)
    : fira(hal.Get(radio, &IUwbIface::firaController)), events(SharedRefBase::make<FiraEvents>()) {
    EXPECT_EQ(Said(fira->setSessionCallback(events)), "OK");
}

int FiraClient::Count() {
    int32_t count = -1;
    EXPECT_EQ(Said(fira->getSessionCount(&count)), "OK");
    return count;
}

FiraCapabilities FiraClient::Capabilities() {
    FiraCapabilities capabilities;
    EXPECT_EQ(Said(fira->getCapabilities(&capabilities)), "OK");
    return capabilities;
}

void FiraClient::Run(const FiraTwrSession& session) {
    ASSERT_EQ(Init(session), "OK");
    ASSERT_EQ(Start(session.id), "OK");
}

void FiraClient::Halt(int id) {
    ASSERT_EQ(Stop(id), "OK");
    ASSERT_EQ(Event(), StringPrintf("stopped %d 0", id));
    Count();  // The client is told first: what the service does then is done when it answers.
}

FiraReport FiraClient::Fresh() {
    // The clock of the reports' timestamps.
    const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
    for (;;) {
        FiraReport report = Next();
        if (report.measurements.empty() || report.measurements[0].timestampNs > now.count()) {
            return report;
        }
    }
}

}  // namespace hardware::velta::conformance
