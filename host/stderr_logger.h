// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/logging.h>

namespace hardware::velta {

/**
 * A logger for android::base::SetLogger(): lines to standard error in the form of libbase's own
 * (time, process, thread, severity, tag, place, text), but with one write() each, and without
 * asking the kernel for what does not change.
 */
void LogToStderr(android::base::LogId id, android::base::LogSeverity severity, const char* tag,
                 const char* file, unsigned int line, const char* message);

}  // namespace hardware::velta
