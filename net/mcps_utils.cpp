// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.McpsUtils"

#include "net/mcps_utils.h"

#include <android-base/logging.h>

#include <utility>

#include "net/mcps802154.h"
#include "net/mcps_policies.h"
#include "net/nl_attr.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {
namespace {

constexpr char kPhyPrefix[] = "phy";
constexpr char kSpiPidKey[] = "spi_pid";
constexpr char kKt7100PidKey[] = "kt7100_pid";

// Keys of a GET reply; the process ids' keys are short.
constexpr uint16_t kPidKeyMaxLength = 32;

constexpr auto kHwPolicies = MakePolicies<MCPS802154_ATTR_MAX>({
    {MCPS802154_ATTR_HW, NLA_U32},
    {MCPS802154_ATTR_PHY_NAME, NLA_STRING, MCPS802154_NAME_MAX},
    {MCPS802154_ATTR_SCHEDULER_NAME, NLA_STRING, MCPS802154_NAME_MAX},
});
constexpr auto kPidPolicies = MakePolicies<MCPS802154_CALIBRATION_ATTR_MAX>({
    {MCPS802154_CALIBRATION_ATTR_KEY, NLA_STRING, kPidKeyMaxLength},
});

std::string SchedulerName(McpsScheduler scheduler) {
    switch (scheduler) {
        case McpsScheduler::kDefault:
            return MCPS802154_SCHEDULER_DEFAULT;
        case McpsScheduler::kSimpleRanging:
            return MCPS802154_SCHEDULER_SIMPLE_RANGING;
        case McpsScheduler::kEndless:
            return MCPS802154_SCHEDULER_ENDLESS;
        case McpsScheduler::kOnDemand:
            return MCPS802154_SCHEDULER_ON_DEMAND;
    }
    return std::to_string(static_cast<int>(scheduler));
}

// One element of a list of regions. Neither the list nor its elements carry the nested flag.
void PutRegion(AttrWriter* put, int position, uint32_t slot, const McpsRegion& region) {
    const auto element = put->OpenNest(position);
    put->U32(MCPS802154_REGION_ATTR_ID, slot);
    put->String(MCPS802154_REGION_ATTR_NAME, region.ToString());
}

void ReadSpiPids(nl_msg* msg, McpsUtils::SpiPids* pids) {
    AttrTable<MCPS802154_ATTR_MAX> attrs;
    attrs.ParseMessage(msg, kMcpsPolicies);
    if (!attrs.Has(MCPS802154_ATTR_CALIBRATIONS)) return;
    for (nlattr* element : Attrs(attrs.Get(MCPS802154_ATTR_CALIBRATIONS))) {
        AttrTable<MCPS802154_CALIBRATION_ATTR_MAX> entry;
        entry.ParseNest(element, kPidPolicies);
        if (!entry.Has(MCPS802154_CALIBRATION_ATTR_KEY)) return;
        if (!entry.Has(MCPS802154_CALIBRATION_ATTR_VALUE) ||
            entry.Size(MCPS802154_CALIBRATION_ATTR_VALUE) < sizeof(uint32_t)) {
            continue;
        }
        const std::string key = entry.String(MCPS802154_CALIBRATION_ATTR_KEY);
        const uint32_t pid = entry.U32(MCPS802154_CALIBRATION_ATTR_VALUE);
        if (key == kSpiPidKey) pids->spi_pid = pid;
        if (key == kKt7100PidKey) pids->kt7100_pid = pid;
    }
}

}  // namespace

std::string McpsRegion::ToString() const {
    switch (id) {
        case kFiraRegion.id:
            return MCPS802154_REGION_FIRA;
        case kNfccCoexRegion.id:
            return MCPS802154_REGION_NFCC_COEX;
        case kSimpleRangingRegion.id:
            return MCPS802154_REGION_SIMPLE_RANGING;
        default:
            return std::to_string(id);
    }
}

McpsUtils::McpsUtils(NlSocketFactory* factory) : factory_(factory), net_id_(0) {}

bool McpsUtils::Start() {
    const std::unique_ptr<NlSocket> socket = factory_->Create();
    if (socket == nullptr) return false;
    const int id = socket->Resolve(MCPS802154_GENL_NAME);
    if (id < 0) {
        LOG(ERROR) << __func__ << ": Generic netlink mcps802154 not found.";
        return false;
    }
    net_id_ = id;
    last_set_.clear();  // The driver may be another one, loaded anew.
    return true;
}

