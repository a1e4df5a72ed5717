// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/waiting_room.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include "uwbctl/client/client.h"

namespace uwbctl {
namespace {

using std::chrono::milliseconds;

// Ten browsers' worth; with what each may have sent and not taken, 28 MiB at most.
constexpr size_t kMaxWaiting = 128;
constexpr milliseconds kBusyPause{5};
constexpr milliseconds kStuckPause{50};

bool IsReady(const Connection& connection) {
    return connection.HasRequest() && !connection.HasOutput();
}

}  // namespace

WaitingRoom::WaitingRoom(Serve serve)
    : serve_(std::move(serve)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!wake_.ok()) throw Failure(kRadioFailed, std::string("no eventfd: ") + strerror(errno));
    thread_ = std::thread([this] { Run(); });
}

void WaitingRoom::Enter(std::unique_ptr<Connection> connection) {
    std::unique_lock lock(mutex_);
    // In a flood the kernel keeps who comes next.
    admitted_.wait(lock, [this] { return is_closed_ || entering_.size() < kMaxWaiting; });
    if (is_closed_) return;
    entering_.push_back(std::move(connection));
    eventfd_write(wake_.get(), 1);
}

void WaitingRoom::Close() {
    {
        const std::lock_guard lock(mutex_);
        is_closed_ = true;
        eventfd_write(wake_.get(), 1);
    }
    admitted_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void WaitingRoom::Run() {
    for (;;) {
        Wait();
        eventfd_t count = 0;
        eventfd_read(wake_.get(), &count);
        {
            const std::lock_guard lock(mutex_);
            if (is_closed_) break;
            Admit();
        }
        ServeReady();
    }
    waiting_.clear();
    entering_.clear();
}

void WaitingRoom::Wait() const {
    std::vector<pollfd> fds = {{.fd = wake_.get(), .events = POLLIN, .revents = 0}};
    auto deadline = Connection::Clock::time_point::max();
    for (const auto& connection : waiting_) {
        if (IsReady(*connection)) {
            // Nobody had time for it; there is nothing to wait for but that.
            deadline = std::min(deadline, Connection::Clock::now() + kBusyPause);
            continue;
        }
        if (connection->HasOutput() && connection->is_stuck()) {
            // The kernel may call it writable all the same, when it is short of memory for sockets.
            deadline = std::min(deadline, Connection::Clock::now() + kStuckPause);
            continue;
        }
        const short event = connection->HasOutput() ? POLLOUT : POLLIN;
        fds.push_back({.fd = connection->socket(), .events = event, .revents = 0});
        deadline = std::min(deadline, connection->deadline());
    }
    int timeout = -1;
    if (!waiting_.empty()) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Connection::Clock::now());
        timeout = static_cast<int>(std::max<int64_t>(left.count(), 0));
    }
    poll(fds.data(), fds.size(), timeout);
}

void WaitingRoom::Admit() {
    std::move(entering_.begin(), entering_.end(), std::back_inserter(waiting_));
    entering_.clear();
    admitted_.notify_all();
}

// Takes what was sent, and gives what was kept back; false when nothing more will come of it.
bool WaitingRoom::GoesOn(Connection* connection) {
    if (connection->HasOutput()) {
        if (!connection->Flush()) return false;
        if (connection->HasOutput()) return Connection::Clock::now() < connection->deadline();
    }
    if (!connection->is_read()) return false;
    // What came behind an earlier request may be one already.
    return connection->HasRequest() || connection->Receive();
}

void WaitingRoom::ServeReady() {
    std::vector<std::unique_ptr<Connection>> staying;
    for (auto& connection : std::exchange(waiting_, {})) {
        if (!GoesOn(connection.get())) continue;
        if (IsReady(*connection)) serve_(&connection);
        if (connection != nullptr) staying.push_back(std::move(connection));
    }
    const size_t gone = staying.size() - std::min(staying.size(), kMaxWaiting);
    staying.erase(staying.begin(), staying.begin() + static_cast<ptrdiff_t>(gone));
    waiting_ = std::move(staying);
}

}  // namespace uwbctl
