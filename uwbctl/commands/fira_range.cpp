// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/fira_range.h"

#include <aidl/hardware/velta/uwb/IFiraController.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/controlees.h"
#include "uwbctl/client/measurement.h"
#include "uwbctl/client/session_callback.h"
#include "uwbctl/client/text.h"
#include "uwbctl/live/control.h"
#include "uwbctl/recording/recorder.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::ndk::ScopedAStatus;
using std::chrono::milliseconds;

void SetAngles(const std::string& angles, FiraTwrSession* session) {
    session->aoaResultRequest =
        angles == "none" ? AoaResultRequest::NO_AOA_REPORT : AoaResultRequest::REQ_AOA_RESULTS;
    session->aoaType = angles == "both"        ? AoaType::AZIMUTH_AND_ELEVATION
                       : angles == "elevation" ? AoaType::ELEVATION
                                               : AoaType::AZIMUTH;
}

// What has come from the service so far; touched on the command's thread only.
struct Progress {
    uint64_t reports = 0;
    bool has_answer = false;
    std::optional<int> stop_reason;
    bool has_quit = false;
};

// One session from its initialisation to its end.
class FiraRun : public SessionListener, public std::enable_shared_from_this<FiraRun> {
  public:
    FiraRun(Events* events, const FiraRangeOptions& options, FiraTwrSession session)
        : events_(events),
          options_(options),
          session_(std::move(session)),
          client_(events),
          controlees_(AddressTexts(session_.destAddressList)) {
        outputs_.push_back(MakeOutput(options.format, events));
        if (!options.recording.empty()) outputs_.push_back(MakeRecorder(options.recording));
    }

    ExitStatus Run();

    void OnReport(const FiraRangingData& data,
                  const std::vector<FiraTwrMeasurement>& measurements) override;
    void OnControlees(const std::string& event, const std::vector<std::string>& peers) override;
    void OnStopped(int reason) override { progress_.stop_reason = reason; }

  private:
    void Start();
    void Range();
    void CheckEnd(Ended ended);
    void EndSession();
    std::optional<Control> MakeControl();
    // To the user: the first output is the one that people see.
    void Tell(const std::string& text) { outputs_.front()->Note(text); }
    void ChangeControlees(bool add, const std::vector<std::string>& peers);
    bool IsComplete() const { return options_.count != 0 && progress_.reports >= options_.count; }

    Events* events_;
    const FiraRangeOptions& options_;
    FiraTwrSession session_;
    Client client_;
    std::vector<std::unique_ptr<Output>> outputs_;
    std::shared_ptr<IFiraController> controller_;
    Controlees controlees_;
    Progress progress_;
    std::string end_reason_;
};

void FiraRun::OnReport(const FiraRangingData& data,
                       const std::vector<FiraTwrMeasurement>& measurements) {
    if (IsComplete()) return;
    progress_.reports++;
    for (const FiraTwrMeasurement& measurement : measurements) {
        if (measurement.status == 0) progress_.has_answer = true;
    }
    for (const auto& output : outputs_) {
        for (const FiraTwrMeasurement& measurement : measurements) {
            output->Add(ToMeasurement(data, measurement));
        }
        output->EndReport();
    }
}

void FiraRun::OnControlees(const std::string& event, const std::vector<std::string>& peers) {
    Tell(controlees_.Take(event, peers));
    for (const auto& output : outputs_) output->Event(event, peers);
}

ExitStatus FiraRun::Run() {
    client_.Open();
    std::string name = options_.iface;
    controller_ = client_.GetFira(&name);
    Start();
    fprintf(stderr, "ranging on %s, channel %d, session %u; Ctrl-C ends it\n", name.c_str(),
            session_.channelNumber, static_cast<uint32_t>(session_.id));
    for (const auto& output : outputs_) output->Begin(name, session_);
    Range();
    return kDone;
}

void FiraRun::Start() {
    Check(controller_->setSessionCallback(MakeSessionCallback(events_, weak_from_this())),
          "set the callback");
    Check(controller_->initNewTwrSession(session_), "initialise the session",
          [this] { return TimingHint(session_); });
    const ScopedAStatus status = controller_->startRangingSession(session_.id);
    if (status.isOk()) return;
    controller_->deinitSession(session_.id);
    CheckStart(status, "start ranging", session_.channelNumber);
}

// However ranging ends, the session is removed.
void FiraRun::Range() {
    std::optional<Failure> failure;
    try {
        const auto control = MakeControl();
        CheckEnd(RunUntil(events_, client_, ReportPatience(session_), [this] {
            return progress_.stop_reason.has_value() || progress_.has_quit || IsComplete();
        }));
    } catch (const Failure& caught) {
        if (caught.status() == kNoService) throw;  // There is nothing left to end.
        failure = caught;
    }
    try {
        EndSession();
        for (const auto& output : outputs_) output->End(end_reason_, progress_.reports);
    } catch (const Failure&) {
        if (!failure) throw;  // The first failure is the one to tell.
    }
    if (failure) throw Failure(*failure);
}