int McpsUtils::GetNetId() const {
    return net_id_;
}

bool McpsUtils::SetMcpsCommand(nl_msg* msg, uint32_t hw_index, uint8_t command, int flags) {
    genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, net_id_, 0, flags, command, 0);
    AttrWriter put(msg);
    put.U32(MCPS802154_ATTR_HW, hw_index);
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating MCPS message";
        return false;
    }
    return true;
}

bool McpsUtils::GetSpiPids(uint32_t hw_index, SpiPids& pids) {
    LOG(INFO) << __func__;
    UniqueNlMsg msg;
    if (msg.get() == nullptr ||
        !SetMcpsCommand(msg.get(), hw_index, MCPS802154_CMD_CALIBRATION_GET, 0)) {
        return false;
    }
    pids = {0, 0};
    AttrWriter put(msg.get());
    {
        const auto list = put.OpenNest(MCPS802154_ATTR_CALIBRATIONS, NestFlag::kNested);
        for (const char* key : {kSpiPidKey, kKt7100PidKey}) {
            const auto element = put.OpenNest(MCPS802154_CALIBRATIONS_ELEMENT, NestFlag::kNested);
            put.String(MCPS802154_CALIBRATION_ATTR_KEY, key);
        }
    }
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating nl message.";
        return false;
    }
    return factory_->SendAndAwaitResponse(
        msg.get(), [&pids](nl_msg* reply) { ReadSpiPids(reply, &pids); },
        MCPS802154_CMD_CALIBRATION_GET);
}

std::vector<McpsHwInfo> McpsUtils::ListHardware(bool* ok) {
    LOG(INFO) << __func__;
    std::vector<McpsHwInfo> hardware;
    UniqueNlMsg msg;
    if (msg.get() == nullptr) {
        *ok = false;
        return hardware;
    }
    // No hardware index: the driver answers with all of them.
    genlmsg_put(msg.get(), NL_AUTO_PORT, NL_AUTO_SEQ, net_id_, 0, NLM_F_DUMP,
                MCPS802154_CMD_HW_QUERY, 0);
    *ok = factory_->SendAndAwaitResponse(
        msg.get(),
        [&hardware](nl_msg* reply) {
            McpsHwInfo info;
            if (ParseHwInfo(reply, &info)) hardware.push_back(info);
        },
        MCPS802154_CMD_HW_REPLY);
    return hardware;
}

McpsHwInfo McpsUtils::GetHardwareInfo(uint32_t hw_index, bool* ok) {
    LOG(INFO) << __func__;
    McpsHwInfo info;
    UniqueNlMsg msg;
    if (msg.get() == nullptr || !SetMcpsCommand(msg.get(), hw_index, MCPS802154_CMD_HW_QUERY, 0)) {
        *ok = false;
        return info;
    }
    *ok = factory_->SendAndAwaitResponse(
        msg.get(), [&info](nl_msg* reply) { ParseHwInfo(reply, &info); }, MCPS802154_CMD_HW_REPLY);
    return info;
}

bool McpsUtils::ParseHwInfo(nl_msg* msg, McpsHwInfo* info) {
    AttrTable<MCPS802154_ATTR_MAX> attrs;
    attrs.ParseMessage(msg, kHwPolicies);
    if (!attrs.Has(MCPS802154_ATTR_HW) || !attrs.Has(MCPS802154_ATTR_PHY_NAME)) {
        LOG(WARNING) << __func__ << ": Missing mcps attribute";
        return false;
    }
    info->hw_index = attrs.U32(MCPS802154_ATTR_HW);
    info->scheduler = attrs.Has(MCPS802154_ATTR_SCHEDULER_NAME)
                          ? attrs.String(MCPS802154_ATTR_SCHEDULER_NAME)
                          : MCPS802154_SCHEDULER_DEFAULT;
    const std::string phy = attrs.String(MCPS802154_ATTR_PHY_NAME);
    if (!phy.starts_with(kPhyPrefix)) return false;
    // The kernel numbers its PHYs: a name without a number means a broken driver, and the
    // conversion's exception is left to end the process.
    info->phy_index = static_cast<uint32_t>(std::stoul(phy.substr(sizeof(kPhyPrefix) - 1)));
    return true;
}

