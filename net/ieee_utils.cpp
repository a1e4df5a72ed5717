// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.IeeeUtils"

#include "net/ieee_utils.h"

#include <android-base/logging.h>
#include <net/if.h>

#include "net/nl_attr.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {
namespace {

constexpr char kFamilyName[] = "nl802154";

// From the kernel's net/nl802154.h, which distributions do not install.
enum Nl802154Command : uint8_t {
    kCmdGetWpanPhy = 1,
    kCmdNewWpanPhy = 3,
    kCmdGetInterface = 5,
    kCmdNewInterface = 7,
    kCmdSetChannel = 9,
    kCmdSetPanId = 10,
    kCmdSetShortAddr = 11,
};
enum Nl802154Attr {
    kAttrWpanPhy = 1,
    kAttrIfIndex = 3,
    kAttrIfName = 4,
    kAttrPage = 7,
    kAttrChannel = 8,
    kAttrPanId = 9,
    kAttrShortAddr = 10,
    kAttrWpanPhyCaps = 24,
    kAttrMax = 29,
};
enum Nl802154CapAttr {
    kCapAttrChannels = 2,
    kCapAttrMax = 15,
};

constexpr int kUwbPage = 4;
constexpr unsigned int kMaxChannel = 15;

constexpr auto kInterfacePolicies = MakePolicies<kAttrMax>({
    {kAttrWpanPhy, NLA_U32},
    {kAttrIfName, NLA_STRING},
});
constexpr auto kPhyPolicies = MakePolicies<kAttrMax>({
    {kAttrWpanPhy, NLA_U32},
    {kAttrWpanPhyCaps, NLA_NESTED},
});
constexpr auto kCapPolicies = MakePolicies<kCapAttrMax>({
    {kCapAttrChannels, NLA_NESTED},
});

// What the reply handlers' log lines begin with on purpose: log filters know them by it.
constexpr char kHandler[] = "operator()";

void ReadDevice(nl_msg* msg, std::vector<DevInfo>* devices) {
    AttrTable<kAttrMax> attrs;
    attrs.ParseMessage(msg, kInterfacePolicies);
    if (!attrs.Has(kAttrIfName) || !attrs.Has(kAttrWpanPhy)) {
        LOG(ERROR) << kHandler << ": Incorrect attr in NL802154_CMD_GET_INTERFACE dump";
        return;
    }
    devices->push_back({.name = attrs.String(kAttrIfName), .phy_index = attrs.U32(kAttrWpanPhy)});
}

void AppendUwbChannels(nlattr* pages, std::vector<int>* channels) {
    for (nlattr* page : Attrs(pages)) {
        if (nla_type(page) != kUwbPage) continue;
        for (nlattr* channel : Attrs(page)) channels->push_back(nla_type(channel));
    }
}

bool ReadPhy(nl_msg* msg, PhyInfo* info) {
    AttrTable<kAttrMax> attrs;
    if (attrs.ParseMessage(msg, kPhyPolicies) < 0) {
        LOG(ERROR) << kHandler << ": Failed to parse CMD_GET_WPAN_PHY";
        return false;
    }
    if (!attrs.Has(kAttrWpanPhy) || !attrs.Has(kAttrWpanPhyCaps)) {
        LOG(ERROR) << kHandler << ": Incorrect attr in CMD_GET_WPAN_PHY response";
        return false;
    }
    info->phy_index = attrs.U32(kAttrWpanPhy);
    AttrTable<kCapAttrMax> caps;
    if (caps.ParseNest(attrs.Get(kAttrWpanPhyCaps), kCapPolicies) < 0) {
        LOG(ERROR) << kHandler << ": Failed to parse CMD_GET_WPAN_PHY channels";
        return false;
    }
    if (!caps.Has(kCapAttrChannels)) {
        LOG(ERROR) << kHandler << ": Incorrect NL802154_CAP_ATTR_CHANNELS in CMD_GET_WPAN_PHY";
        return false;
    }
    AppendUwbChannels(caps.Get(kCapAttrChannels), &info->channels);
    return true;
}

}  // namespace

IeeeUtils::IeeeUtils(NlSocketFactory* factory) : factory_(factory), net_id_(0) {}

