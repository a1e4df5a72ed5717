// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/logging.h>

#include <chrono>
#include <string>

#include "net/nl_socket.h"

namespace hardware::velta {

/** What an integrator chooses by system properties "ro.vendor.uwb.hal.*". */
struct ServiceOptions {
    /** "notifications": "poll" or "event". */
    NotificationMode notifications = NotificationMode::kPoll;
    /** "stall_limit_s": seconds, 3 to 3600, or 0 for no limit. */
    std::chrono::seconds stall_limit{0};
    /** "log_level": the least that is logged: VERBOSE, DEBUG, INFO, WARNING or ERROR. */
    android::base::LogSeverity log_level = android::base::INFO;
};

/**
 * Reads the options; a property that is not set leaves its default.
 *
 * @param error the property whose value is none of those named, and the value; one line.
 * @return false when there is one.
 */
bool ReadServiceOptions(ServiceOptions* options, std::string* error);

}  // namespace hardware::velta
