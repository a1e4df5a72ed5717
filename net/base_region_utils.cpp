// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.BaseRegionUtils"

#include "net/base_region_utils.h"

#include <android-base/logging.h>

#include <utility>

#include "net/mcps802154.h"
#include "net/mcps_policies.h"
#include "net/nl_attr.h"

namespace hardware::velta {
namespace {

constexpr auto kCallPolicies = MakePolicies<MCPS802154_REGION_CALL_ATTR_MAX>({
    {MCPS802154_REGION_CALL_ATTR_NAME, NLA_STRING, MCPS802154_NAME_MAX},
    {MCPS802154_REGION_CALL_ATTR_CALL, NLA_U32},
    {MCPS802154_REGION_CALL_ATTR_PARAMS, NLA_NESTED},
});

}  // namespace

BaseRegionUtils::BaseRegionUtils(McpsRegion region, NlSocketFactory* factory)
    : factory_(factory), net_id_(0), region_(region), name_(region.ToString()) {}

void BaseRegionUtils::SetMcpsNetId(uint32_t id) {
    net_id_ = id;
}

bool BaseRegionUtils::SetMcpsCommand(nl_msg* msg, uint32_t hw_index, uint8_t command,
                                     int flags) const {
    if (net_id_ == 0) {
        LOG(ERROR) << __func__ << " " << name_ << ": MCPS netlink id is not resolved";
        return false;
    }
    genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, static_cast<int>(net_id_), 0, flags, command, 0);
    AttrWriter put(msg);
    put.U32(MCPS802154_ATTR_HW, hw_index);
    if (!put.ok()) {
        LOG(ERROR) << __func__ << " " << name_ << ": Error creating MCPS message";
        return false;
    }
    return true;
}

bool BaseRegionUtils::StartCallMessage(nl_msg* msg, uint32_t hw_index, uint8_t call_id,
                                       nlattr** call) const {
    if (!SetMcpsCommand(msg, hw_index, MCPS802154_CMD_REGION_CALL, 0)) return false;
    AttrWriter put(msg);
    put.String(MCPS802154_ATTR_SCHEDULER_NAME, MCPS802154_SCHEDULER_ENDLESS);
    *call = put.ok() ? StartNest(msg, MCPS802154_ATTR_SCHEDULER_REGION_CALL) : nullptr;
    put.U32(MCPS802154_REGION_CALL_ATTR_ID, 0);
    put.String(MCPS802154_REGION_CALL_ATTR_NAME, name_);
    put.U32(MCPS802154_REGION_CALL_ATTR_CALL, call_id);
    if (*call == nullptr || !put.ok()) {
        // No colon in this one.
        LOG(ERROR) << __func__ << " " << name_ << " Error creating MCPS message";
        return false;
    }
    return true;
}

bool BaseRegionUtils::StartCallMessageWithParams(nl_msg* msg, uint32_t hw_index, uint8_t call_id,
                                                 nlattr** call, nlattr** params) const {
    if (!StartCallMessage(msg, hw_index, call_id, call)) return false;
    *params = StartNest(msg, MCPS802154_REGION_CALL_ATTR_PARAMS);
    if (*params == nullptr) {
        LOG(ERROR) << __func__ << " " << name_ << ": Error creating MCPS message";
    }
    return *params != nullptr;
}

bool BaseRegionUtils::EndCallMessage(nl_msg* msg, nlattr* call) const {
    return EndNest(msg, call);
}

bool BaseRegionUtils::EndCallMessageWithParams(nl_msg* msg, nlattr* call, nlattr* params) const {
    return EndNest(msg, params) && EndNest(msg, call);
}

