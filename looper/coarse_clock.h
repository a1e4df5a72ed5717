// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <ctime>

namespace hardware::velta {

/**
 * The monotonic clock, good to a tick of the kernel (4 ms and the like). Unlike the exact one it is
 * read from memory whatever the machine counts time with: for limits of seconds, looked at often.
 */
struct CoarseClock {
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<CoarseClock>;
    // NOLINTNEXTLINE(readability-identifier-naming): as in <chrono>
    static constexpr bool is_steady = true;

    static time_point now() noexcept {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        return time_point(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
    }
};

}  // namespace hardware::velta
