// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb"

#include "net/nl_message_reader.h"

#include <android-base/logging.h>
#include <netlink/msg.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace hardware::velta {
namespace {

// A process with CAP_NET_ADMIN can write to any netlink socket; what it says is no answer of the
// kernel's and no report of a radio's.
bool IsKernel(const sockaddr_nl& sender) {
    if (sender.nl_pid == 0) return true;
    LOG(WARNING) << "Dropped a netlink message that is not the kernel's but port " << sender.nl_pid
                 << "'s";
    return false;
}

int SkipOthers(nl_msg* msg, void* /*arg*/) {
    return IsKernel(*nlmsg_get_src(msg)) ? NL_OK : NL_SKIP;
}

// Sees each message first.
int OnMessageIn(nl_msg* msg, void* arg) {
    const int verdict = SkipOthers(msg, nullptr);
    return static_cast<NlMessageReader*>(arg)->IsLate() ? NL_STOP : verdict;
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

void NlMessageReader::HearKernelOnly(nl_sock* socket) {
    nl_socket_modify_cb(socket, NL_CB_MSG_IN, NL_CB_CUSTOM, SkipOthers, nullptr);
}

int NlMessageReader::read_message(nl_sock* socket) {
    was_refused_ = false;
    return nl_recvmsgs(socket, cb_);
}

int NlMessageReader::ReadNotification(nl_sock* socket, const std::function<int(nl_msg*)>& handler) {
    was_refused_ = false;
    if (buffer_ == nullptr) buffer_.reset(nlmsg_alloc_size(kMaxMessageSize));
    if (buffer_ == nullptr) return -NLE_NOMEM;
    sockaddr_nl sender = {};
    iovec place = {.iov_base = nlmsg_hdr(buffer_.get()), .iov_len = kMaxMessageSize};
    msghdr datagram = {};
    datagram.msg_name = &sender;
    datagram.msg_namelen = sizeof(sender);
    datagram.msg_iov = &place;
    datagram.msg_iovlen = 1;
    const ssize_t size =
        TEMP_FAILURE_RETRY(recvmsg(nl_socket_get_fd(socket), &datagram, MSG_DONTWAIT));
    if (size < 0) return -nl_syserr2nlerr(errno);
    if ((datagram.msg_flags & MSG_TRUNC) != 0) return -NLE_MSG_TRUNC;
    return IsKernel(sender) ? Dispatch(static_cast<size_t>(size), handler) : 0;
}

int NlMessageReader::Dispatch(size_t size, const std::function<int(nl_msg*)>& handler) {
    auto left = static_cast<int>(size);
    for (nlmsghdr* header = nlmsg_hdr(buffer_.get()); nlmsg_ok(header, left) != 0;
         header = nlmsg_next(header, &left)) {
        switch (header->nlmsg_type) {
            case NLMSG_NOOP:
            case NLMSG_DONE:
                continue;
            case NLMSG_OVERRUN:
                return -NLE_MSG_OVERFLOW;
            case NLMSG_ERROR: {
                if (nlmsg_datalen(header) < static_cast<int>(sizeof(nlmsgerr))) {
                    return -NLE_MSG_TRUNC;
                }
                const auto* reply = static_cast<const nlmsgerr*>(nlmsg_data(header));
                if (reply->error == 0) continue;
                was_refused_ = true;
                return -nl_syserr2nlerr(reply->error);
            }
            default:
                break;
        }
        if (header == nlmsg_hdr(buffer_.get())) {
            if (handler(buffer_.get()) == NL_STOP) return 0;
        } else if (const Message copy(nlmsg_convert(header));
                   copy == nullptr || handler(copy.get()) == NL_STOP) {
            return 0;
        }
    }
    return 0;
}

bool NlMessageReader::IsLate() const {
    return deadline_ != kNever && CoarseClock::now() >= deadline_;
}

uint16_t ToShortAddress(const std::vector<uint8_t>& bytes, bool* ok) {
    *ok = bytes.size() == 2;
    return *ok ? static_cast<uint16_t>((bytes[0] << 8) | bytes[1]) : 0;
}

}  // namespace hardware::velta
