// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <linux/netlink.h>
#include <netlink/handlers.h>
#include <netlink/netlink.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

namespace hardware::velta {

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

    /** Called with each data message. */
    std::function<int(nl_msg*)> on_valid_;
    /** Called with each acknowledgement. */
    std::function<int(nl_msg*)> on_ack_;
    /** Called with each error reply. */
    std::function<int(nlmsgerr*)> on_error_;
    /** When a read gives up although messages keep coming. */
    std::chrono::steady_clock::time_point deadline_ = kNever;

    /** Whether the last read ended with an error reply, which is an answer and no failure. */
    bool was_refused_ = false;

    /** No deadline. */
    static constexpr auto kNever = std::chrono::steady_clock::time_point::max();

    /** @return whether the deadline is over. */
    bool IsLate() const;

  private:
    nl_cb* cb_;
};

/**
 * Converts an address of two bytes, the most significant first, to an IEEE 802.15.4 short address.
 *
 * @param ok set to whether bytes has exactly two bytes.
 * @return the short address, 0 when it has not.
 */
uint16_t ToShortAddress(const std::vector<uint8_t>& bytes, bool* ok);

}  // namespace hardware::velta