bool IeeeUtils::Setup() {
    const std::unique_ptr<NlSocket> socket = factory_->Create();
    if (socket == nullptr) return false;
    net_id_ = socket->Resolve(kFamilyName);
    if (net_id_ >= 0) return true;
    LOG(ERROR) << __func__ << " Generic netlink nl802154 not found.";  // No colon in this one.
    return false;
}

bool IeeeUtils::SetIeeeCommand(nl_msg* msg, const char* iface, uint8_t command, int flags) {
    genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, net_id_, 0, flags, command, 0);
    const unsigned int if_index = if_nametoindex(iface);
    if (if_index == 0) {
        PLOG(ERROR) << __func__ << ": Failed to resolve iface " << iface;
        return false;
    }
    AttrWriter put(msg);
    put.U32(kAttrIfIndex, if_index);
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating IEEE message " << iface;
        return false;
    }
    return true;
}

std::vector<DevInfo> IeeeUtils::ListDevices(bool* ok) {
    LOG(INFO) << __func__;
    std::vector<DevInfo> devices;
    UniqueNlMsg msg;
    if (msg.get() == nullptr) {
        *ok = false;
        return devices;
    }
    genlmsg_put(msg.get(), NL_AUTO_PORT, NL_AUTO_SEQ, net_id_, 0, NLM_F_DUMP, kCmdGetInterface, 0);
    *ok = factory_->SendAndAwaitResponse(
        msg.get(), [&devices](nl_msg* reply) { ReadDevice(reply, &devices); }, kCmdNewInterface);
    return devices;
}

bool IeeeUtils::GetPhyInfo(const char* iface, PhyInfo* info) {
    LOG(INFO) << __func__;
    UniqueNlMsg msg;
    if (msg.get() == nullptr || !SetIeeeCommand(msg.get(), iface, kCmdGetWpanPhy, 0)) return false;
    bool found = false;
    const bool ok = factory_->SendAndAwaitResponse(
        msg.get(),
        [&found, info](nl_msg* reply) {
            if (ReadPhy(reply, info)) found = true;
        },
        kCmdNewWpanPhy);
    return ok && found;
}

bool IeeeUtils::SetChannel(const char* iface, int channel) {
    LOG(INFO) << __func__ << ": Set channel to " << channel;
    if (static_cast<unsigned int>(channel) > kMaxChannel) return false;
    UniqueNlMsg msg;
    if (msg.get() == nullptr || !SetIeeeCommand(msg.get(), iface, kCmdSetChannel, 0)) return false;
    AttrWriter put(msg.get());
    put.U8(kAttrPage, kUwbPage);
    put.U8(kAttrChannel, static_cast<uint8_t>(channel));
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating IEEE message";
        return false;
    }
    return factory_->SendAndAwaitAck(msg.get());
}

bool IeeeUtils::SetPanId(const char* iface, uint16_t pan_id) {
    LOG(INFO) << __func__ << ": Set pan id to " << pan_id;
    UniqueNlMsg msg;
    if (msg.get() == nullptr || !SetIeeeCommand(msg.get(), iface, kCmdSetPanId, 0)) return false;
    AttrWriter put(msg.get());
    put.U16(kAttrPanId, pan_id);
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating IEEE message";
        return false;
    }
    return factory_->SendAndAwaitAck(msg.get());
}

bool IeeeUtils::SetShortMacAddress(const char* iface, const std::vector<uint8_t>& address) {
    if (address.size() != sizeof(uint16_t)) {
        LOG(ERROR) << __func__ << ": Incorrect short address, size is " << address.size();
        return false;
    }
    UniqueNlMsg msg;
    if (msg.get() == nullptr || !SetIeeeCommand(msg.get(), iface, kCmdSetShortAddr, 0)) {
        return false;
    }
    bool valid = false;
    const uint16_t short_address = ToShortAddress(address, &valid);
    if (!valid) {
        LOG(ERROR) << __func__ << ": Failed to create short address";
        return false;
    }
    AttrWriter put(msg.get());
    put.U16(kAttrShortAddr, short_address);
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating IEEE message";
        return false;
    }
    return factory_->SendAndAwaitAck(msg.get());
}

}  // namespace hardware::velta
