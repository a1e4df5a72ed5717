// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netlink/msg.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace hardware::velta {

using Bytes = std::vector<uint8_t>;

/** A netlink attribute as it is on the wire, written without libnl. */
struct Attr {
    uint16_t type;
    Bytes payload;
    std::vector<Attr> nested;
    bool is_nest = false;
    /** Added to the length that the header claims. */
    int length_error = 0;
};

Attr U8(uint16_t type, uint8_t value);
Attr U16(uint16_t type, uint16_t value);
Attr U32(uint16_t type, uint32_t value);
Attr U64(uint16_t type, uint64_t value);
/** Text with its NUL. */
Attr Text(uint16_t type, const std::string& text);
Attr Raw(uint16_t type, const Bytes& payload);
Attr Nest(uint16_t type, const std::vector<Attr>& nested);

/** A complete generic netlink message of version 0. */
struct Message {
    uint8_t cmd;
    std::vector<Attr> attrs;
    uint16_t flags = 0;
};

/** Family id that the scripted kernel resolves every name to. */
inline constexpr int kFamily = 29;

/** @param pad fills the gaps between attributes; the kernel and libnl write 0. */
Bytes Encode(const std::vector<Attr>& attrs, uint8_t pad = 0);
Bytes Encode(const Message& message, uint8_t pad = 0);

/** Four bytes a group, so that differences can be read. */
std::string Hex(const Bytes& bytes);

/** The attributes of a nest or message, each as "type=payload" in hex; nests are not opened. */
std::vector<std::string> Tokens(const Bytes& attrs);

/** The payload of the attribute at the end of a path of types (flags included); empty if none. */
Bytes Find(const Bytes& attrs, const std::vector<uint16_t>& path);

using NlMsg = std::unique_ptr<nl_msg, void (*)(nl_msg*)>;

/** A libnl message of exactly these bytes, so that a sanitizer sees what reads past its end. */
NlMsg ToNlMsg(const Bytes& bytes);
NlMsg ToNlMsg(const Message& message);

/**
 * Calls check with many broken forms of message: each attribute absent, empty, short by a byte, of
 * another type or claiming a wrong length, and the whole message cut at every length.
 */
void ForEachMalformed(const Message& message,
                      const std::function<void(const Bytes& broken)>& check);

}  // namespace hardware::velta
