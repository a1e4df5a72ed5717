// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/unit/net/wire.h"

namespace hardware::velta {

/** An attribute of a message. */
struct Attr {
    uint16_t type = 0;
    Bytes value;
    /** In place of a value, for what looks like a nest. */
    std::vector<Attr> nest;
};
using Attrs = std::vector<Attr>;

/** One netlink message, taken apart to be changed. */
struct Message {
    /** Its length is that of the whole when it is written, unless it lied. */
    nlmsghdr header = {};
    bool lies_of_length = false;
    /** Behind the header: the generic header, or the code of an error; and whatever is no list of
     * attributes. */
    Bytes fixed;
    Attrs attrs;
};
using Messages = std::vector<Message>;

/** @return whether all of the bytes are attributes, which are appended. */
bool ReadAttrs(const uint8_t* data, size_t size, Attrs* attrs);

/** @return the messages of a datagram: a last one that is cut short or too long, too; empty for
 * less than a header. */
Messages ReadMessages(const Bytes& datagram);

/** @return the datagram, with lengths and padding put right. */
Bytes WriteMessages(const Messages& messages);

}  // namespace hardware::velta
