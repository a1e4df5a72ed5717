// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.Floor"

#include "bench/floors/plain_radio.h"

#include <android-base/logging.h>
#include <net/if.h>
#include <netlink/attr.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "net/mcps802154.h"

namespace hardware::velta::bench {
namespace {

// nl802154, whose header distributions do not install.
constexpr uint8_t kGetWpanPhy = 1;
constexpr uint8_t kSetChannel = 9;
constexpr int kAttrIfIndex = 3;
constexpr int kAttrPage = 7;
constexpr int kAttrChannel = 8;
constexpr int kUwbPage = 4;

constexpr size_t kMessageSize = size_t{32} * 1024;

// As the kernel puts lists: without the flag that libnl sets on every nest.
nlattr* Open(nl_msg* msg, int type) {
    nlattr* nest = nla_nest_start(msg, type);
    if (nest != nullptr) nest->nla_type = static_cast<uint16_t>(type);
    return nest;
}

uint16_t Short(const ::aidl::hardware::velta::uwb::UwbAddress& address) {
    return static_cast<uint16_t>(address.address[0] << 8 | address.address[1]);
}

// Connected, as the service's sockets are; null when the kernel refuses.
nl_sock* NewSocket() {
    nl_sock* socket = nl_socket_alloc();
    if (genl_connect(socket) != 0) {
        nl_socket_free(socket);
        return nullptr;
    }
    nl_socket_set_msg_buf_size(socket, kMessageSize);
    nl_socket_disable_msg_peek(socket);
    return socket;
}

bool ReadFlags(int fd, const std::string& iface, ifreq* request) {
    *request = {};
    strncpy(request->ifr_name, iface.c_str(), IFNAMSIZ - 1);
    return ioctl(fd, SIOCGIFFLAGS, request) == 0;
}

bool PutControlees(nl_msg* msg, const PlainRadio::FiraTwrSession& session) {
    nlattr* list = Open(msg, FIRA_CALL_ATTR_CONTROLEES);
    int position = 1;
    for (const auto& address : session.destAddressList) {
        nlattr* controlee = Open(msg, position++);
        if (nla_put_u16(msg, FIRA_CONTROLEE_ATTR_SHORT_ADDR, Short(address)) != 0) return false;
        nla_nest_end(msg, controlee);
    }
    nla_nest_end(msg, list);
    return true;
}

}  // namespace

PlainRadio::PlainRadio(uint32_t radio, Manner manner)
    : radio_(radio),
      manner_(manner),
      iface_("wpan" + std::to_string(radio)),
      requests_(NewSocket()) {
    if (requests_ == nullptr) abort();
    mcps_ = genl_ctrl_resolve(requests_, MCPS802154_GENL_NAME);
    ieee_ = genl_ctrl_resolve(requests_, "nl802154");
    if (mcps_ < 0 || ieee_ < 0) abort();
}

PlainRadio::~PlainRadio() {
    if (reports_ != nullptr) nl_socket_free(reports_);
    nl_socket_free(requests_);
}

bool PlainRadio::Call(nl_sock* socket, nl_msg* msg) {
    const bool ok = nl_send_auto(socket, msg) >= 0 && nl_wait_for_ack(socket) == 0;
    nlmsg_free(msg);
    return ok;
}

bool PlainRadio::Request(nl_msg* msg) {
    if (manner_ == Manner::kBare) return Call(requests_, msg);
    nl_sock* socket = NewSocket();
    if (socket == nullptr) return false;
    constexpr timeval kPatience = {.tv_sec = 1, .tv_usec = 0};
    setsockopt(nl_socket_get_fd(socket), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof(kPatience));
    const bool ok = Call(socket, msg);
    Say({"SendAndAwaitAck: Received ACK"});
    nl_socket_free(socket);
    return ok;
}

void PlainRadio::Say(std::initializer_list<const char*> lines) const {
    if (manner_ == Manner::kBare) return;
    for (const char* line : lines) LOG(INFO) << line;
}

nl_msg* PlainRadio::NewIeee(uint8_t command) const {
    nl_msg* msg = nlmsg_alloc();
    genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, ieee_, 0, 0, command, 0);
    nla_put_u32(msg, kAttrIfIndex, if_nametoindex(iface_.c_str()));
    return msg;
}

