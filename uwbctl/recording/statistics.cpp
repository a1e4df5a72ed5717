// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/recording/statistics.h"

#include <algorithm>
#include <cmath>

#include "uwbctl/client/units.h"

namespace uwbctl {
namespace {

// What a trend line and a rate are made from.
constexpr size_t kRecent = 20;

}  // namespace

void PeerStatistics::Add(const Measurement& measurement) {
    // A block counter that goes back is a session that was started anew.
    const int64_t rounds = (static_cast<int64_t>(measurement.block) - latest_.block) / stride_;
    if (seen_ > 0 && !is_away_ && rounds > 1) missing_ += static_cast<uint64_t>(rounds - 1);
    if (is_away_) {
        recent_mm_.clear();
        recent_ns_.clear();
        is_away_ = false;
    }
    seen_++;
    if (measurement.distance_mm) {
        AddDistance(measurement);
    } else {
        failures_++;
    }
    latest_ = measurement;
}

// Welford's method: neither sums of squares nor the values need to be kept.
void PeerStatistics::AddDistance(const Measurement& measurement) {
    const int64_t distance = *measurement.distance_mm;
    minimum_mm_ = distances_ == 0 ? distance : std::min(minimum_mm_, distance);
    maximum_mm_ = distances_ == 0 ? distance : std::max(maximum_mm_, distance);
    distances_++;
    const double delta = static_cast<double>(distance) - mean_mm_;
    mean_mm_ += delta / static_cast<double>(distances_);
    squares_ += delta * (static_cast<double>(distance) - mean_mm_);

    if (!recent_ns_.empty()) {
        const int64_t gap = measurement.timestamp_ns - recent_ns_.back();
        worst_gap_ns_ = std::max(worst_gap_ns_, gap);
        time_ns_ += static_cast<double>(gap);
        intervals_++;
    }
    recent_mm_.push_back(distance);
    recent_ns_.push_back(measurement.timestamp_ns);
    if (recent_mm_.size() > kRecent) {
        recent_mm_.pop_front();
        recent_ns_.pop_front();
    }
}

double PeerStatistics::LossRatio() const {
    const uint64_t all = distances_ + losses();
    return all == 0 ? 0 : static_cast<double>(losses()) / static_cast<double>(all);
}

std::optional<double> PeerStatistics::Mean() const {
    if (distances_ == 0) return std::nullopt;
    return mean_mm_;
}

std::optional<double> PeerStatistics::Spread() const {
    if (distances_ < 2) return std::nullopt;
    return std::sqrt(squares_ / static_cast<double>(distances_ - 1));
}

std::optional<double> PeerStatistics::Rate() const {
    if (recent_ns_.size() < 2 || recent_ns_.back() <= recent_ns_.front()) return std::nullopt;
    return static_cast<double>(recent_ns_.size() - 1) * kNanosecondsPerSecond /
           static_cast<double>(recent_ns_.back() - recent_ns_.front());
}

std::optional<double> PeerStatistics::AverageRate() const {
    if (time_ns_ <= 0) return std::nullopt;
    return static_cast<double>(intervals_) * kNanosecondsPerSecond / time_ns_;
}

}  // namespace uwbctl
