// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/fira_range.h"

#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/FiraTwrSession.h>
#include <aidl/hardware/velta/uwb/IFiraController.h>
#include <android-base/stringprintf.h>

#include <cstdio>
#include <optional>
#include <utility>

#include "uwbctl/text.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::android::base::StringPrintf;
using ::ndk::ScopedAStatus;
using std::chrono::milliseconds;

constexpr char kDefaultControllerAddress[] = "0x0001";
constexpr char kDefaultControleeAddress[] = "0x0002";

constexpr size_t kShortAddressSize = 2;

// The radio reports a stop after the round that it is in.
constexpr milliseconds kStopPatience{5000};
// Without a report for so many blocks, and a second on top, the radio is taken for dead.
constexpr int kPatienceBlocks = 10;
constexpr milliseconds kPatienceExtra{1000};

UwbAddress AddressOption(const std::string& option, const std::string& text) {
    const std::optional<UwbAddress> address = ParseAddress(text);
    if (!address || address->address.size() != kShortAddressSize) {
        throw Failure(kUsage, option + ": not a short address: " + text +
                                  " (expected two bytes as 0x1234 or 12:34)");
    }
    return *address;
}

AoaType AoaTypeOf(const std::string& angles) {
    if (angles == "elevation") return AoaType::ELEVATION;
    if (angles == "both") return AoaType::AZIMUTH_AND_ELEVATION;
    return AoaType::AZIMUTH;
}

// A session that FiRa devices agree on when they are told nothing else: DS-TWR in deferred mode,
// BPRF set 4 (SP3 frames, preamble code 10, SFD 2), static STS.
FiraTwrSession MakeSession(const FiraRangeOptions& options) {
    const bool wants_angles = options.angles != "none";
    FiraTwrSession session;
    session.id = static_cast<int32_t>(options.session_id);
    session.deviceType = options.is_controlee ? DeviceType::CONTROLEE : DeviceType::CONTROLLER;
    session.deviceRole = options.is_controlee ? DeviceRole::RESPONDER : DeviceRole::INITIATOR;
    session.rangingRoundUsage = RangingRoundUsage::DS_TWR;
    session.multiNodeMode =
        options.peers.size() > 1 ? MultiNodeMode::ONE_TO_MANY : MultiNodeMode::UNICAST;
    const char* usual = options.is_controlee ? kDefaultControleeAddress : kDefaultControllerAddress;
    session.deviceAddress =
        AddressOption("--address", options.address.empty() ? usual : options.address);
    for (const std::string& peer : options.peers) {
        session.destAddressList.push_back(AddressOption("--peer", peer));
    }
    session.slotDurationRstu = 2400;
    session.slotsPerRangingRound = 25;
    session.rangingBlockDurationMs = options.block_duration_ms;
    session.sessionPriority = 50;
    session.rangingRoundControl.hasResultReportPhase = true;
    session.rangingRoundControl.hasDeferredMode = true;
    session.inBandTerminationAttemptCount = 1;
    session.channelNumber = options.channel;
    session.preambleCodeIndex = 10;
    session.rframeConfig = RframeConfig::SP3;
    session.prfMode = PrfMode::BPRF;
    session.preambleDuration = PreambleDuration::T64_SYMBOLS;
    session.sfdId = 2;
    session.stsSegmentCount = 1;
    session.psduDataRate = PsduDataRate::RATE_6M81;
    session.bprfPhrDataRate = BprfPhrDataRate::RATE_850K;
    session.fcsType = FcsType::CRC_16;
    session.aoaType = AoaTypeOf(options.angles);
    session.stsConfig = FiraStsConfig::STATIC;
    session.vendorId = {0x07, 0x08};
    session.staticStsIV = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
    session.aoaResultRequest =
        wants_angles ? AoaResultRequest::REQ_AOA_RESULTS : AoaResultRequest::NO_AOA_REPORT;
    session.resultReportConfig = {.hasTimeOfFlightReport = true,
                                  .hasAngleOfArrivalAzimuthReport = wants_angles,
                                  .hasAngleOfArrivalElevationReport = wants_angles,
                                  .hasAngleOfArrivalFigureOfMeritReport = wants_angles};
    return session;
}

// What has come from the service so far; touched on the command's thread only.
struct Progress {
    uint64_t reports = 0;
    std::optional<int> stop_reason;
};

