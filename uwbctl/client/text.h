// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/UwbAddress.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace uwbctl {

/** Bytes of a short address. */
inline constexpr size_t kShortAddressSize = 2;

/**
 * @return an address of 1 to 8 bytes from "0x1234" or "12:34", most significant first; empty when
 *         bad.
 */
std::optional<::aidl::hardware::velta::uwb::UwbAddress> ParseAddress(const std::string& text);

/** @return "0x1234" for a short address, "12:34:..." for any other. */
std::string AddressText(const ::aidl::hardware::velta::uwb::UwbAddress& address);

/** @return AddressText() of each. */
std::vector<std::string> AddressTexts(
    const std::vector<::aidl::hardware::velta::uwb::UwbAddress>& addresses);

/** @return the items with ", " between them; "none" for no items. */
template <typename T, typename ToText>
std::string Join(const std::vector<T>& items, ToText to_text) {
    std::string text;
    for (const T& item : items) text += (text.empty() ? "" : ", ") + to_text(item);
    return text.empty() ? "none" : text;
}

/** @return "1 report", "2 reports". */
std::string CountText(uint64_t count, const std::string& what);

/** @return a measurement's status in words, with its number: "RX timeout (0x21)". */
std::string StatusText(int status);

/** @return why a session ended that nobody asked to end, of the reason that the service gives. */
std::string StopReasonText(int reason);

/** @return "; did you mean ...?" with the one of known that is spelt most like word, or empty. */
std::string LikeText(const std::string& word, const std::vector<std::string>& known);

/**
 * @return a text for a terminal: what a file or a name has in it that a terminal would obey is
 *         written out, "\\x1b"; lines stay lines.
 */
std::string PrintableText(const std::string& text);

/**
 * @return a text for a message: of a long one its beginning, whole characters of UTF-8, and "…".
 * @param most how many bytes of it are shown.
 */
std::string Shortened(const std::string& text, size_t most = 80);

/** @return of a longer text the first bytes, as many as make whole characters of UTF-8. */
std::string Beginning(const std::string& text, size_t most);

/** @return an angle of radians in degrees. */
double ToDegrees(double radians);

}  // namespace uwbctl
