// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "uwbctl/client/measurement.h"

namespace uwbctl {

/** What the measurements of one peer add up to. */
class PeerStatistics {
  public:
    /** @param stride how far the block counter goes from one round to the next. */
    explicit PeerStatistics(int64_t stride = 1) : stride_(stride) {}

    /** Takes the next measurement, in the order of their blocks. */
    void Add(const Measurement& measurement);
    /** The peer was taken out: what lies before its next measurement is neither loss nor gap. */
    void Leave() { is_away_ = true; }

    /** @return the latest measurement, failed or not. */
    const Measurement& latest() const { return latest_; }
    /** @return the number of distances. */
    uint64_t distances() const { return distances_; }
    /** @return the number of measurements without a distance, and of blocks that never came. */
    uint64_t losses() const { return failures_ + missing_; }
    /** @return the part of the losses of which there is no measurement: blocks that never came. */
    uint64_t missing() const { return missing_; }
    /** @return the share of losses, 0.0 to 1.0. */
    double LossRatio() const;

    /** Millimetres; nothing before the first distance. */
    std::optional<double> Mean() const;
    /** Standard deviation in millimetres; nothing before the second distance. */
    std::optional<double> Spread() const;
    int64_t minimum_mm() const { return minimum_mm_; }
    int64_t maximum_mm() const { return maximum_mm_; }

    /** @return the longest time between two distances, in nanoseconds; 0 before the second. */
    int64_t worst_gap_ns() const { return worst_gap_ns_; }

    /** @return distances a second over the last few; nothing before the second. */
    std::optional<double> Rate() const;

    /** @return distances a second over all the time; nothing before the second. */
    std::optional<double> AverageRate() const;

    /** @return the last few distances in millimetres, oldest first. */
    const std::deque<int64_t>& recent_mm() const { return recent_mm_; }

  private:
    void AddDistance(const Measurement& measurement);

    int64_t stride_;
    bool is_away_ = false;
    Measurement latest_;
    uint64_t seen_ = 0;
    uint64_t distances_ = 0;
    uint64_t failures_ = 0;
    uint64_t missing_ = 0;
    double mean_mm_ = 0;
    double squares_ = 0;
    int64_t minimum_mm_ = 0;
    int64_t maximum_mm_ = 0;
    int64_t worst_gap_ns_ = 0;
    // Between distances, without the time away.
    double time_ns_ = 0;
    uint64_t intervals_ = 0;
    std::deque<int64_t> recent_mm_;
    std::deque<int64_t> recent_ns_;
};

}  // namespace uwbctl
