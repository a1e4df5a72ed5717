// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb"

#include "net/nl_message_reader.h"

#include <android-base/logging.h>
#include <netlink/msg.h>

namespace hardware::velta {
namespace {

// Sees each message first. A process with CAP_NET_ADMIN can write to any netlink socket; what it
// says is no answer of the kernel's and no report of a radio's.
int OnMessageIn(nl_msg* msg, void* arg) {
    const uint32_t sender = nlmsg_get_src(msg)->nl_pid;
    if (sender != 0) {
        LOG(WARNING) << "Dropped a netlink message that is not the kernel's but port " << sender
                     << "'s";
    }
    if (static_cast<NlMessageReader*>(arg)->IsLate()) return NL_STOP;
    return sender == 0 ? NL_OK : NL_SKIP;
}

int OnNlMessage(nl_msg* msg, void* arg) {
    auto* reader = static_cast<NlMessageReader*>(arg);
    return reader->on_valid_ ? reader->on_valid_(msg) : NL_SKIP;
}

int OnAck(nl_msg* msg, void* arg) {
    auto* reader = static_cast<NlMessageReader*>(arg);
    return reader->on_ack_ ? reader->on_ack_(msg) : NL_SKIP;
}

int OnFinish(nl_msg* /*msg*/, void* /*arg*/) {
    return NL_OK;
}

int OnError(sockaddr_nl* /*address*/, nlmsgerr* error, void* arg) {
    auto* reader = static_cast<NlMessageReader*>(arg);
    reader->was_refused_ = true;
    return reader->on_error_ ? reader->on_error_(error) : NL_STOP;
}

}  // namespace

NlMessageReader::NlMessageReader() : cb_(nl_cb_alloc(NL_CB_DEFAULT)) {
    CHECK(cb_) << "Failed to allocate netlink callback";
    nl_cb_set(cb_, NL_CB_MSG_IN, NL_CB_CUSTOM, OnMessageIn, this);
    nl_cb_set(cb_, NL_CB_VALID, NL_CB_CUSTOM, OnNlMessage, this);
    nl_cb_set(cb_, NL_CB_ACK, NL_CB_CUSTOM, OnAck, this);
    nl_cb_set(cb_, NL_CB_FINISH, NL_CB_CUSTOM, OnFinish, nullptr);
    nl_cb_err(cb_, NL_CB_CUSTOM, OnError, this);
}

NlMessageReader::~NlMessageReader() {
    nl_cb_put(cb_);
}

int NlMessageReader::read_message(nl_sock* socket) {
    was_refused_ = false;
    return nl_recvmsgs(socket, cb_);
}

bool NlMessageReader::IsLate() const {
    return deadline_ != kNever && std::chrono::steady_clock::now() >= deadline_;
}

uint16_t ToShortAddress(const std::vector<uint8_t>& bytes, bool* ok) {
    *ok = bytes.size() == 2;
    return *ok ? static_cast<uint16_t>((bytes[0] << 8) | bytes[1]) : 0;
}

}  // namespace hardware::velta
