// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.NlSocket"

#include "net/nl_socket.h"

#include <android-base/logging.h>
#include <linux/genetlink.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "net/nl_attr.h"

namespace hardware::velta {
namespace {

constexpr int kBufferSize = 8192;
constexpr timeval kReceiveTimeout = {.tv_sec = 1, .tv_usec = 0};

// From sending a request to giving up although other messages keep coming: on a ranging socket
// reports do, and an acknowledgement that did not fit beside them never will.
constexpr std::chrono::seconds kExchangeTimeout(5);

// Of sockets that are read by event: what a second of silence of ours may pile up.
constexpr int kNotificationBufferSize = 1024 * 1024;

// Waits for input as long as a blocking read would; false when none came. A signal, such as that of
// the guard against stalls, ends poll() early but is no answer.
bool AwaitInput(int fd) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(kReceiveTimeout.tv_sec);
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd ready = {.fd = fd, .events = POLLIN, .revents = 0};
        const int count = poll(&ready, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (count >= 0 || errno != EINTR) return count != 0;
    }
}

}  // namespace

NlSocket::NlSocket(EventLoop* event_loop, NotificationMode mode, RequestCounters* counters)
    : event_loop_(event_loop),
      socket_(nullptr),
      watching_(false),
      reader_(std::make_unique<NlMessageReader>()),
      mode_(mode),
      counters_(counters != nullptr ? counters : &own_counters_) {}

NlSocket::~NlSocket() {
    // The class's own operation, not an override: a derived part is gone by now.
    if (watching_) NlSocket::StopWatchNetlinkSocket();
    reader_.reset();
    if (socket_ != nullptr) nl_socket_free(socket_);
}

bool NlSocket::Setup() {
    if (watching_) StopWatchNetlinkSocket();
    if (socket_ != nullptr) nl_socket_free(socket_);
    is_nonblocking_ = false;
    socket_ = nl_socket_alloc();
    if (socket_ == nullptr) {
        LOG(ERROR) << __func__ << ": Failed to create netlink socket";
        return false;
    }
    NlMessageReader::HearKernelOnly(socket_);
    // libnl takes sizes only once there is a descriptor, so this is refused and its own 32 KiB
    // stand. Nothing relies on the size.
    nl_socket_set_buffer_size(socket_, kBufferSize, kBufferSize);
    if (genl_connect(socket_) != 0) {
        LOG(ERROR) << __func__ << ": Failed to connect to generic netlink";
        nl_socket_free(std::exchange(socket_, nullptr));
        return false;
    }
    setsockopt(GetFd(), SOL_SOCKET, SO_RCVTIMEO, &kReceiveTimeout, sizeof(kReceiveTimeout));
    if (mode_ == NotificationMode::kEvent) {
        // libnl would receive each message twice, the first time to see how long it is.
        nl_socket_set_msg_buf_size(socket_, kMaxMessageSize);
        nl_socket_disable_msg_peek(socket_);
    }
    return true;
}

bool NlSocket::IsValid() {
    return socket_ != nullptr;
}

void NlSocket::DisableAutoAck() {
    nl_socket_disable_auto_ack(socket_);
}

void NlSocket::DisableSeqCheck() {
    nl_socket_disable_seq_check(socket_);
}

int NlSocket::Resolve(const char* family) {
    return genl_ctrl_resolve(socket_, family);
}

bool NlSocket::ReceiveMessage(std::function<int(nl_msg*)> handler) {
    reader_->on_valid_ = std::move(handler);
    const int result = Read();
    reader_->on_valid_ = nullptr;
    if (result < 0) {
        LOG(WARNING) << __func__ << ": Error reading message: " << nl_geterror(result);
        CheckLost(result);
    }
    return result >= 0;
}

bool NlSocket::SendAndAwaitAck(nl_msg* msg, std::function<int(nl_msg*)> on_valid) {
    static constexpr const char* kFunction = __func__;
    nl_complete_msg(socket_, msg);
    nlmsg_hdr(msg)->nlmsg_flags |= NLM_F_ACK;
    int result = nl_send(socket_, msg);
    if (result < 0) {
        LOG(WARNING) << kFunction << ": Error sending netlink message: " << nl_geterror(result);
        counters_->not_sent++;
        return false;
    }

    bool acked = false;
    int error = 0;
    reader_->deadline_ = CoarseClock::now() + kExchangeTimeout;
    reader_->on_ack_ = [&acked](nl_msg*) {
        LOG(INFO) << kFunction << ": Received ACK";
        acked = true;
        return NL_SKIP;
    };
    reader_->on_error_ = [&error](nlmsgerr* reply) {
        LOG(WARNING) << kFunction << ": Nl error: " << reply->error;
        error = reply->error;
        return NL_STOP;
    };
    reader_->on_valid_ = std::move(on_valid);

    while (!acked && error == 0) {
        result = ReadReply();
        if (result < 0) break;
    }
    // libnl reports an error reply as a failed read as well, so a refusal has both lines.
    if (result < 0) {
        LOG(WARNING) << kFunction << ": Error reading message: " << nl_geterror(result);
    }
    reader_->deadline_ = NlMessageReader::kNever;
    reader_->on_ack_ = nullptr;
    reader_->on_error_ = nullptr;
    reader_->on_valid_ = nullptr;
    CheckLost(result);
    return CountOutcome(result >= 0 && acked && error == 0, error);
}