nl_msg* PlainRadio::NewCall(uint8_t call, int32_t id,
                            const std::function<bool(nl_msg*)>& put) const {
    nl_msg* msg = nlmsg_alloc();
    genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, mcps_, 0, 0, MCPS802154_CMD_REGION_CALL, 0);
    nla_put_u32(msg, MCPS802154_ATTR_HW, radio_);
    nla_put_string(msg, MCPS802154_ATTR_SCHEDULER_NAME, MCPS802154_SCHEDULER_ENDLESS);
    nlattr* region = Open(msg, MCPS802154_ATTR_SCHEDULER_REGION_CALL);
    nla_put_u32(msg, MCPS802154_REGION_CALL_ATTR_ID, 0);
    nla_put_string(msg, MCPS802154_REGION_CALL_ATTR_NAME, MCPS802154_REGION_FIRA);
    nla_put_u32(msg, MCPS802154_REGION_CALL_ATTR_CALL, call);
    nlattr* params = Open(msg, MCPS802154_REGION_CALL_ATTR_PARAMS);
    nla_put_u32(msg, FIRA_CALL_ATTR_SESSION_ID, static_cast<uint32_t>(id));
    if (put && !put(msg)) abort();
    nla_nest_end(msg, params);
    nla_nest_end(msg, region);
    return msg;
}

nl_msg* PlainRadio::NewStrideRequest(int32_t id) const {
    return NewCall(FIRA_CALL_SESSION_SET_PARAMS, id, [](nl_msg* msg) {
        nlattr* nest = Open(msg, FIRA_CALL_ATTR_SESSION_PARAMS);
        nla_put_u32(msg, FIRA_SESSION_PARAM_BLOCK_STRIDE_LENGTH, 0);
        nla_nest_end(msg, nest);
        return true;
    });
}

bool PlainRadio::SendState(uint8_t call, int32_t id) {
    return Request(NewCall(call, id, {}));
}

bool PlainRadio::SetRegion() {
    nl_msg* msg = nlmsg_alloc();
    genlmsg_put(msg, NL_AUTO_PORT, NL_AUTO_SEQ, mcps_, 0, 0, MCPS802154_CMD_SCHEDULER_SET, 0);
    nla_put_u32(msg, MCPS802154_ATTR_HW, radio_);
    nla_put_string(msg, MCPS802154_ATTR_SCHEDULER_NAME, MCPS802154_SCHEDULER_ENDLESS);
    nlattr* list = Open(msg, MCPS802154_ATTR_SCHEDULER_REGIONS);
    nlattr* region = Open(msg, 1);
    nla_put_u32(msg, MCPS802154_REGION_ATTR_ID, 0);
    nla_put_string(msg, MCPS802154_REGION_ATTR_NAME, MCPS802154_REGION_FIRA);
    nla_nest_end(msg, region);
    nla_nest_end(msg, list);
    return Request(msg);
}

bool PlainRadio::GetPhy() {
    nl_msg* msg = NewIeee(kGetWpanPhy);
    const bool is_bare = manner_ == Manner::kBare;
    nl_sock* socket = is_bare ? requests_ : NewSocket();
    // What comes behind the answer goes with a socket that is not kept.
    const bool ok = socket != nullptr && nl_send_auto(socket, msg) >= 0 &&
                    nl_recvmsgs_default(socket) == 0 && (!is_bare || nl_wait_for_ack(socket) == 0);
    if (!is_bare) nl_socket_free(socket);
    nlmsg_free(msg);
    return ok;
}

