// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/anchor_sessions.h"

#include <aidl/hardware/velta/uwb/IFiraController.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/session_callback.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using std::chrono::milliseconds;

constexpr milliseconds kStopPatience{5000};

}  // namespace

class AnchorSessions::Session : public SessionListener {
  public:
    Session(std::string iface, int32_t id, Handler handler)
        : id(id), iface_(std::move(iface)), handler_(std::move(handler)) {}

    void OnReport(const FiraRangingData& data,
                  const std::vector<FiraTwrMeasurement>& measurements) override {
        for (const FiraTwrMeasurement& it : measurements) handler_(iface_, ToMeasurement(data, it));
    }
    void OnControlees(const std::string& /*event*/,
                      const std::vector<std::string>& /*peers*/) override {}
    void OnStopped(int reason) override { stop_reason = reason; }

    const int32_t id;
    std::shared_ptr<IFiraController> controller;
    std::optional<int> stop_reason;

  private:
    std::string iface_;
    Handler handler_;
};

AnchorSessions::AnchorSessions(Events* events, Handler handler)
    : events_(events), handler_(std::move(handler)), client_(events) {
    client_.Open();
}

// The service ends what a client leaves behind.
AnchorSessions::~AnchorSessions() = default;

std::vector<std::string> AnchorSessions::Interfaces() {
    std::vector<std::string> names;
    Check(client_.service()->listIfaceNames(&names), "list the interfaces");
    return names;
}

std::string AnchorSessions::Start(std::string iface, const FiraTwrSession& session) {
    const auto object = client_.GetIface(&iface);
    const auto running = std::make_shared<Session>(iface, session.id, handler_);
    Check(object->firaController(&running->controller), "get the FiRa controller of " + iface);
    if (running->controller == nullptr) {
        throw Failure(kRefused, "interface " + iface + " has no FiRa");
    }
    Check(running->controller->setSessionCallback(MakeSessionCallback(events_, running)),
          "set the callback of " + iface);
    Check(running->controller->initNewTwrSession(session), "initialise the session on " + iface);
    sessions_.push_back(running);
    patience_ = std::max(patience_, ReportPatience(session));
    CheckStart(running->controller->startRangingSession(session.id), "start ranging on " + iface,
               session.channelNumber);
    return iface;
}

Ended AnchorSessions::Run(const std::function<bool()>& done) {
    const auto stopped = [this] {
        return std::find_if(sessions_.begin(), sessions_.end(),
                            [](const auto& session) { return session->stop_reason.has_value(); });
    };
    const Ended ended = RunUntil(events_, client_, patience_,
                                 [&] { return done() || stopped() != sessions_.end(); });
    if (const auto it = stopped(); it != sessions_.end()) {
        throw Failure(kRadioFailed, StopReasonText(*(*it)->stop_reason));
    }
    return ended;
}

void AnchorSessions::Stop() {
    for (const auto& session : sessions_) {
        if (!session->stop_reason) {
            Check(session->controller->stopRangingSession(session->id), "stop ranging");
        }
        if (!FinishWithin(events_, client_, kStopPatience,
                          [&session] { return session->stop_reason.has_value(); })) {
            throw Failure(kRadioFailed, "the radio did not confirm the stop");
        }
        Check(session->controller->deinitSession(session->id), "remove the session");
    }
}

}  // namespace uwbctl
