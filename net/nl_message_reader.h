// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <linux/netlink.h>
#include <netlink/handlers.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "looper/coarse_clock.h"

namespace hardware::velta {

/** As much as the kernel puts into one part of a dump; reports are shorter. */
inline constexpr size_t kMaxMessageSize = size_t{32} * 1024;

/**
 * Owns a libnl callback set and routes what libnl reads to replaceable functions.
 *
 * The functions return libnl's NL_OK, NL_SKIP or NL_STOP. An empty function skips data messages and
 * acknowledgements and stops at error replies.
 */
class NlMessageReader {
  public:
    /** Aborts the process when libnl has no memory for the callback set. */
    NlMessageReader();
    virtual ~NlMessageReader();
    NlMessageReader(const NlMessageReader&) = delete;
    NlMessageReader& operator=(const NlMessageReader&) = delete;

    /**
     * Receives once (nl_recvmsgs): one datagram, or all of a multi-part reply. Messages that are
     * not the kernel's are dropped, each with a log line.
     *
     * @return 0 or more, or a negative libnl error.
     */
    int read_message(nl_sock* socket);

    /**
     * Receives one datagram of notifications without waiting, straight into a buffer that is kept,
     * which libnl's way would take three times from the heap and copy. Data messages go to handler
     * until it returns NL_STOP; all else is as with read_message(), but there are no sequence
     * numbers to check, and an acknowledgement that comes late is skipped.
     *
     * @return 0 or more, or a negative libnl error, -NLE_AGAIN when nothing is there.
     */
    int ReadNotification(nl_sock* socket, const std::function<int(nl_msg*)>& handler);

    /** Called with each data message. */
    std::function<int(nl_msg*)> on_valid_;
    /** Called with each acknowledgement. */
    std::function<int(nl_msg*)> on_ack_;
    /** Called with each error reply. */
    std::function<int(nlmsgerr*)> on_error_;
    /** When a read gives up although messages keep coming. */
    CoarseClock::time_point deadline_ = kNever;

    /** Whether the last read ended with an error reply, which is an answer and no failure. */
    bool was_refused_ = false;

    /**
     * Has what libnl reads of a socket by its own callbacks, such as a family's number, be the
     * kernel's as well: other messages are dropped, each with a log line.
     */
    static void HearKernelOnly(nl_sock* socket);

    /** No deadline. */
    static constexpr auto kNever = CoarseClock::time_point::max();

    /** @return whether the deadline is over. */
    bool IsLate() const;

  private:
    struct FreeMessage {
        void operator()(nl_msg* msg) const { nlmsg_free(msg); }
    };
    using Message = std::unique_ptr<nl_msg, FreeMessage>;

    // Hands out the messages of a datagram, the first of which is buffer_ itself.
    int Dispatch(size_t size, const std::function<int(nl_msg*)>& handler);

    nl_cb* cb_;
    Message buffer_;  // For notifications; none until one is read.
};

/**
 * Converts an address of two bytes, the most significant first, to an IEEE 802.15.4 short address.
 *
 * @param ok set to whether bytes has exactly two bytes.
 * @return the short address, 0 when it has not.
 */
uint16_t ToShortAddress(const std::vector<uint8_t>& bytes, bool* ok);

}  // namespace hardware::velta
