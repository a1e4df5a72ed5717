// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/ranging/fira_activity.h"

#include <algorithm>
#include <utility>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

}  // namespace

FiraActivity::FiraActivity(std::shared_ptr<IFiraController> controller, std::string iface,
                           FiraTwrSession session, ActivityListener* listener)
    : controller_(std::move(controller)),
      iface_(std::move(iface)),
      session_(std::move(session)),
      listener_(listener),
      controlees_(AddressTexts(session_.destAddressList)),
      peers_(AddressTexts(session_.destAddressList)) {}

void FiraActivity::Start(Events* events) {
    Check(controller_->setSessionCallback(MakeSessionCallback(events, weak_from_this())),
          "set the callback");
    Check(controller_->initNewTwrSession(session_), "initialise the session",
          [this] { return TimingHint(session_); });
    const ndk::ScopedAStatus status = controller_->startRangingSession(session_.id);
    if (!status.isOk()) {
        controller_->deinitSession(session_.id);
        CheckStart(status, "start ranging", session_.channelNumber);
    }
    since_ = steady_clock::now();
}

void FiraActivity::ChangeControlees(bool add, const std::vector<std::string>& peers) {
    const auto addresses = ParsePeers(peers);
    CheckPeers(peers, AddressText(session_.deviceAddress));
    if (add) {
        Check(controller_->addControlees(session_.id, addresses, std::nullopt), "add controlees");
    } else {
        Check(controller_->removeControlees(session_.id, addresses), "remove controlees");
    }
}

void FiraActivity::Stop() {
    if (is_stopping_ || end_) return;
    is_stopping_ = true;
    since_ = steady_clock::now();
    Check(controller_->stopRangingSession(session_.id), "stop ranging");
}

void FiraActivity::Tick() {
    if (end_) return;
    const milliseconds patience = is_stopping_ ? kStopPatience : ReportPatience(session_);
    if (steady_clock::now() - since_ < patience) return;
    if (is_stopping_) {
        End(Tone::kError, "the radio did not confirm the stop");
    } else {
        controller_->stopRangingSession(session_.id);
        End(Tone::kError, "no report from the radio for more than ten blocks");
    }
}

void FiraActivity::OnReport(const FiraRangingData& data,
                            const std::vector<FiraTwrMeasurement>& measurements) {
    if (end_) return;
    if (!is_stopping_) since_ = steady_clock::now();
    std::vector<Measurement> taken;
    taken.reserve(measurements.size());
    for (const FiraTwrMeasurement& measurement : measurements) {
        taken.push_back(ToMeasurement(data, measurement));
    }
    listener_->OnMeasurements(iface_, taken);
}

void FiraActivity::OnControlees(const std::string& event, const std::vector<std::string>& peers) {
    for (const std::string& peer : peers) {
        if (event == "controlees_added") peers_.push_back(peer);
        if (event == "controlees_removed") std::erase(peers_, peer);
    }
    listener_->OnControlees(iface_, event, peers, controlees_.Take(event, peers));
}

void FiraActivity::OnStopped(int reason) {
    if (end_) return;
    if (is_stopping_) {
        End(Tone::kInfo, "stopped");
    } else {
        End(Tone::kError, StopReasonText(reason));
    }
}

// Whatever came before, the session is removed.
void FiraActivity::End(Tone tone, const std::string& reason) {
    end_ = ActivityEnd{.tone = tone, .reason = reason};
    controller_->deinitSession(session_.id);
    controller_->clearSessionCallback();
}

nlohmann::ordered_json FiraActivity::Describe() const {
    return {{"kind", "fira"},
            {"phase", is_stopping_ ? "stopping" : "running"},
            {"peers", peers_},
            {"session", PublicSessionToJson(session_)}};
}

}  // namespace uwbctl
