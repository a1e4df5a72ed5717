// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "bench/device/quiet_fira_callback.h"

namespace hardware::velta::soak {

/** Counts what a FiRa client is told; keeps no report. */
class Listener : public bench::QuietFiraCallback {
  public:
    Status onTwrResult(
        const ::aidl::hardware::velta::uwb::FiraRangingData&,
        const std::vector<::aidl::hardware::velta::uwb::FiraTwrMeasurement>&) override;
    Status onSessionStopped(int32_t id, int32_t reason) override;

    /** @return how many reports came so far. */
    uint64_t reports();
    /** Waits until so many have come; false when none comes for patience. */
    bool WaitForReports(uint64_t count, std::chrono::milliseconds patience);
    /** @return why the session stopped, for each time once; nothing when it does not in time. */
    std::optional<int> TakeStop(std::chrono::milliseconds time);

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    uint64_t reports_ = 0;
    std::deque<int> stops_;
};

}  // namespace hardware::velta::soak
