// SPDX-License-Identifier: Apache-2.0
#include "host/service_options.h"

#include <android-base/parseint.h>
#include <android-base/properties.h>

#include <utility>

namespace hardware::velta {
namespace {

constexpr char kNotifications[] = "ro.vendor.uwb.hal.notifications";
constexpr char kStallLimit[] = "ro.vendor.uwb.hal.stall_limit_s";
constexpr char kLogLevel[] = "ro.vendor.uwb.hal.log_level";

// One read of a driver that does not answer takes a second, and is no stall.
constexpr int kMinStallLimit = 3;
constexpr int kMaxStallLimit = 3600;

constexpr std::pair<const char*, NotificationMode> kModes[] = {
    {"poll", NotificationMode::kPoll},
    {"event", NotificationMode::kEvent},
};
constexpr std::pair<const char*, android::base::LogSeverity> kLevels[] = {
    {"VERBOSE", android::base::VERBOSE}, {"DEBUG", android::base::DEBUG},
    {"INFO", android::base::INFO},       {"WARNING", android::base::WARNING},
    {"ERROR", android::base::ERROR},
};

// Reads a property that has one of a few words for its value.
template <typename T, size_t kWords>
bool ReadWord(const char* property, const std::pair<const char*, T> (&words)[kWords], T* value,
              std::string* error) {
    const std::string text = android::base::GetProperty(property, "");
    if (text.empty()) return true;
    std::string choice;
    for (const auto& [word, meaning] : words) {
        if (text == word) {
            *value = meaning;
            return true;
        }
        choice += (choice.empty() ? "" : ", ") + std::string(word);
    }
    *error = std::string(property) + ": \"" + text + "\" is none of: " + choice;
    return false;
}

bool ReadStallLimit(std::chrono::seconds* limit, std::string* error) {
    const std::string text = android::base::GetProperty(kStallLimit, "");
    int seconds = 0;
    if (!text.empty() && text != "0" &&
        !android::base::ParseInt(text, &seconds, kMinStallLimit, kMaxStallLimit)) {
        *error = std::string(kStallLimit) + ": \"" + text + "\" is neither 0 nor from " +
                 std::to_string(kMinStallLimit) + " to " + std::to_string(kMaxStallLimit);
        return false;
    }
    *limit = std::chrono::seconds(seconds);
    return true;
}

}  // namespace

bool ReadServiceOptions(ServiceOptions* options, std::string* error) {
    return ReadWord(kNotifications, kModes, &options->notifications, error) &&
           ReadStallLimit(&options->stall_limit, error) &&
           ReadWord(kLogLevel, kLevels, &options->log_level, error);
}

}  // namespace hardware::velta
