// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/ErrorCode.h>
#include <android/binder_auto_utils.h>

#include <cstdint>

namespace hardware::velta {

using ErrorCode = ::aidl::hardware::velta::uwb::ErrorCode;

/**
 * Builds the status of a failed HAL call and logs its message once, at ERROR; callers do not log it
 * again. The message is cut to 1023 characters.
 *
 * @param format as for printf.
 * @return a service-specific error with code and message.
 */
ndk::ScopedAStatus Error(ErrorCode code, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/** @return how many times Error() has refused a call since the start of the process. */
uint64_t ErrorCount();

/** Error() with ErrorCode::INVALID_ARGUMENT. */
ndk::ScopedAStatus BadArgument(const char* format, ...) __attribute__((format(printf, 1, 2)));

/** @return the error of an object that outlived the client's hold on the hardware. */
ndk::ScopedAStatus Closed();

/** @return OK for a channel of 0 to 15, otherwise BadArgument "Incorrect channel value <n>". */
ndk::ScopedAStatus CheckUwbChannelRange(int channel);

}  // namespace hardware::velta