class SessionCallback : public BnFiraSessionCallback {
  public:
    SessionCallback(Events* events, std::shared_ptr<Progress> progress, uint64_t max_reports)
        : events_(events), progress_(std::move(progress)), max_reports_(max_reports) {}

    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        events_->Post([progress = progress_, data, measurements, max_reports = max_reports_] {
            if (max_reports != 0 && progress->reports >= max_reports) return;
            progress->reports++;
            for (const auto& measurement : measurements) {
                puts(MeasurementLine(data.blockIndex, measurement).c_str());
            }
            fflush(stdout);
        });
        return ScopedAStatus::ok();
    }
    ScopedAStatus onControleesAdded(int32_t, const std::vector<UwbAddress>&) override {
        return ScopedAStatus::ok();
    }
    ScopedAStatus onControleesAddFailed(int32_t, const std::vector<UwbAddress>&, int32_t) override {
        return ScopedAStatus::ok();
    }
    ScopedAStatus onControleesRemoved(int32_t, const std::vector<UwbAddress>&) override {
        return ScopedAStatus::ok();
    }
    ScopedAStatus onControleesRemoveFailed(int32_t, const std::vector<UwbAddress>&,
                                           int32_t) override {
        return ScopedAStatus::ok();
    }
    ScopedAStatus onSessionStopped(int32_t, int32_t reason) override {
        events_->Post([progress = progress_, reason] { progress->stop_reason = reason; });
        return ScopedAStatus::ok();
    }

  private:
    Events* events_;
    std::shared_ptr<Progress> progress_;
    uint64_t max_reports_;
};

// Prints reports until there is a reason to end.
void Range(Events* events, const Client& client, const FiraRangeOptions& options,
           const Progress& progress) {
    const milliseconds patience =
        milliseconds(options.block_duration_ms) * kPatienceBlocks + kPatienceExtra;
    const Ended ended = RunUntil(events, client, patience, [&] {
        return progress.stop_reason.has_value() ||
               (options.count != 0 && progress.reports >= options.count);
    });
    if (ended == Ended::kSilent) {
        throw Failure(kRadioFailed, StringPrintf("no report from the radio for %lld ms",
                                                 static_cast<long long>(patience.count())));
    }
    if (progress.stop_reason && (options.count == 0 || progress.reports < options.count)) {
        throw Failure(
            kRadioFailed,
            StringPrintf("the radio stopped the session (reason %d) after %llu reports",
                         *progress.stop_reason, static_cast<unsigned long long>(progress.reports)));
    }
}

// Stops and removes the session; failures matter only when nothing else has failed.
void EndSession(Events* events, const Client& client, IFiraController* controller,
                const Progress& progress, int32_t session_id) {
    if (!progress.stop_reason) {
        Check(controller->stopRangingSession(session_id), "stop ranging");
        if (!FinishWithin(events, client, kStopPatience,
                          [&progress] { return progress.stop_reason.has_value(); })) {
            throw Failure(kRadioFailed, "the radio did not confirm the stop");
        }
    }
    Check(controller->deinitSession(session_id), "remove the session");
}

}  // namespace

ExitStatus FiraRange(Events* events, const FiraRangeOptions& options) {
    if (options.is_controlee && options.peers.size() != 1) {
        throw Failure(kUsage, "--controlee: takes exactly one --peer, its controller");
    }
    const FiraTwrSession session = MakeSession(options);
    Client client(events);
    client.Open();
    std::string name = options.iface;
    const std::shared_ptr<IUwbIface> iface = client.GetIface(&name);
    std::shared_ptr<IFiraController> controller;
    Check(iface->firaController(&controller), "get the FiRa controller");
    if (controller == nullptr) throw Failure(kRefused, "interface " + name + " has no FiRa");

    const auto progress = std::make_shared<Progress>();
    Check(controller->setSessionCallback(
              ndk::SharedRefBase::make<SessionCallback>(events, progress, options.count)),
          "set the callback");
    Check(controller->initNewTwrSession(session), "initialise the session");
    if (const ScopedAStatus status = controller->startRangingSession(session.id); !status.isOk()) {
        controller->deinitSession(session.id);
        Check(status, "start ranging");
    }
    fprintf(stderr, "ranging on %s, channel %d, session %u; Ctrl-C ends it\n", name.c_str(),
            options.channel, options.session_id);
    try {
        Range(events, client, options, *progress);
    } catch (const Failure& failure) {
        if (failure.status() == kRadioFailed) {
            try {
                EndSession(events, client, controller.get(), *progress, session.id);
            } catch (const Failure&) {  // The first failure is the one to tell.
            }
        }
        throw;
    }
    EndSession(events, client, controller.get(), *progress, session.id);
    return kDone;
}

}  // namespace uwbctl
