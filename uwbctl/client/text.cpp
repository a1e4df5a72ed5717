// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/text.h"

#include <android-base/stringprintf.h>

#include <cstdlib>
#include <numbers>

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::UwbAddress;
using ::android::base::StringPrintf;

constexpr size_t kShortAddressSize = 2;
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

double ToDegrees(double radians) {
    constexpr double kDegreesPerRadian = 180 / std::numbers::pi;
    return radians * kDegreesPerRadian;
}

}  // namespace uwbctl