void FiraRun::CheckEnd(Ended ended) {
    if (IsComplete()) {
        end_reason_ = "count";
        if (progress_.has_answer) return;
        throw Failure(kNoAnswer, "no peer has answered in " +
                                     CountText(progress_.reports, "report") +
                                     ": is it there, and is its session set up as this one?");
    }
    if (progress_.stop_reason) {
        end_reason_ = "stopped by the radio";
        throw Failure(kRadioFailed, StopReasonText(*progress_.stop_reason) + " after " +
                                        CountText(progress_.reports, "report"));
    }
    if (ended == Ended::kSilent) {
        end_reason_ = "no report";
        throw Failure(kRadioFailed, "no report from the radio for more than ten blocks");
    }
    end_reason_ = ended == Ended::kOutputClosed ? "output closed"
                  : progress_.has_quit          ? "quit"
                                                : "interrupted";
    // A closed output had what it wanted; others asked for a number.
    if (ended != Ended::kOutputClosed && options_.count != 0) {
        throw Failure(kRadioFailed, "ended after " + std::to_string(progress_.reports) + " of " +
                                        CountText(options_.count, "report"));
    }
}

void FiraRun::EndSession() {
    if (!progress_.stop_reason) {
        Check(controller_->stopRangingSession(session_.id), "stop ranging");
        if (!FinishWithin(events_, client_, kStopPatience,
                          [this] { return progress_.stop_reason.has_value(); })) {
            throw Failure(kRadioFailed, "the radio did not confirm the stop");
        }
    }
    Check(controller_->deinitSession(session_.id), "remove the session");
}

std::optional<Control> FiraRun::MakeControl() {
    Keyboard* keyboard = options_.reads_commands ? nullptr : outputs_.front()->keyboard();
    const bool has_keys = keyboard != nullptr && isatty(STDIN_FILENO);
    if (!has_keys && !options_.reads_commands) return std::nullopt;
    return std::optional<Control>(
        std::in_place, events_, keyboard,
        Control::Handlers{
            .add = [this](const auto& peers) { ChangeControlees(true, peers); },
            .remove = [this](const auto& peers) { ChangeControlees(false, peers); },
            .quit = [this] { progress_.has_quit = true; },
            .prompt = [this](const std::string& text) { outputs_.front()->Prompt(text); },
            .complain = [this](const std::string& text) { Tell(text); },
        });
}

// What is wrong with a wish does not end the session.
void FiraRun::ChangeControlees(bool add, const std::vector<std::string>& peers) {
    try {
        const std::vector<UwbAddress> addresses = ParsePeers(peers);
        CheckPeers(peers, AddressText(session_.deviceAddress));
        if (add) {
            Check(controller_->addControlees(session_.id, addresses, std::nullopt),
                  "add controlees");
        } else {
            Check(controller_->removeControlees(session_.id, addresses), "remove controlees");
        }
    } catch (const Failure& failure) {
        Tell(failure.what());
    }
}

}  // namespace

FiraTwrSession EffectiveSession(const FiraRangeOptions& options) {
    FiraTwrSession session =
        MakeSession(options.preset.empty() ? SessionPresets().front().name : options.preset);
    if (options.session_file == "-" && options.reads_commands) {
        throw Failure(kUsage, "standard input is either the session file or commands");
    }
    if (!options.session_file.empty()) ApplySessionFile(options.session_file, &session);
    if (options.is_controlee) {
        session.deviceType = DeviceType::CONTROLEE;
        session.deviceRole = DeviceRole::RESPONDER;
    }
    if (options.session_id) session.id = static_cast<int32_t>(*options.session_id);
    if (options.channel) session.channelNumber = *options.channel;
    if (options.block_duration_ms) session.rangingBlockDurationMs = *options.block_duration_ms;
    if (!options.angles.empty()) SetAngles(options.angles, &session);
    if (!options.peers.empty()) session.destAddressList = ParsePeers(options.peers);
    if (!options.address.empty()) {
        session.deviceAddress = ParsePeers({options.address}).front();
    } else {
        FillDeviceAddress(&session);
    }
    for (const std::string& setting : options.settings) ApplySetting(setting, &session);
    return session;
}

ExitStatus FiraRange(Events* events, const FiraRangeOptions& options) {
    FiraTwrSession session = EffectiveSession(options);
    CheckPeers(AddressTexts(session.destAddressList), AddressText(session.deviceAddress));
    if (session.destAddressList.empty()) {
        throw Failure(kUsage, "range with whom? name each peer with --peer, such as -p 0x1234");
    }
    if (session.deviceType == DeviceType::CONTROLEE && session.destAddressList.size() != 1) {
        throw Failure(kUsage, "a controlee has exactly one peer, its controller");
    }
    return std::make_shared<FiraRun>(events, options, std::move(session))->Run();
}

void ExplainControlees(Events* events, const std::string& verb) {
    Client client(events);
    try {
        client.Open();
    } catch (const Failure& failure) {
        if (failure.status() != kNoService) throw;
        throw Failure(kNoService,
                      std::string(failure.what()) +
                          "; the uwbctl that ranges changes its controlees itself: press " +
                          verb.front() + " there, or start it with --commands and write \"" + verb +
                          " ADDRESS\" to its standard input");
    }
    throw Failure(kRefused,
                  "cannot " + verb +
                      " controlees: no session is ranging; a session lives as long as the "
                      "uwbctl that started it");
}

}  // namespace uwbctl
