// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/text.h"

#include <android-base/stringprintf.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <numbers>
#include <numeric>
#include <string_view>
#include <utility>

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::UwbAddress;
using ::android::base::StringPrintf;

constexpr size_t kMaxAddressSize = 8;
constexpr size_t kByteDigits = 2;
constexpr int kHexBase = 16;

std::optional<uint8_t> ParseHexByte(const std::string& digits) {
    if (digits.size() != kByteDigits ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos) {
        return std::nullopt;
    }
    return static_cast<uint8_t>(strtoul(digits.c_str(), nullptr, kHexBase));
}

// How many letters to insert, remove or replace until one is the other.
size_t Edits(const std::string& from, const std::string& to) {
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (size_t i = 0; i < from.size(); i++) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < to.size(); j++) {
            const size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min(std::min(row[j], row[j + 1]) + 1, replaced);
        }
    }
    return row.back();
}

// The bytes of the character of UTF-8 that a text begins with, 0 where it begins with none.
size_t CharacterSize(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    const size_t size = first < 0x80                    ? 1
                        : first >= 0xC2 && first < 0xE0 ? 2
                        : first >= 0xE0 && first < 0xF0 ? 3
                        : first >= 0xF0 && first < 0xF5 ? 4
                                                        : 0;
    const std::string_view others = text.substr(1).substr(0, size - 1);
    const bool is_whole =
        size <= text.size() &&
        std::all_of(others.begin(), others.end(), [](char c) { return (c & 0xC0) == 0x80; });
    return size > 0 && is_whole ? size : 0;
}

}  // namespace

std::optional<UwbAddress> ParseAddress(const std::string& text) {
    const bool has_prefix = text.starts_with("0x") || text.starts_with("0X");
    const std::string body = has_prefix ? text.substr(2) : text;
    const size_t step = has_prefix ? kByteDigits : kByteDigits + 1;
    UwbAddress address;
    for (size_t start = 0; start < body.size(); start += step) {
        const auto byte = ParseHexByte(body.substr(start, kByteDigits));
        const size_t end = start + kByteDigits;
        const bool is_last = end == body.size();
        if (!byte || (!has_prefix && !is_last && (body[end] != ':' || end + 1 == body.size()))) {
            return std::nullopt;
        }
        address.address.push_back(*byte);
    }
    if (address.address.empty() || address.address.size() > kMaxAddressSize) return std::nullopt;
    return address;
}

std::string AddressText(const UwbAddress& address) {
    if (address.address.size() == kShortAddressSize) {
        return StringPrintf("0x%02x%02x", address.address[0], address.address[1]);
    }
    std::string text;
    for (const uint8_t byte : address.address) {
        text += StringPrintf(text.empty() ? "%02x" : ":%02x", byte);
    }
    return text;
}

std::vector<std::string> AddressTexts(const std::vector<UwbAddress>& addresses) {
    std::vector<std::string> texts;
    texts.reserve(addresses.size());
    for (const UwbAddress& address : addresses) texts.push_back(AddressText(address));
    return texts;
}

std::string CountText(uint64_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string StopReasonText(int reason) {
    constexpr int kNotificationsLost = 256;
    if (reason == kNotificationsLost) return "the service lost reports and stopped the session";
    return "the radio stopped the session (reason " + std::to_string(reason) + ")";
}

std::string StatusText(int status) {
    // FiRa's names for how a ranging round with a peer can fail.
    static const std::map<int, const char*> kNames = {
        {0x00, "no distance"},        {0x20, "TX failed"},          {0x21, "RX timeout"},
        {0x22, "RX PHY not decoded"}, {0x23, "RX no arrival time"}, {0x24, "RX STS failed"},
        {0x25, "RX MAC not decoded"}, {0x26, "RX IE not decoded"},  {0x27, "RX IE missing"},
    };
    const auto name = kNames.find(status);
    return StringPrintf("%s (0x%02x)", name == kNames.end() ? "failed" : name->second, status);
}

std::string LikeText(const std::string& word, const std::vector<std::string>& known) {
    // Two letters that changed places are two edits.
    constexpr size_t kLettersAnEdit = 2;
    std::string nearest;
    size_t fewest = std::max<size_t>(word.size() / kLettersAnEdit, 1) + 1;
    for (const std::string& candidate : known) {
        // There are as many as they differ in length, so that nothing long is compared in vain.
        const size_t shorter = std::min(word.size(), candidate.size());
        const size_t longer = std::max(word.size(), candidate.size());
        const size_t edits = longer - shorter < fewest ? Edits(word, candidate) : fewest;
        const bool is_prefix = !word.empty() && candidate.starts_with(word);
        if (edits < fewest || (is_prefix && nearest.empty())) {
            nearest = candidate;
            fewest = std::min(edits, fewest);
        }
    }
    return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

std::string PrintableText(const std::string& text) {
    constexpr unsigned char kDelete = 0x7F;
    constexpr unsigned char kLatinPage = 0xC2;
    constexpr unsigned char kFirstLatin = 0xA0;
    std::string printable;
    for (size_t i = 0; i < text.size();) {
        const size_t size = CharacterSize(std::string_view(text).substr(i));
        const auto first = static_cast<unsigned char>(text[i]);
        const auto last = static_cast<unsigned char>(text[i + std::max<size_t>(size, 1) - 1]);
        const bool is_line = first == '\n' || first == '\t';
        // Those of two bytes too, of which the second tells.
        const bool is_control = (first < ' ' && !is_line) || first == kDelete ||
                                (first == kLatinPage && last < kFirstLatin);
        printable += size == 0 || is_control ? StringPrintf("\\x%02x", last) : text.substr(i, size);
        i += std::max<size_t>(size, 1);
    }
    return printable;
}

std::string Shortened(const std::string& text, size_t most) {
    return text.size() <= most ? text : Beginning(text, most) + "\u2026";
}

std::string Beginning(const std::string& text, size_t most) {
    constexpr size_t kLongestCharacter = 4;
    if (text.size() <= most) return text;
    const auto is_within = [&text](size_t at) { return (text[at] & 0xC0) == 0x80; };
    size_t end = most;
    while (end > 0 && most - end < kLongestCharacter && is_within(end)) end--;
    return text.substr(0, end);
}

double ToDegrees(double radians) {
    constexpr double kDegreesPerRadian = 180 / std::numbers::pi;
    return radians * kDegreesPerRadian;
}

}  // namespace uwbctl
