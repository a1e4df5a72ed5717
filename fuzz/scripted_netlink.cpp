// SPDX-License-Identifier: Apache-2.0
#include "fuzz/scripted_netlink.h"

#include <android-base/logging.h>
#include <linux/genetlink.h>
#include <net/if.h>
#include <netlink/errno.h>
#include <netlink/netlink.h>
#include <netlink/socket.h>
#include <poll.h>
#include <sanitizer/asan_interface.h>
#include <sched.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

namespace hardware::velta {

Datagram Ack(int error) {
    struct {
        nlmsghdr header;
        nlmsgerr reply;
    } message = {};
    message.header = {.nlmsg_len = sizeof(message), .nlmsg_type = NLMSG_ERROR};
    message.reply.error = error;
    const auto* raw = reinterpret_cast<const uint8_t*>(&message);
    return {.bytes = Bytes(raw, raw + sizeof(message))};
}

Datagram Answer(const Lines& texts, bool is_dump) {
    Datagram answer;
    is_dump |= texts.size() > 1;
    for (const std::string& text : texts) {
        Bytes message = Wire(text);
        if (is_dump) message[6] |= NLM_F_MULTI;
        answer.bytes.insert(answer.bytes.end(), message.begin(), message.end());
    }
    if (is_dump) {
        const nlmsghdr done = {
            .nlmsg_len = NLMSG_HDRLEN, .nlmsg_type = NLMSG_DONE, .nlmsg_flags = NLM_F_MULTI};
        const auto* raw = reinterpret_cast<const uint8_t*>(&done);
        answer.bytes.insert(answer.bytes.end(), raw, raw + sizeof(done));
    }
    return answer;
}

ScriptedNetlink& ScriptedNetlink::Get() {
    static auto* const netlink = new ScriptedNetlink;
    return *netlink;
}

void ScriptedNetlink::Reset() {
    for (auto& [socket, state] : sockets_) state.waiting.clear();
    on_request = [this](nl_sock* socket, const Bytes&) { Queue(socket, Ack()); };
}

void ScriptedNetlink::Queue(nl_sock* socket, Datagram datagram) {
    sockets_[socket].waiting.push_back(std::move(datagram));
}

void ScriptedNetlink::QueueForAll(const Datagram& datagram) {
    for (auto& [socket, state] : sockets_) state.waiting.push_back(datagram);
}

void ScriptedNetlink::Add(nl_sock* socket) {
    constexpr int kBeyondDescriptors = 1 << 20;
    sockets_[socket] = {.number = kBeyondDescriptors + next_number_++};
}

void ScriptedNetlink::Remove(nl_sock* socket) {
    sockets_.erase(socket);
}

int ScriptedNetlink::NumberOf(const nl_sock* socket) const {
    const auto found = sockets_.find(const_cast<nl_sock*>(socket));
    return found == sockets_.end() ? -1 : found->second.number;
}

int ScriptedNetlink::Send(nl_sock* socket, nl_msg* msg) {
    const nlmsghdr* header = nlmsg_hdr(msg);
    Socket& state = sockets_[socket];
    state.sequence = header->nlmsg_seq;
    state.port = header->nlmsg_pid;
    const auto* raw = reinterpret_cast<const uint8_t*>(header);
    if (on_request) on_request(socket, Bytes(raw, raw + header->nlmsg_len));
    return static_cast<int>(header->nlmsg_len);
}

int ScriptedNetlink::Receive(nl_sock* socket, sockaddr_nl* address, unsigned char** buffer) {
    Socket& state = sockets_[socket];
    if (state.waiting.empty()) return -NLE_AGAIN;
    const Datagram datagram = std::move(state.waiting.front());
    state.waiting.erase(state.waiting.begin());
    if (datagram.error != 0) return -datagram.error;
    if (datagram.bytes.empty()) return -NLE_AGAIN;
    *address = {.nl_family = AF_NETLINK, .nl_pid = datagram.sender};
    // libnl frees it. No byte larger than what has come, so that a sanitizer sees what reads on.
    *buffer = static_cast<unsigned char*>(malloc(datagram.bytes.size()));
    memcpy(*buffer, datagram.bytes.data(), datagram.bytes.size());
    size_t at = 0;
    while (datagram.is_answer && at + NLMSG_HDRLEN <= datagram.bytes.size()) {
        nlmsghdr header;
        memcpy(&header, *buffer + at, sizeof(header));
        if (header.nlmsg_len < NLMSG_HDRLEN || header.nlmsg_len > datagram.bytes.size()) break;
        header.nlmsg_seq = state.sequence;
        header.nlmsg_pid = state.port;
        memcpy(*buffer + at, &header, sizeof(header));
        at += NLMSG_ALIGN(header.nlmsg_len);
    }
    return static_cast<int>(datagram.bytes.size());
}

ssize_t ScriptedNetlink::Receive(int number, msghdr* datagram) {
    const auto found = std::find_if(sockets_.begin(), sockets_.end(), [number](const auto& entry) {
        return entry.second.number == number;
    });
    if (found == sockets_.end()) abort();
    unsigned char* bytes = nullptr;
    const int size = Receive(found->first, static_cast<sockaddr_nl*>(datagram->msg_name), &bytes);
    if (size < 0) {
        // Those that libnl makes of the errors of a socket; any other is one that it does not know.
        errno = size == -NLE_AGAIN ? EAGAIN : size == -NLE_NOMEM ? ENOBUFS : EIO;
        return -1;
    }
    const iovec& place = *datagram->msg_iov;
    const size_t taken = std::min(static_cast<size_t>(size), place.iov_len);
    if (taken < static_cast<size_t>(size)) datagram->msg_flags |= MSG_TRUNC;
    // Behind what has come is nothing, as a sanitizer sees.
    ASAN_UNPOISON_MEMORY_REGION(place.iov_base, place.iov_len);
    memcpy(place.iov_base, bytes, taken);
    ASAN_POISON_MEMORY_REGION(static_cast<char*>(place.iov_base) + taken, place.iov_len - taken);
    free(bytes);
    return static_cast<ssize_t>(taken);
}

bool ManualLoop::WatchFileDescriptor(int fd, ReadyMode /*mode*/,
                                     const std::function<void(int)>& on_ready) {
    watches_[fd] = on_ready;
    return true;
}

void ManualLoop::Pass() {
    const auto watches = watches_;
    for (const auto& [fd, on_ready] : watches) {
        if (watches_.contains(fd)) on_ready(fd);
    }
    for (const auto& task : std::exchange(tasks_, {})) task();
}

void ManualLoop::Clear() {
    watches_.clear();
    tasks_.clear();
}

void SilenceLog() {
    if (getenv("FUZZ_LOG") == nullptr) android::base::SetLogger([](auto...) {});
}

void ChooseLog(const uint8_t* data, size_t size) {
    static const char* const one_in = getenv("FUZZ_LOG_ONE_IN");
    static const size_t inputs = one_in == nullptr ? 1 : strtoul(one_in, nullptr, 10);
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const bool is_made = inputs < 2 || std::hash<std::string_view>()(bytes) % inputs == 0;
    android::base::SetMinimumLogSeverity(is_made ? android::base::INFO : android::base::FATAL);
}

}  // namespace hardware::velta

