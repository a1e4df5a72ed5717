// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.IpcUtils"

#include "hal/ipc_utils.h"

#include <android-base/logging.h>
#include <android/binder_status.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace hardware::velta {
namespace {

// Messages travel in every failed reply: one page would be too much, a line is not enough.
constexpr size_t kMessageSize = 1024;

constexpr uint32_t kChannelCount = 16;

uint64_t g_error_count = 0;

__attribute__((format(printf, 2, 0))) ndk::ScopedAStatus CreateError(ErrorCode code,
                                                                     const char* format,
                                                                     va_list args) {
    char buffer[kMessageSize] = {};
    g_error_count++;
    vsnprintf(buffer, sizeof(buffer), format, args);
    LOG(ERROR) << buffer;
    return ndk::ScopedAStatus(
        AStatus_fromServiceSpecificErrorWithMessage(static_cast<int32_t>(code), buffer));
}

}  // namespace

ndk::ScopedAStatus Error(ErrorCode code, const char* format, ...) {
    va_list args;
    va_start(args, format);
    ndk::ScopedAStatus status = CreateError(code, format, args);
    va_end(args);
    return status;
}

uint64_t ErrorCount() {
    return g_error_count;
}

ndk::ScopedAStatus BadArgument(const char* format, ...) {
    va_list args;
    va_start(args, format);
    ndk::ScopedAStatus status = CreateError(ErrorCode::INVALID_ARGUMENT, format, args);
    va_end(args);
    return status;
}

ndk::ScopedAStatus Closed() {
    return Error(ErrorCode::INVALID_STATE, "HAL is closed");
}

bool Deliveries::Note(const ndk::ScopedAStatus& status) {
    // Whether it is dead is told elsewhere; what it made of it is its own affair.
    const binder_status_t verdict = status.getStatus();
    const bool was_refused = verdict == STATUS_FAILED_TRANSACTION || verdict == STATUS_NO_MEMORY;
    if (was_refused) {
        refused_++;
        if (++in_a_row_ == 1) LOG(WARNING) << receiver_ << " takes no more events: they are lost";
    } else if (in_a_row_ > 0) {
        LOG(WARNING) << receiver_ << " takes events again; lost: " << in_a_row_;
        in_a_row_ = 0;
    }
    return !was_refused;
}

ndk::ScopedAStatus CheckUwbChannelRange(int channel) {
    // Unsigned on purpose: one test refuses negative channels too.
    if (static_cast<uint32_t>(channel) < kChannelCount) return ndk::ScopedAStatus::ok();
    return BadArgument("Incorrect channel value %d", channel);
}

}  // namespace hardware::velta
