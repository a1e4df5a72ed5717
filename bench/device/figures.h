// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bench/common/sample.h"
#include "bench/device/sides.h"

namespace hardware::velta::bench {

/** How much to measure. */
struct Plan {
    int rounds = 5;
    /** How long and how often, relative to a full run. */
    double scale = 1;

    int Times(int full) const { return std::max(2, static_cast<int>(full * scale)); }
    std::chrono::milliseconds Time(int full_ms) const {
        return std::chrono::milliseconds(static_cast<int>(full_ms * scale));
    }
};

// Each of these prints its samples for all rounds; Failure ends it.

/** A call that is answered without the kernel. */
void MeasureCalls(const Plan& plan);
/** A netlink request with its acknowledgement, in this process. */
void MeasureNetlink(const Plan& plan);
/** Session set-up and tear-down over binder, in time and in system calls. */
void MeasureSessions(const Plan& plan);
/** Age of reports at the client, and CPU time for each. */
void MeasureReports(const Plan& plan);
/** Highest rate of reports at which none is lost. */
void MeasureLosslessRate(const Plan& plan);
/** Calls while the radios are busy. */
void MeasureCallsWhileRanging(const Plan& plan);
/** Start, memory. */
void MeasureFootprint(const Plan& plan);

}  // namespace hardware::velta::bench
