// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/logging.h>

#include <functional>
#include <memory>
#include <utility>

#include "net/nl_socket.h"

namespace hardware::velta {

/**
 * Makes a fresh socket for each request, so that no late reply of one request meets another.
 * Messages stay the caller's.
 */
class NlSocketFactory {
  public:
    /**
     * @param event_loop borrowed; lent to every socket.
     * @param mode how those that are watched are read.
     */
    explicit NlSocketFactory(EventLoop* event_loop, NotificationMode mode = NotificationMode::kPoll)
        : event_loop_(event_loop), mode_(mode) {}
    virtual ~NlSocketFactory() = default;

    /** @return a socket that is set up, or null. */
    virtual std::unique_ptr<NlSocket> Create() {
        auto socket = std::make_unique<NlSocket>(event_loop_, mode_, &request_counters_);
        if (!socket->Setup()) return nullptr;
        return socket;
    }

    /** Sends msg on a socket of its own; see NlSocket::SendAndAwaitAck(). */
    bool SendAndAwaitAck(nl_msg* msg) {
        const std::unique_ptr<NlSocket> socket = Create();
        if (socket == nullptr) {
            LogBadAlloc("velta.uwb.FiraRegionUtils", __func__);
            return false;
        }
        return socket->SendAndAwaitAck(msg, {});
    }

    /** Sends msg on a socket of its own; see NlSocket::SendAndAwaitResponse(). */
    bool SendAndAwaitResponse(nl_msg* msg, std::function<void(nl_msg*)> on_response,
                              int expected_cmd) {
        const std::shared_ptr<NlSocket> socket = Create();
        if (socket == nullptr) {
            LogBadAlloc("velta.uwb.IeeeUtils", __func__);
            return false;
        }
        return socket->SendAndAwaitResponse(msg, std::move(on_response), expected_cmd);
    }

    /** @return of all that its sockets have sent. */
    const RequestCounters& request_counters() const { return request_counters_; }

  private:
    // The tags name the first user of each request function, whoever the caller is.
    static void LogBadAlloc(const char* tag, const char* function) {
        const android::base::ErrnoRestorer errno_restorer;
        android::base::LogMessage(__FILE__, __LINE__, android::base::ERROR, tag, -1).stream()
            << function << ": BAD_ALLOC: cannot allocate NlSocket";
    }

    EventLoop* event_loop_;
    NotificationMode mode_;
    RequestCounters request_counters_;
};

}  // namespace hardware::velta
