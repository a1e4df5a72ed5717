// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace uwbctl {
namespace {

using std::chrono::milliseconds;

// Headers, and a scene as the largest of bodies.
constexpr size_t kRequestBytes = 160 << 10;
constexpr std::chrono::seconds kRequestTime{10};
constexpr std::chrono::seconds kWriteTime{10};

}  // namespace

// Also true when the other end is gone: then reading or writing tells.
bool Connection::WaitUntil(short what, Clock::time_point deadline) const {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (left.count() < 0) return false;
        pollfd fd = {.fd = socket_, .events = what, .revents = 0};
        const int ready = poll(&fd, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

bool Connection::AwaitRequest(milliseconds patience) {
    if (buffer_start_ == buffer_end_ && !WaitUntil(POLLIN, Clock::now() + patience)) return false;
    bytes_left_ = kRequestBytes;
    deadline_ = Clock::now() + kRequestTime;
    return true;
}

bool Connection::is_readable() const {
    return buffer_start_ < buffer_end_ || WaitUntil(POLLIN, deadline_);
}

bool Connection::is_writable() const {
    pollfd fd = {.fd = socket_, .events = POLLOUT | POLLRDHUP, .revents = 0};
    return poll(&fd, 1, 0) >= 0 && (fd.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0;
}

ssize_t Connection::read(char* data, size_t size) {
    if (buffer_start_ == buffer_end_) {
        if (bytes_left_ == 0 || !WaitUntil(POLLIN, deadline_)) return -1;
        const ssize_t got = recv(socket_, buffer_.data(), std::min(buffer_.size(), bytes_left_), 0);
        if (got <= 0) return got;
        buffer_start_ = 0;
        buffer_end_ = static_cast<size_t>(got);
        bytes_left_ -= buffer_end_;
    }
    const size_t taken = std::min(size, buffer_end_ - buffer_start_);
    memcpy(data, buffer_.data() + buffer_start_, taken);
    buffer_start_ += taken;
    return static_cast<ssize_t>(taken);
}

ssize_t Connection::write(const char* data, size_t size) {
    const auto deadline = Clock::now() + kWriteTime;
    size_t written = 0;
    while (written < size) {
        if (!WaitUntil(POLLOUT, deadline)) return -1;
        const ssize_t taken =
            send(socket_, data + written, size - written, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken < 0 && errno != EAGAIN && errno != EINTR) return -1;
        if (taken > 0) written += static_cast<size_t>(taken);
    }
    return static_cast<ssize_t>(written);
}

}  // namespace uwbctl