// The linker turns every call of NAME from here and from the service into one of __wrap_NAME.
extern "C" {

using hardware::velta::ScriptedNetlink;

nl_cb* __real_nl_cb_alloc(nl_cb_kind kind);
void __real_nl_socket_free(nl_sock* socket);

nl_cb* __wrap_nl_cb_alloc(nl_cb_kind kind) {
    nl_cb* cb = __real_nl_cb_alloc(kind);
    nl_cb_overwrite_send(
        cb, [](nl_sock* socket, nl_msg* msg) { return ScriptedNetlink::Get().Send(socket, msg); });
    nl_cb_overwrite_recv(cb, [](nl_sock* socket, sockaddr_nl* address, unsigned char** buffer,
                                ucred** /*credentials*/) {
        return ScriptedNetlink::Get().Receive(socket, address, buffer);
    });
    return cb;
}

nl_sock* __wrap_nl_socket_alloc() {
    nl_cb* cb = __wrap_nl_cb_alloc(NL_CB_DEFAULT);
    nl_sock* socket = nl_socket_alloc_cb(cb);
    nl_cb_put(cb);
    ScriptedNetlink::Get().Add(socket);
    return socket;
}

int __wrap_genl_connect(nl_sock* /*socket*/) {
    return 0;
}

// A number that is no descriptor: what is done with it fails, or goes to a ManualLoop.
int __wrap_nl_socket_get_fd(const nl_sock* socket) {
    return ScriptedNetlink::Get().NumberOf(socket);
}

int __wrap_nl_socket_set_nonblocking(const nl_sock* /*socket*/) {
    return 0;
}

void __wrap_nl_socket_free(nl_sock* socket) {
    ScriptedNetlink::Get().Remove(socket);
    __real_nl_socket_free(socket);
}

ssize_t __wrap_recvmsg(int number, msghdr* datagram, int /*flags*/) {
    return ScriptedNetlink::Get().Receive(number, datagram);
}

// There is always something to read, if only the end of the wait.
int __wrap_poll(pollfd* fds, nfds_t count, int /*timeout*/) {
    for (nfds_t i = 0; i < count; i++) fds[i].revents = POLLIN;
    return static_cast<int>(count);
}

int __wrap_nanosleep(const timespec* /*time*/, timespec* /*left*/) {
    return 0;
}

// The process ids come from the input; no thread of this machine is to feel it.
int __wrap_sched_setaffinity(pid_t pid, size_t /*size*/, const cpu_set_t* /*set*/) {
    return pid % 2 == 0 ? 0 : -1;
}

int __wrap_sched_setscheduler(pid_t pid, int /*policy*/, const sched_param* /*param*/) {
    return pid % 2 == 0 ? 0 : -1;
}

unsigned int __wrap_if_nametoindex(const char* name) {
    return strncmp(name, "wpan", 4) == 0 ? 3 : 0;
}

}  // extern "C"
