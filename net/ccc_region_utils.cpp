// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.CccRegionUtils"

#include "net/ccc_region_utils.h"

#include <android-base/logging.h>

#include <algorithm>

#include "net/mcps802154.h"
#include "net/nl_attr.h"
#include "net/region_call.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {
namespace {

constexpr auto kStopPolicies = MakePolicies<NFCC_COEX_CALL_ATTR_MAX>({
    {NFCC_COEX_CALL_ATTR_STOPPED, NLA_U8},
    {NFCC_COEX_CALL_ATTR_WATCHDOG, NLA_U8},
});

}  // namespace

CccRegionUtils::CccRegionUtils(NlSocketFactory* factory)
    : BaseRegionUtils(kNfccCoexRegion, factory), callback_(nullptr) {}

bool CccRegionUtils::StartCccSession(uint32_t hw_index, uint64_t start_value, uint8_t start_byte) {
    LOG(INFO) << __func__;
    if (callback_ == nullptr) {
        LOG(ERROR) << __func__ << ": callback is not set";
        return false;
    }
    RegionCall call(*this, hw_index, NFCC_COEX_CALL_CCC_SESSION_START);
    if (!call.started()) {
        LOG(ERROR) << __func__ << ": failed to fill netlink message start";
        return false;
    }
    AttrWriter& put = call.put();
    {
        const auto session = put.OpenNest(NFCC_COEX_CALL_ATTR_CCC_SESSION_PARAMS);
        if (!put.ok()) {
            LOG(ERROR) << __func__ << ": failed to fill netlink message nested";
            return false;
        }
        put.U64(NFCC_COEX_CCC_PARAM_TIME0_NS, start_value);
        put.U8(NFCC_COEX_CCC_PARAM_CHANNEL_NUMBER, start_byte);
        if (!put.ok()) {
            LOG(ERROR) << __func__ << ": failed to fill netlink message params";
            return false;
        }
    }
    if (!put.ok() || !call.End()) {
        LOG(ERROR) << __func__ << ": failed to fill netlink message end";
        return false;
    }
    // Known from now on: what is read before the acknowledgement may be another radio's stop, or
    // that of this radio's last session.
    const auto known = sessions_.find(hw_index);
    const Session last = known == sessions_.end() ? Session{callback_, false} : known->second;
    sessions_[hw_index] = {callback_, true};
    if (!StartRangingSession(call.msg(), [this](nl_msg* ntf) { return OnNotification(ntf); })) {
        LOG(ERROR) << __func__ << ": failed to start ranging";
        Session& session = sessions_[hw_index];
        session = {last.callback, last.is_running && session.is_running};
        return false;
    }
    return true;
}

bool CccRegionUtils::StopCccSession(uint32_t hw_index) {
    LOG(INFO) << __func__;
    UniqueNlMsg msg;
    nlattr* call = nullptr;
    if (msg.get() == nullptr ||
        !StartCallMessage(msg.get(), hw_index, NFCC_COEX_CALL_CCC_SESSION_STOP, &call) ||
        !EndCallMessage(msg.get(), call)) {
        return false;
    }
    const std::unique_ptr<NlSocket> socket = factory()->Create();
    return socket != nullptr && socket->SendAndAwaitAck(msg.get(), {});
}

int CccRegionUtils::OnNotification(nl_msg* msg) {
    NotificationCounters::Tally tally(mutable_counters());
    uint32_t hw_index = 0;
    uint8_t call_id = 0;
    nlattr* content = GetCallContent(msg, &hw_index, &call_id);
    if (content == nullptr) return NL_STOP;
    if (call_id != NFCC_COEX_CALL_CCC_SESSION_NTF) {
        LOG(INFO) << __func__ << ": Not a ranging notification message.";
        return NL_STOP;
    }
    CccRegionCallback* const callback = CallbackOf(hw_index);
    if (callback == nullptr) return NL_STOP;
    AttrTable<NFCC_COEX_CALL_ATTR_MAX> params;
    if (params.ParseNest(content, kStopPolicies) < 0) {
        LOG(WARNING) << __func__ << ": Failed to parse session ntf call attr";
        return NL_STOP;
    }
    if (!params.Has(NFCC_COEX_CALL_ATTR_STOPPED) || !params.Has(NFCC_COEX_CALL_ATTR_WATCHDOG)) {
        LOG(WARNING) << __func__ << ": Missing session ntf call attrs";
        return NL_STOP;
    }
    tally.Delivered();
    if (params.U8(NFCC_COEX_CALL_ATTR_STOPPED) != 0) {
        callback->OnSessionStopped(hw_index, CccRegionCallback::kStopRequested);
    } else if (params.U8(NFCC_COEX_CALL_ATTR_WATCHDOG) != 0) {
        callback->OnSessionStopped(hw_index, CccRegionCallback::kStoppedByRadio);
    }
    return NL_STOP;
}

void CccRegionUtils::SetCallback(CccRegionCallback* callback) {
    if (callback == nullptr) ForgetCallback(callback_);
    callback_ = callback;
}

CccRegionCallback* CccRegionUtils::callback() const {
    return callback_;
}

CccRegionCallback* CccRegionUtils::CallbackOf(uint32_t hw_index) const {
    const auto session = sessions_.find(hw_index);
    return session == sessions_.end() ? callback_ : session->second.callback;
}

void CccRegionUtils::EndSession(uint32_t hw_index) {
    if (const auto session = sessions_.find(hw_index); session != sessions_.end()) {
        session->second.is_running = false;
    }
    const auto is_running = [](const auto& entry) { return entry.second.is_running; };
    if (std::none_of(sessions_.begin(), sessions_.end(), is_running)) CloseRangingSocket();
}

void CccRegionUtils::ForgetCallback(CccRegionCallback* callback) {
    std::erase_if(sessions_, [&](const auto& entry) { return entry.second.callback == callback; });
    if (callback_ == callback) callback_ = nullptr;
}

void CccRegionUtils::OnNotificationsLost() {
    const auto sessions = sessions_;  // They end.
    for (const auto& [hw_index, session] : sessions) {
        if (!session.is_running) continue;
        StopCccSession(hw_index);
        // Asked anew: the first client's answer may have ended the second one's session.
        CccRegionCallback* const callback = CallbackOf(hw_index);
        EndSession(hw_index);
        if (callback != nullptr) {
            callback->OnSessionStopped(hw_index, CccRegionCallback::kNotificationsLost);
        }
    }
    CloseRangingSocket();
}

bool CccRegionUtils::GetCapabilities(CccCapabilities& caps) const {
    caps.protocolVersions = {0, 1};
    caps.uwbConfigs = {1};
    caps.pulseShapeCombinations = {0, 1, 2};
    caps.ranMultiplier = 2;
    caps.chapsPerSlot = {3, 4, 6, 8, 9, 12, 24};
    caps.syncCodes = {9, 10, 11, 12};
    caps.supportedChannels = {5, 9};
    caps.hoppingConfigModes = {0, 1, 2};
    caps.hoppingSequences = {0, 1};
    return true;
}

}  // namespace hardware::velta
