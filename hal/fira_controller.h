// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnFiraController.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "diagnostics/dump_writer.h"
#include "hal/controller_listener.h"
#include "hal/ipc_utils.h"
#include "looper/event_loop.h"
#include "net/config_utils.h"
#include "net/fira_region_utils.h"
#include "net/ieee_utils.h"

namespace hardware::velta {

/**
 * The FiRa sessions of one radio: validates them, keeps them on one channel, drives them in the
 * kernel and hands reports to the client.
 */
class FiraController : public ::aidl::hardware::velta::uwb::BnFiraController, public FiraCallback {
  public:
    using FiraCapabilities = ::aidl::hardware::velta::uwb::FiraCapabilities;
    using FiraRangingData = ::aidl::hardware::velta::uwb::FiraRangingData;
    using FiraTwrMeasurement = ::aidl::hardware::velta::uwb::FiraTwrMeasurement;
    using FiraTwrSession = ::aidl::hardware::velta::uwb::FiraTwrSession;
    using IFiraSessionCallback = ::aidl::hardware::velta::uwb::IFiraSessionCallback;
    using UwbAddress = ::aidl::hardware::velta::uwb::UwbAddress;

    /** All pointers are borrowed and outlive the controller. */
    FiraController(std::string iface_name, uint32_t hw_index, IeeeUtils* ieee_utils,
                   FiraRegionUtils* fira_region_utils, EventLoop* event_loop);
    /** As Abandon(). */
    ~FiraController() override;

    ndk::ScopedAStatus setSessionCallback(
        const std::shared_ptr<IFiraSessionCallback>& callback) override;
    ndk::ScopedAStatus clearSessionCallback() override;
    ndk::ScopedAStatus getCapabilities(FiraCapabilities* caps) override;
    ndk::ScopedAStatus initNewTwrSession(const FiraTwrSession& session) override;
    ndk::ScopedAStatus updateTwrSession(const FiraTwrSession& session) override;
    ndk::ScopedAStatus startRangingSession(int32_t session_id) override;
    ndk::ScopedAStatus updateTwoWayRangingBlockStriding(int32_t session_id,
                                                        int32_t block_striding_value) override;
    ndk::ScopedAStatus addControlees(
        int32_t session_id, const std::vector<UwbAddress>& controlees,
        const std::optional<std::vector<int32_t>>& sub_session_ids) override;
    ndk::ScopedAStatus removeControlees(int32_t session_id,
                                        const std::vector<UwbAddress>& controlees) override;
    ndk::ScopedAStatus stopRangingSession(int32_t session_id) override;
    ndk::ScopedAStatus getSessionCount(int32_t* count) override;
    ndk::ScopedAStatus deinitSession(int32_t session_id) override;
    ndk::ScopedAStatus reset() override;

    void OnTwrResult(const FiraRangingData& data,
                     const std::vector<FiraTwrMeasurement>& measurements) override;
    void OnSessionStopped(uint32_t session_id, int reason) override;
    void OnNotificationsLost() override;

    /** @return the number of initialised sessions, running ones included. */
    int SessionCount() const;
    /** @return the number of running sessions. */
    int ActiveSessionCount() const;
    /** @param listener borrowed; null for none. */
    void SetListener(ControllerListener* listener);
    /** Takes this radio's FiRa keys out of config; false when one is bad. */
    bool ConsumeProperties(ConfigUtils& config);
    /**
     * Ends what the client left behind: gives up the subscription, forgets the callback, removes
     * the sessions in the kernel. Call it with the interface down: a radio that is down has no
     * running session, and a running one cannot be removed. The client may keep calling, but gets
     * no new session: the radio may be another client's by then.
     */
    void Abandon();
    /** Writes the sessions and their states. */
    void Dump(DumpWriter* writer) const;

  private:
    using Clock = std::chrono::steady_clock;

    enum class SessionPhase : uint32_t { kInitialised = 0, kRunning = 1 };
    struct SessionState {
        SessionPhase phase = SessionPhase::kInitialised;
        Clock::time_point created = Clock::now();
        Clock::time_point entered = Clock::now();

        void Enter(SessionPhase next) {
            phase = next;
            entered = Clock::now();
        }
    };

    static constexpr int8_t kNoChannel = -1;

    // Why a session stopped, beyond what the radio can say with its byte.
    static constexpr int kNotificationsLost = 256;

    SessionState* FindSession(int32_t session_id);
    ndk::ScopedAStatus ValidateSession(const FiraTwrSession& session) const;
    ndk::ScopedAStatus ValidateAoaType(const FiraTwrSession& session) const;
    ndk::ScopedAStatus SettleChannel(int channel);
    void OnSessionInactive();
    void UnsubscribeIfIdle();
    void NotifySessionChanged();

    std::string iface_name_;
    uint32_t hw_index_;
    IeeeUtils* ieee_utils_;
    EventLoop* event_loop_;
    FiraRegionUtils* fira_region_utils_;
    std::shared_ptr<IFiraSessionCallback> session_callback_;
    std::map<uint32_t, SessionState> sessions_;
    // As many attempts that failed are undone at close: more than a radio has sessions, and few
    // enough not to keep the next client waiting.
    static constexpr size_t kMaxLeftBehind = 32;

    // Not ours any more, or never quite, but the kernel may have them.
    std::set<uint32_t> left_behind_;
    int32_t active_session_count_;
    ControllerListener* listener_;
    int8_t current_channel_;
    bool is_abandoned_ = false;
    uint64_t dropped_reports_ = 0;
    // Shared with tasks that outlive this object.
    std::shared_ptr<Deliveries> deliveries_;
};

}  // namespace hardware::velta
