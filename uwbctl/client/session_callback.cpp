// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/session_callback.h"

#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>

#include <utility>

#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::ndk::ScopedAStatus;

class SessionCallback : public BnFiraSessionCallback {
  public:
    SessionCallback(Events* events, std::weak_ptr<SessionListener> listener)
        : events_(events), listener_(std::move(listener)) {}

    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        return Post([data, measurements](SessionListener* listener) {
            listener->OnReport(data, measurements);
        });
    }
    ScopedAStatus onControleesAdded(int32_t, const std::vector<UwbAddress>& peers) override {
        return PostEvent("controlees_added", peers);
    }
    ScopedAStatus onControleesAddFailed(int32_t, const std::vector<UwbAddress>& peers,
                                        int32_t) override {
        return PostEvent("controlees_add_failed", peers);
    }
    ScopedAStatus onControleesRemoved(int32_t, const std::vector<UwbAddress>& peers) override {
        return PostEvent("controlees_removed", peers);
    }
    ScopedAStatus onControleesRemoveFailed(int32_t, const std::vector<UwbAddress>& peers,
                                           int32_t) override {
        return PostEvent("controlees_remove_failed", peers);
    }
    ScopedAStatus onSessionStopped(int32_t, int32_t reason) override {
        return Post([reason](SessionListener* listener) { listener->OnStopped(reason); });
    }

  private:
    template <typename Task>
    ScopedAStatus Post(Task task) {
        events_->Post([weak = listener_, task = std::move(task)] {
            if (const auto listener = weak.lock()) task(listener.get());
        });
        return ScopedAStatus::ok();
    }
    ScopedAStatus PostEvent(const char* event, const std::vector<UwbAddress>& peers) {
        return Post([event, texts = AddressTexts(peers)](SessionListener* listener) {
            listener->OnControlees(event, texts);
        });
    }

    Events* events_;
    std::weak_ptr<SessionListener> listener_;
};

}  // namespace

std::shared_ptr<IFiraSessionCallback> MakeSessionCallback(Events* events,
                                                          std::weak_ptr<SessionListener> listener) {
    return ndk::SharedRefBase::make<SessionCallback>(events, std::move(listener));
}

}  // namespace uwbctl
