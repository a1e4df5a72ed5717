// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/ErrorCode.h>
#include <android/binder_auto_utils.h>

#include <cstdint>
#include <string>
#include <utility>

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

/**
 * What became of the events that a client was told of. Its callbacks are oneway: they wait for
 * nobody, but a process that takes none for long, such as one that is stopped, has no more room for
 * them, and binder refuses the next.
 */
class Deliveries {
  public:
    /** @param receiver whom the log names, such as "FiRa callback of wpan0". */
    explicit Deliveries(std::string receiver) : receiver_(std::move(receiver)) {}

    /**
     * Notes what binder said of an event; tells when it begins to refuse them, and when it ends.
     *
     * @return false for one that was refused.
     */
    bool Note(const ndk::ScopedAStatus& status);
    /** @return how many have been refused. */
    uint64_t refused() const { return refused_; }

  private:
    std::string receiver_;
    uint64_t refused_ = 0;
    // Since the last that was taken.
    uint64_t in_a_row_ = 0;
};

/** @return OK for a channel of 0 to 15, otherwise BadArgument "Incorrect channel value <n>". */
ndk::ScopedAStatus CheckUwbChannelRange(int channel);

}  // namespace hardware::velta
