// SPDX-License-Identifier: Apache-2.0

// Ten distances to one FiRa controlee: example_fira_range [ADDRESS], such as 0x1234.
#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/IFiraController.h>

#include <chrono>
#include <future>

#include "example.h"

namespace {

using namespace example;
using Addresses = std::vector<UwbAddress>;

constexpr int kDistances = 10;
constexpr std::chrono::seconds kPatience(10);

// Calls arrive on a thread of the binder pool, one after another: the interface is oneway.
class Reports : public BnFiraSessionCallback {
  public:
    std::promise<void> enough;
    std::promise<int> stopped;

  private:
    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        for (const FiraTwrMeasurement& measurement : measurements) {
            if (measurement.status != 0 || count_ == kDistances) continue;
            printf("block %d: %lld mm\n", data.blockIndex,
                   static_cast<long long>(measurement.distance));
            if (++count_ == kDistances) enough.set_value();
        }
        return ScopedAStatus::ok();
    }
    ScopedAStatus onSessionStopped(int32_t /*session*/, int32_t reason) override {
        stopped.set_value(reason);
        return ScopedAStatus::ok();
    }
    // Only for who changes the controlees of a session.
    ScopedAStatus onControleesAdded(int32_t, const Addresses&) override { return Unasked(); }
    ScopedAStatus onControleesAddFailed(int32_t, const Addresses&, int32_t) override {
        return Unasked();
    }
    ScopedAStatus onControleesRemoved(int32_t, const Addresses&) override { return Unasked(); }
    ScopedAStatus onControleesRemoveFailed(int32_t, const Addresses&, int32_t) override {
        return Unasked();
    }
    static ScopedAStatus Unasked() { return ScopedAStatus::ok(); }

    int count_ = 0;
};

UwbAddress ShortAddress(unsigned long number) {
    UwbAddress address;
    address.address = {static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
    return address;
}

// A controller that ranges with one controlee five times a second. Both sides must agree on all of
// this: DS-TWR, deferred mode, BPRF set 4, static STS.
FiraTwrSession MakeSession(unsigned long controlee) {
    FiraTwrSession session;
    session.id = 7;
    session.deviceType = DeviceType::CONTROLLER;
    session.deviceRole = DeviceRole::INITIATOR;
    session.rangingRoundUsage = RangingRoundUsage::DS_TWR;
    session.multiNodeMode = MultiNodeMode::UNICAST;
    session.deviceAddress = ShortAddress(0x0001);
    session.destAddressList = {ShortAddress(controlee)};
    session.slotDurationRstu = 2400;  // 2 ms
    session.slotsPerRangingRound = 20;
    session.rangingBlockDurationMs = 200;
    session.rangingRoundControl = {.hasResultReportPhase = true, .hasDeferredMode = true};
    session.inBandTerminationAttemptCount = 1;
    session.channelNumber = 9;
    session.preambleCodeIndex = 10;
    session.rframeConfig = RframeConfig::SP3;
    session.prfMode = PrfMode::BPRF;
    session.preambleDuration = PreambleDuration::T64_SYMBOLS;
    session.sfdId = 2;
    session.stsSegmentCount = 1;
    session.stsConfig = FiraStsConfig::STATIC;
    session.vendorId = {0x07, 0x08};
    session.staticStsIV = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
    session.resultReportConfig.hasTimeOfFlightReport = true;
    return session;
}

}  // namespace

int main(int argc, char** argv) {
    const FiraTwrSession session = MakeSession(argc > 1 ? strtoul(argv[1], nullptr, 0) : 0x1234);
    Radio radio;
    std::shared_ptr<IFiraController> fira;
    Check("firaController", radio.iface()->firaController(&fira));
    const auto reports = SharedRefBase::make<Reports>();
    Check("setSessionCallback", fira->setSessionCallback(reports));
    Check("initNewTwrSession", fira->initNewTwrSession(session));
    Check("startRangingSession", fira->startRangingSession(session.id));

    std::future<int> stopped = reports->stopped.get_future();
    const bool has_enough =
        reports->enough.get_future().wait_for(kPatience) == std::future_status::ready;
    if (!has_enough) fprintf(stderr, "no ten distances in ten seconds\n");
    // A stop is asked for, and has happened once the radio says so; then the session can go.
    Check("stopRangingSession", fira->stopRangingSession(session.id));
    if (stopped.wait_for(kPatience) != std::future_status::ready) {
        fprintf(stderr, "the radio did not confirm the stop\n");
        return EXIT_FAILURE;
    }
    printf("stopped, reason %d\n", stopped.get());
    Check("deinitSession", fira->deinitSession(session.id));
    return has_enough ? EXIT_SUCCESS : EXIT_FAILURE;
}
