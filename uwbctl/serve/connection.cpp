// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/connection.h"

#include <poll.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
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

// The rest of a request's head from the value of a header on; empty without that header.
std::string_view FromHeader(std::string_view head, std::string_view name) {
    for (size_t line = head.find("\r\n"); line != head.npos; line = head.find("\r\n", line + 1)) {
        std::string_view value = head.substr(line);
        if (value.size() < name.size() ||
            strncasecmp(value.data(), name.data(), name.size()) != 0) {
            continue;
        }
        value.remove_prefix(name.size());
        value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
        return value;
    }
    return {};
}

// What a request's head says about the size of its body; 0 for what the server will not read.
size_t BodySize(std::string_view head) {
    const std::string_view value = FromHeader(head, "\r\nContent-Length:");
    size_t size = 0;
    const auto [end, error] = std::from_chars(value.begin(), value.end(), size);
    return error == std::errc() && size <= kMaxBody ? size : 0;
}

// Whether who sent a head waits for a word before it sends the body.
bool WaitsForWord(std::string_view head) {
    return FromHeader(head, "\r\nExpect:").starts_with("100-continue");
}

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
        if (buffer_.size() >= kHeadBytes) request_size_ = buffer_.size();
        return;
    }
    searched_ = end;
    const size_t head_size = end + kEnd.size();
    const auto head = std::string_view(buffer_).substr(0, head_size);
    const size_t size = head_size + BodySize(head);
    if (buffer_.size() >= size) {
        request_size_ = size;
    } else if (!has_said_go_on_ && WaitsForWord(head)) {
        has_said_go_on_ = true;
        output_ += kGoOn;
    }
}

void Connection::EndRequest() {
    buffer_.erase(0, request_size_);
    searched_ = request_size_ = read_ = 0;
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

std::string_view Connection::RequestLine() const {
    const std::string_view request = std::string_view(buffer_).substr(0, request_size_);
    return request.substr(0, request.find("\r\n"));
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
    if (sent > 0) deadline_ = Clock::now() + kKeepAlive;
    return true;
}

}  // namespace uwbctl
