// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <thread>

namespace uwbctl {
namespace {

using std::chrono::milliseconds;

constexpr size_t kHeadBytes = 32 << 10;
// More than any file of the page has.
constexpr size_t kKeptBytes = 64 << 10;
constexpr std::chrono::seconds kKeepAlive{5};
constexpr std::chrono::seconds kRequestTime{10};
constexpr std::chrono::seconds kWriteTime{10};
constexpr milliseconds kTryPause{5};

constexpr char kGoOn[] = "HTTP/1.1 100 Continue\r\n\r\n";

}  // namespace

Connection::Connection(android::base::unique_fd socket)
    : socket_(std::move(socket)), deadline_(Clock::now() + kKeepAlive) {}

bool Connection::Receive() {
    std::array<char, 16 << 10> piece;
    while (!HasRequest()) {
        const ssize_t size = recv(socket_.get(), piece.data(), piece.size(), MSG_DONTWAIT);
        if (size < 0 && errno == EINTR) continue;
        if (size < 0 && errno == EAGAIN) return Clock::now() < deadline_;
        if (size <= 0) return false;
        if (buffer_.empty()) deadline_ = Clock::now() + kRequestTime;
        buffer_.append(piece.data(), static_cast<size_t>(size));
        LookForRequest();
    }
    return true;
}

void Connection::LookForRequest() {
    constexpr std::string_view kEnd = "\r\n\r\n";
    const size_t end = buffer_.find(kEnd, searched_);
    if (end == buffer_.npos) {
        searched_ = buffer_.size() - std::min(buffer_.size(), kEnd.size() - 1);
        if (buffer_.size() >= kHeadBytes) head_size_ = request_size_ = buffer_.size();
        return;
    }
    searched_ = end;
    head_size_ = end + kEnd.size();
    const RawHead head = Head();
    const size_t size = head_size_ + head.BodySize();
    if (buffer_.size() >= size) {
        request_size_ = size;
    } else if (!has_said_go_on_ && head.WaitsForWord()) {
        has_said_go_on_ = true;
        output_ += kGoOn;
    }
}

void Connection::EndRequest() {
    buffer_.erase(0, request_size_);
    searched_ = head_size_ = request_size_ = read_ = 0;
    has_said_go_on_ = false;
    requests_++;
    deadline_ = Clock::now() + (buffer_.empty() ? kKeepAlive : kRequestTime);
    if (!buffer_.empty()) LookForRequest();
}

bool Connection::WaitUntilWritable(Clock::time_point deadline) const {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (left.count() < 0) return false;
        pollfd fd = {.fd = socket_.get(), .events = POLLOUT, .revents = 0};
        // Also when the other end is gone: then writing tells.
        const int ready = poll(&fd, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

bool Connection::is_writable() const {
    pollfd fd = {.fd = socket_.get(), .events = POLLOUT | POLLRDHUP, .revents = 0};
    return poll(&fd, 1, 0) >= 0 && (fd.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0;
}

RawHead Connection::Head() const {
    return RawHead(std::string_view(buffer_).substr(0, head_size_));
}

bool Connection::HasLeft() {
    constexpr std::string_view kPatience = "HTTP/1.1 102 Processing\r\n\r\n";
    constexpr int kUntilHeardMs = 100;
    pollfd fd = {.fd = socket_.get(), .events = POLLRDHUP, .revents = 0};
    const auto is_gone = [&fd] { return (fd.revents & (POLLHUP | POLLERR)) != 0; };
    if (poll(&fd, 1, 0) <= 0 || is_gone()) return is_gone();
    // It says no more. Only who is written to tells whether it listens, and an older one
    // understands nothing but the answer.
    if (!Head().HasInterim() || write(kPatience.data(), kPatience.size()) < 0) return false;
    fd.events = 0;
    poll(&fd, 1, kUntilHeardMs);
    return is_gone();
}

ssize_t Connection::read(char* data, size_t size) {
    const size_t taken = std::min(size, request_size_ - read_);
    has_run_dry_ = has_run_dry_ || (taken == 0 && size > 0);
    memcpy(data, buffer_.data() + read_, taken);
    read_ += taken;
    return static_cast<ssize_t>(taken);
}

// What the kernel takes at once, -1 when the other end has gone.
ssize_t Connection::SendSome(const char* data, size_t size) const {
    size_t sent = 0;
    while (sent < size) {
        const ssize_t taken =
            send(socket_.get(), data + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken < 0 && errno == EAGAIN) break;
        if (taken < 0 && errno != EINTR) return -1;
        if (taken > 0) sent += static_cast<size_t>(taken);
    }
    return static_cast<ssize_t>(sent);
}

ssize_t Connection::write(const char* data, size_t size) {
    for (std::string_view rest(data, size); !rest.empty();) {
        const std::string_view piece = rest.substr(0, kKeptBytes);
        if (!WritePiece(piece)) return -1;
        rest.remove_prefix(piece.size());
    }
    return static_cast<ssize_t>(size);
}

// Each piece has its time, so that a large answer has as much as it needs.
bool Connection::WritePiece(std::string_view piece) {
    const auto deadline = Clock::now() + kWriteTime;
    for (;;) {
        if (!Flush()) return false;
        if (output_.size() + piece.size() <= kKeptBytes) break;
        if (!WaitUntilWritable(deadline)) return false;
        // A kernel that is short of memory for sockets takes nothing from one that it calls
        // writable.
        if (is_stuck_) std::this_thread::sleep_for(kTryPause);
    }
    output_ += piece;
    return Flush();
}

bool Connection::Flush() {
    const ssize_t sent = SendSome(output_.data(), output_.size());
    if (sent < 0) return false;
    is_stuck_ = sent == 0 && !output_.empty();
    output_.erase(0, static_cast<size_t>(sent));
    // Who was told to go on has the time of its request.
    const bool is_half_there = has_said_go_on_ && !HasRequest();
    if (sent > 0 && !is_half_there) deadline_ = Clock::now() + kKeepAlive;
    return true;
}

}  // namespace uwbctl