bool PlainRadio::SetChannel(int channel) {
    nl_msg* msg = NewIeee(kSetChannel);
    nla_put_u8(msg, kAttrPage, kUwbPage);
    nla_put_u8(msg, kAttrChannel, static_cast<uint8_t>(channel));
    return Request(msg);
}

bool PlainRadio::SetUp(bool up) {
    ifreq request;
    if (manner_ == Manner::kAlike) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const bool ok = ReadFlags(fd, iface_, &request);
        close(fd);
        if (ok && ((request.ifr_flags & IFF_UP) != 0) == up) return true;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool ok = ReadFlags(fd, iface_, &request);
    if (ok && ((request.ifr_flags & IFF_UP) != 0) != up) {
        request.ifr_flags = static_cast<short>(request.ifr_flags ^ IFF_UP);
        ok = ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    }
    close(fd);
    return ok;
}

bool PlainRadio::CheckDown() {
    Say({"OnSessionChanged"});
    return manner_ == Manner::kBare || SetUp(false);
}

bool PlainRadio::Init(const FiraTwrSession& session) {
    Say({"GetPhyInfo", "SendAndAwaitResponse", "SendAndAwaitResponse: Read message"});
    if (!GetPhy()) return false;
    Say({"SetChannel: Set channel to 9"});
    if (!SetChannel(session.channelNumber)) return false;
    Say({"OnPreSessionOpen fira", "SetRegion"});
    if (!SetUp(false) || !SetRegion()) return false;
    Say({"InitSession"});
    if (!SendState(FIRA_CALL_SESSION_INIT, session.id)) return false;
    Say({"ConfigTwrSession", "PutMainSessionParams", "PutTimingsParams", "PutBehaviorParams",
         "PutRadioParams", "PutAntennaParams", "PutCryptoParams", "PutReportParams"});
    if (!Request(NewCall(FIRA_CALL_SESSION_SET_PARAMS, session.id, [&](nl_msg* msg) {
            nlattr* nest = Open(msg, FIRA_CALL_ATTR_SESSION_PARAMS);
            const bool ok = PutPlainSessionParams(msg, session);
            nla_nest_end(msg, nest);
            return ok;
        }))) {
        return false;
    }
    Say({"AddControlees"});
    return Request(NewCall(FIRA_CALL_NEW_CONTROLEE, session.id,
                           [&](nl_msg* msg) { return PutControlees(msg, session); })) &&
           CheckDown();
}

bool PlainRadio::Start(int32_t id, int receive_buffer) {
    Say({"OnPreSessionStart", "SubscribeCallback", "StartSession"});
    if (!SetUp(true) || (reports_ = NewSocket()) == nullptr) return false;
    if (receive_buffer > 0) {
        // The kernel tells twice what it was given.
        const int size = receive_buffer / 2;
        setsockopt(nl_socket_get_fd(reports_), SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof(size));
    }
    const bool ok = Call(reports_, NewCall(FIRA_CALL_SESSION_START, id, {}));
    Say({"SendAndAwaitAck: Received ACK", "OnSessionChanged"});
    return ok;
}

bool PlainRadio::Stop(int32_t id) {
    Say({"StopSession"});
    return SendState(FIRA_CALL_SESSION_STOP, id);
}

bool PlainRadio::Stopped() {
    Say({"UnsubscribeCallback", "CloseRangingSocket", "StopWatchNetlinkSocket"});
    if (reports_ != nullptr) nl_socket_free(reports_);
    reports_ = nullptr;
    Say({"OnSessionChanged"});
    return SetUp(false);
}

bool PlainRadio::Deinit(int32_t id) {
    Say({"DeinitSession"});
    return SendState(FIRA_CALL_SESSION_DEINIT, id) && CheckDown();
}

int PlainRadio::report_fd() const {
    return reports_ == nullptr ? -1 : nl_socket_get_fd(reports_);
}

}  // namespace hardware::velta::bench