bool BaseRegionUtils::StartRangingSession(nl_msg* msg, std::function<int(nl_msg*)> handler) {
    // A copy that lasts: a notification read with the acknowledgement may close the socket.
    const bool is_new = ranging_socket_ == nullptr;
    const std::shared_ptr<NlSocket> socket =
        is_new ? std::shared_ptr<NlSocket>(factory_->Create()) : ranging_socket_;
    if (socket == nullptr) {
        LOG(ERROR) << __func__ << " " << name_ << ": BAD_ALLOC: cannot allocate NlSocket";
        return false;
    }
    if (!socket->SendAndAwaitAck(msg, handler)) return false;
    if (is_new) {
        socket->DisableAutoAck();
        socket->SetLostHandler([this] { CountLost(); });
        if (!socket->WatchNetlinkSocket(socket, handler)) return false;
    }
    // Also when it was held before: the stop of an older session, read just now, may have closed
    // it, but what was started reports here.
    ranging_socket_ = socket;
    return true;
}

void BaseRegionUtils::CountLost() {
    counters_.overflows++;
    LOG(ERROR) << "Notifications " << name_ << ": lost, for the " << counters_.overflows
               << ". time since the start; what ran is stopped";
    OnNotificationsLost();
}

void BaseRegionUtils::CloseRangingSocket() {
    if (ranging_socket_ == nullptr) return;
    LOG(INFO) << __func__ << " " << name_;
    ranging_socket_.reset();
}

nlattr* BaseRegionUtils::GetCallContent(nl_msg* msg, uint32_t* hw_index, uint8_t* call_id) const {
    // Only for what is logged: this runs for every report.
    static constexpr const char* kFunction = __func__;
    const auto prefix = [this] { return std::string(kFunction) + " " + name_; };
    const std::optional<int> command = GenlCommand(msg);
    if (!command) {
        LOG(ERROR) << prefix() << ": Message doesn't respect policy";
        return nullptr;
    }
    if (command != MCPS802154_CMD_REGION_CALL) {
        LOG(WARNING) << prefix() << ": Incorrect command received: " << *command;
        return nullptr;
    }
    AttrTable<MCPS802154_ATTR_MAX> attrs;
    if (attrs.ParseMessage(msg, kMcpsPolicies) < 0) {
        LOG(ERROR) << prefix() << ": Message doesn't respect policy";
        return nullptr;
    }
    if (!attrs.Has(MCPS802154_ATTR_HW) || !attrs.Has(MCPS802154_ATTR_SCHEDULER_REGION_CALL)) {
        LOG(ERROR) << prefix()
                   << ": Missing MCPS802154_ATTR_HW or MCPS802154_ATTR_SCHEDULER_REGION_CALL";
        return nullptr;
    }
    *hw_index = attrs.U32(MCPS802154_ATTR_HW);
    AttrTable<MCPS802154_REGION_CALL_ATTR_MAX> call;
    if (call.ParseNest(attrs.Get(MCPS802154_ATTR_SCHEDULER_REGION_CALL), kCallPolicies) < 0) {
        LOG(ERROR) << prefix()
                   << ": Incorrect MCPS802154_ATTR_SCHEDULER_REGION_CALL nested message";
        return nullptr;
    }
    if (!call.Has(MCPS802154_REGION_CALL_ATTR_NAME) ||
        call.Text(MCPS802154_REGION_CALL_ATTR_NAME) != name_) {
        LOG(ERROR) << prefix() << ": Missing region name in mcps message";
        return nullptr;
    }
    if (!call.Has(MCPS802154_REGION_CALL_ATTR_CALL)) {
        LOG(ERROR) << prefix() << ": Missing region call in mcps message";
        return nullptr;
    }
    *call_id = static_cast<uint8_t>(call.U32(MCPS802154_REGION_CALL_ATTR_CALL));
    if (!call.Has(MCPS802154_REGION_CALL_ATTR_PARAMS)) {
        LOG(ERROR) << prefix() << ": Missing region call params in mcps message";
        return nullptr;
    }
    return call.Get(MCPS802154_REGION_CALL_ATTR_PARAMS);
}

}  // namespace hardware::velta