bool NlSocket::SendAndAwaitResponse(nl_msg* msg, std::function<void(nl_msg*)> on_response,
                                    int expected_cmd) {
    static constexpr const char* kFunction = __func__;
    LOG(INFO) << kFunction;
    bool finished = false;
    int error = 0;
    reader_->on_valid_ = [&finished, &on_response, expected_cmd](nl_msg* reply) {
        const std::optional<int> command = GenlCommand(reply);
        if (!command) return NL_SKIP;
        if (on_response && command == expected_cmd) {
            finished = true;
            on_response(reply);
        } else {
            LOG(INFO) << kFunction << ": Incorrect received command, got " << *command
                      << " instead of " << expected_cmd;
        }
        return NL_SKIP;
    };
    reader_->on_error_ = [&error](nlmsgerr* reply) {
        LOG(WARNING) << kFunction << ": Nl error: " << reply->error;
        error = reply->error;
        return NL_STOP;
    };

    int result = nl_send_auto(socket_, msg);
    reader_->deadline_ = CoarseClock::now() + kExchangeTimeout;
    const bool was_sent = result >= 0;
    if (!was_sent) {
        LOG(WARNING) << kFunction << ": Error sending netlink message: " << nl_geterror(result);
        counters_->not_sent++;
    }
    while (result >= 0 && !finished && error == 0) {
        LOG(INFO) << kFunction << ": Read message";
        result = ReadReply();
        if (result < 0) {
            LOG(WARNING) << kFunction << ": Error reading message: " << nl_geterror(result);
        }
    }
    reader_->deadline_ = NlMessageReader::kNever;
    reader_->on_error_ = nullptr;
    reader_->on_valid_ = nullptr;
    CheckLost(result);
    const bool is_done = result >= 0 && finished && error == 0;
    return was_sent && CountOutcome(is_done, error);
}

bool NlSocket::CountOutcome(bool is_done, int error) {
    counters_->sent++;
    if (error != 0) {
        counters_->refused++;
    } else if (!is_done) {
        counters_->unanswered++;
    }
    return is_done;
}

bool NlSocket::WatchNetlinkSocket(std::weak_ptr<NlSocket> self,
                                  const std::function<int(nl_msg*)>& handler) {
    const std::shared_ptr<NlSocket> alive = self.lock();
    if (alive == nullptr) return false;
    const int fd = GetFd();
    if (watching_ || fd == -1) return false;
    self_ = self;
    auto on_ready = [self, handler](int /*fd*/) {
        // Held until the read is over: a notification may make its user drop the socket.
        const std::shared_ptr<NlSocket> socket = self.lock();
        if (socket == nullptr) {
            LOG(WARNING) << "WatchNetlinkSocket: socket is close";
        } else if (socket->mode_ == NotificationMode::kEvent) {
            socket->ReceiveWaiting(handler);
        } else {
            socket->ReceiveMessage(handler);
        }
    };
    if (mode_ == NotificationMode::kEvent) PrepareForEvents();
    // Polled in output mode on purpose: the socket is always writable, so every pass of the loop
    // reads it once, each read bounded by the receive time-out.
    const EventLoop::ReadyMode ready =
        mode_ == NotificationMode::kEvent ? EventLoop::kModeInput : EventLoop::kModeOutput;
    watching_ = event_loop_->WatchFileDescriptor(fd, ready, on_ready);
    return watching_;
}

void NlSocket::PrepareForEvents() {
    is_nonblocking_ = nl_socket_set_nonblocking(socket_) == 0;
    // Beyond the system's limit, which is meant for those without CAP_NET_ADMIN.
    if (setsockopt(GetFd(), SOL_SOCKET, SO_RCVBUFFORCE, &kNotificationBufferSize,
                   sizeof(kNotificationBufferSize)) != 0) {
        setsockopt(GetFd(), SOL_SOCKET, SO_RCVBUF, &kNotificationBufferSize,
                   sizeof(kNotificationBufferSize));
    }
}

void NlSocket::ReceiveWaiting(const std::function<int(nl_msg*)>& handler) {
    if (!watching_) return;
    // One: the loop comes again while there are more, and binder gets its turn in between. To try
    // for a second one here costs a system call, which most times finds none.
    const int result = reader_->ReadNotification(socket_, handler);
    if (result == -NLE_AGAIN) return;
    event_loop_->NoteProgress();
    if (result < 0) {
        LOG(WARNING) << "ReceiveMessage: Error reading message: " << nl_geterror(result);
        CheckLost(result);
    }
}

void NlSocket::SetLostHandler(std::function<void()> on_lost) {
    on_lost_ = std::move(on_lost);
}

void NlSocket::CheckLost(int result) {
    // Nothing there, a stray answer, a refusal and the flag of a list that changed are no losses.
    if (result >= 0 || !watching_ || !on_lost_ || reader_->was_refused_ || result == -NLE_AGAIN ||
        result == -NLE_INTR || result == -NLE_SEQ_MISMATCH || result == -NLE_DUMP_INTR) {
        return;
    }
    // Later: whoever reads here may be in the middle of starting a session.
    event_loop_->PostTask([self = self_, on_lost = std::exchange(on_lost_, nullptr)] {
        if (!self.expired()) on_lost();
    });
}

bool NlSocket::StopWatchNetlinkSocket() {
    const int fd = GetFd();
    if (fd == -1) return false;
    LOG(INFO) << __func__;
    watching_ = false;
    return event_loop_->StopWatchFileDescriptor(fd);
}

int NlSocket::ReadReply() {
    return reader_->IsLate() ? -NLE_AGAIN : Read();
}

int NlSocket::Read() {
    if (is_nonblocking_ && !AwaitInput(GetFd())) return -NLE_AGAIN;
    const int result = reader_->read_message(socket_);
    // A driver that is slow to answer, many times over, is no thread that hangs.
    if (event_loop_ != nullptr) event_loop_->NoteProgress();
    return result;
}

int NlSocket::GetFd() const {
    return socket_ == nullptr ? -1 : nl_socket_get_fd(socket_);  // libnl does not take null here.
}

}  // namespace hardware::velta
