// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/ranging/ccc_activity.h"

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>

#include <utility>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using ::ndk::ScopedAStatus;
using std::chrono::steady_clock;

// The service takes an identifier but has one session at a time.
constexpr int kSessionId = 1;

}  // namespace

class CccActivity::Callback : public ::aidl::hardware::velta::uwb::BnCccControllerCallback {
  public:
    Callback(Events* events, std::weak_ptr<CccActivity> activity)
        : events_(events), activity_(std::move(activity)) {}

    ScopedAStatus onSessionStopped(int32_t reason) override {
        events_->Post([weak = activity_, reason] {
            if (const auto activity = weak.lock()) activity->OnStopped(reason);
        });
        return ScopedAStatus::ok();
    }

  private:
    Events* events_;
    std::weak_ptr<CccActivity> activity_;
};

CccActivity::CccActivity(std::shared_ptr<ICccController> controller, std::string iface,
                         int64_t delay_ms, int channel)
    : controller_(std::move(controller)),
      iface_(std::move(iface)),
      delay_ms_(delay_ms),
      channel_(channel) {}

void CccActivity::Start(Events* events) {
    Check(controller_->setCallback(ndk::SharedRefBase::make<Callback>(events, weak_from_this())),
          "set the callback");
    Check(controller_->initSession(), "initialise the CCC session");
    const ScopedAStatus status =
        controller_->startSession(kSessionId, delay_ms_, channel_, &time0_ms_);
    if (!status.isOk()) {
        controller_->deinitSession();
        CheckStart(status, "start the CCC session", channel_);
    }
}

void CccActivity::Stop() {
    if (is_stopping_ || end_) return;
    is_stopping_ = true;
    stop_time_ = steady_clock::now();
    Check(controller_->stopSession(kSessionId), "stop the CCC session");
}

void CccActivity::Tick() {
    if (end_ || !is_stopping_ || steady_clock::now() - stop_time_ < kStopPatience) return;
    End(Tone::kError, "the radio did not confirm the stop");
}

void CccActivity::OnStopped(int reason) {
    if (end_) return;
    stop_reason_ = reason;
    if (is_stopping_) {
        End(Tone::kInfo, "stopped");
    } else {
        End(Tone::kError, StopReasonText(reason));
    }
}

// Deep sleep on again, whatever came before.
void CccActivity::End(Tone tone, const std::string& reason) {
    end_ = ActivityEnd{.tone = tone, .reason = reason};
    controller_->deinitSession();
}

nlohmann::ordered_json CccActivity::Describe() const {
    return {{"kind", "ccc"},
            {"phase", is_stopping_ ? "stopping" : "running"},
            {"channel", channel_},
            {"delay_ms", delay_ms_},
            {"time0_ms", time0_ms_}};
}

}  // namespace uwbctl
