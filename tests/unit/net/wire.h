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
using Lines = std::vector<std::string>;

/** Family id that the scripted kernel resolves every name to. */
inline constexpr int kFamily = 29;

/**
 * Builds a generic netlink message, without libnl, from a text such as
 * "7 1=w5 3='endless' 8{4=b1 5!{}}": the command ("5+dump" for a dump) and its attributes. A value
 * is b, h, w or q and a number of 1, 2, 4 or 8 bytes, a text that gets a NUL, or x and bytes in
 * hex; a nest is in braces, and "!" after a type sets the nested flag.
 */
Bytes Wire(const std::string& text);

std::string Hex(const Bytes& bytes);

using NlMsg = std::unique_ptr<nl_msg, void (*)(nl_msg*)>;

/** A libnl message of exactly these bytes, so that a sanitizer sees what reads past its end. */
NlMsg ToNlMsg(const Bytes& bytes);

/**
 * Calls check with many broken forms of a message: each attribute absent, empty, short by a byte,
 * of another type or claiming a wrong length, and the whole message cut at every length.
 */
void ForEachMalformed(const std::string& text, const std::function<void(const Bytes&)>& check);

/**
 * Runs body in a forked child that has user and network namespaces of its own, and with them the
 * rights to its own interfaces and netlink sockets. Fails when body's expectations do, and when the
 * machine gives no such namespaces.
 */
void RunInNetNamespace(const std::function<void()>& body);

}  // namespace hardware::velta
