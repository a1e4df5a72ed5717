// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/text.h"

#include <android-base/stringprintf.h>

#include <cstdlib>
#include <numbers>

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::FiraTwrMeasurement;
using ::aidl::hardware::velta::uwb::UwbAddress;
using ::android::base::StringPrintf;

constexpr double kDegreesPerRadian = 180 / std::numbers::pi;
constexpr double kNanosecondsPerSecond = 1e9;
constexpr size_t kShortAddressSize = 2;
constexpr int kHexBase = 16;

std::optional<uint8_t> ParseHexByte(const std::string& digits) {
    char* end = nullptr;
    if (digits.size() != 2 || digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos) {
        return std::nullopt;
    }
    return static_cast<uint8_t>(strtoul(digits.c_str(), &end, kHexBase));
}

const char* LineOfSightText(int value) {
    switch (value) {
        case 0:
            return "NLOS";
        case 1:
            return "LOS";
        default:
            return "-";
    }
}

// An angle without a figure of merit was not measured.
std::string AngleText(const char* name, double radians, double figure_of_merit) {
    if (figure_of_merit == 0) return "";
    return StringPrintf("  %s %+6.1f deg (fom %.2f)", name, radians * kDegreesPerRadian,
                        figure_of_merit);
}

}  // namespace

std::optional<UwbAddress> ParseShortAddress(const std::string& text) {
    std::string digits;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        digits = text.substr(2);
    } else if (const size_t colon = text.find(':'); colon != text.npos) {
        digits = text.substr(0, colon) + text.substr(colon + 1);
    }
    if (digits.size() != 2 * kShortAddressSize) return std::nullopt;
    const auto high = ParseHexByte(digits.substr(0, 2));
    const auto low = ParseHexByte(digits.substr(2));
    if (!high || !low) return std::nullopt;
    UwbAddress address;
    address.address = {*high, *low};
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

std::string MeasurementLine(int32_t block, const FiraTwrMeasurement& measurement) {
    const std::string head =
        StringPrintf("%12.6f s  block %5d  %s",
                     static_cast<double>(measurement.timestampNs) / kNanosecondsPerSecond, block,
                     AddressText(measurement.peerAddress).c_str());
    if (measurement.status != 0) {
        return head + StringPrintf("  no distance (status 0x%02x)", measurement.status);
    }
    return head +
           StringPrintf("  %7lld mm  %-4s", static_cast<long long>(measurement.distance),
                        LineOfSightText(measurement.lineOfSight)) +
           AngleText("azimuth", measurement.azimuth, measurement.azimuthFigureOfMerit) +
           AngleText("elevation", measurement.elevation, measurement.elevationFigureOfMerit);
}

}  // namespace uwbctl