bool McpsUtils::SetScheduler(uint32_t hw_index, McpsScheduler scheduler, SlotDuration slot_duration,
                             NodeType node_type, bool set_params) {
    LOG(INFO) << __func__;
    const uint8_t command =
        set_params ? MCPS802154_CMD_SCHEDULER_PARAMS_SET : MCPS802154_CMD_SCHEDULER_SET;
    UniqueNlMsg msg;
    if (msg.get() == nullptr || !SetMcpsCommand(msg.get(), hw_index, command, 0)) return false;
    AttrWriter put(msg.get());
    put.String(MCPS802154_ATTR_SCHEDULER_NAME, SchedulerName(scheduler));
    const bool has_duration = slot_duration != SlotDuration::kNotGiven;
    const bool has_type = node_type != NodeType::kNotGiven;
    if (has_duration || has_type) {
        const auto params = put.OpenNest(MCPS802154_ATTR_SCHEDULER_PARAMS, NestFlag::kNested);
        if (has_duration) {
            put.U32(MCPS802154_SCHEDULER_PARAM_SLOT_DURATION, static_cast<uint32_t>(slot_duration));
        }
        if (has_type) {
            put.U32(MCPS802154_SCHEDULER_PARAM_NODE_TYPE, static_cast<uint32_t>(node_type));
        }
    }
    if (!put.ok()) {
        LOG(ERROR) << __func__ << " Error creating MCPS message";  // No colon in this one.
        return false;
    }
    if (set_params) return factory_->SendAndAwaitAck(msg.get());
    return SendChoice(msg.get(), hw_index, {SchedulerName(scheduler), {}});
}

bool McpsUtils::SetRegion(uint32_t hw_index, const McpsRegion& region) {
    LOG(INFO) << __func__;
    UniqueNlMsg msg;
    if (msg.get() == nullptr ||
        !SetMcpsCommand(msg.get(), hw_index, MCPS802154_CMD_SCHEDULER_SET, 0)) {
        return false;
    }
    AttrWriter put(msg.get());
    put.String(MCPS802154_ATTR_SCHEDULER_NAME, MCPS802154_SCHEDULER_ENDLESS);
    {
        const auto list = put.OpenNest(MCPS802154_ATTR_SCHEDULER_REGIONS);
        PutRegion(&put, 1, 0, region);
    }
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating MCPS message";
        return false;
    }
    return SendChoice(msg.get(), hw_index, {MCPS802154_SCHEDULER_ENDLESS, {region.ToString()}});
}

bool McpsUtils::SetAllRegions(uint32_t hw_index) {
    LOG(INFO) << __func__;
    UniqueNlMsg msg;
    if (msg.get() == nullptr ||
        !SetMcpsCommand(msg.get(), hw_index, MCPS802154_CMD_SCHEDULER_SET, 0)) {
        return false;
    }
    AttrWriter put(msg.get());
    put.String(MCPS802154_ATTR_SCHEDULER_NAME, MCPS802154_SCHEDULER_ON_DEMAND);
    {
        const auto list = put.OpenNest(MCPS802154_ATTR_SCHEDULER_REGIONS);
        PutRegion(&put, 1, 1, kFiraRegion);
        PutRegion(&put, 2, 0, kNfccCoexRegion);
    }
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating MCPS message";
        return false;
    }
    return SendChoice(
        msg.get(), hw_index,
        {MCPS802154_SCHEDULER_ON_DEMAND, {kFiraRegion.ToString(), kNfccCoexRegion.ToString()}});
}

bool McpsUtils::SendChoice(nl_msg* msg, uint32_t hw_index, SchedulerChoice choice) {
    if (!factory_->SendAndAwaitAck(msg)) return false;
    last_set_[hw_index] = std::move(choice);
    return true;
}

McpsUtils::SchedulerChoice McpsUtils::LastSet(uint32_t hw_index) const {
    const auto entry = last_set_.find(hw_index);
    return entry == last_set_.end() ? SchedulerChoice{} : entry->second;
}

RequestCounters McpsUtils::request_counters() const {
    return factory_ == nullptr ? RequestCounters{} : factory_->request_counters();
}

}  // namespace hardware::velta
