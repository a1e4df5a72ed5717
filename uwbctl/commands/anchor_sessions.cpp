// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/anchor_sessions.h"

#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>

#include <algorithm>
#include <utility>

#include "uwbctl/commands/command.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::ndk::ScopedAStatus;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{5000};

}  // namespace

class AnchorSessions::Callback : public BnFiraSessionCallback {
  public:
    Callback(Events* events, const std::shared_ptr<AnchorSessions*>& sessions, size_t index,
             std::string iface)
        : events_(events), sessions_(sessions), index_(index), iface_(std::move(iface)) {}

    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        return Post([iface = iface_, data, measurements](AnchorSessions* sessions) {
            for (const FiraTwrMeasurement& it : measurements) {
                sessions->handler_(iface, ToMeasurement(data, it));
            }
        });
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
        return Post([index = index_, reason](AnchorSessions* sessions) {
            sessions->sessions_[index].stop_reason = reason;
        });
    }

  private:
    ScopedAStatus Post(std::function<void(AnchorSessions*)> task) {
        events_->Post([weak = sessions_, task = std::move(task)] {
            if (const auto sessions = weak.lock()) task(*sessions);
        });
        return ScopedAStatus::ok();
    }

    Events* events_;
    std::weak_ptr<AnchorSessions*> sessions_;
    size_t index_;
    std::string iface_;
};

AnchorSessions::AnchorSessions(Events* events, Handler handler)
    : events_(events),
      handler_(std::move(handler)),
      client_(events),
      self_(std::make_shared<AnchorSessions*>(this)) {
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
    Running running{.id = session.id};
    const auto object = client_.GetIface(&iface);
    Check(object->firaController(&running.controller), "get the FiRa controller of " + iface);
    if (running.controller == nullptr) {
        throw Failure(kRefused, "interface " + iface + " has no FiRa");
    }
    Check(running.controller->setSessionCallback(
              ndk::SharedRefBase::make<Callback>(events_, self_, sessions_.size(), iface)),
          "set the callback of " + iface);
    Check(running.controller->initNewTwrSession(session), "initialise the session on " + iface);
    sessions_.push_back(running);
    CheckStart(running.controller->startRangingSession(session.id), "start ranging on " + iface,
               session.channelNumber);
    return iface;
}

Ended AnchorSessions::Run(const std::function<bool()>& done) {
    const auto stopped = [this] {
        return std::find_if(sessions_.begin(), sessions_.end(),
                            [](const Running& running) { return running.stop_reason.has_value(); });
    };
    const Ended ended = RunUntil(events_, client_, kPatience,
                                 [&] { return done() || stopped() != sessions_.end(); });
    if (const auto it = stopped(); it != sessions_.end()) {
        throw Failure(kRadioFailed, "the radio stopped a session (reason " +
                                        std::to_string(*it->stop_reason) + ")");
    }
    return ended;
}

void AnchorSessions::Stop() {
    for (Running& running : sessions_) {
        if (!running.stop_reason) {
            Check(running.controller->stopRangingSession(running.id), "stop ranging");
        }
        if (!FinishWithin(events_, client_, kPatience,
                          [&running] { return running.stop_reason.has_value(); })) {
            throw Failure(kRadioFailed, "the radio did not confirm the stop");
        }
        Check(running.controller->deinitSession(running.id), "remove the session");
    }
}

}  // namespace uwbctl
