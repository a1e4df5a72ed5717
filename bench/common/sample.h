// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace hardware::velta::bench {

/** What a figure has to keep to; for a ratio it is the median over the rounds that counts. */
struct Goal {
    enum class Kind {
        /** For information. */
        kNone,
        kRatioAtMost,
        kRatioAtLeast,
        /** The service's own value, in the figure's unit. */
        kValueAtMost,
        kValueAtLeast,
    };
    Kind kind = Kind::kNone;
    double limit = 0;
};

inline Goal RatioAtMost(double limit) {
    return {Goal::Kind::kRatioAtMost, limit};
}
inline Goal RatioAtLeast(double limit) {
    return {Goal::Kind::kRatioAtLeast, limit};
}
inline Goal ValueAtMost(double limit) {
    return {Goal::Kind::kValueAtMost, limit};
}
inline Goal ValueAtLeast(double limit) {
    return {Goal::Kind::kValueAtLeast, limit};
}

/** A line of the result. */
struct Figure {
    /** Table that the line belongs to. */
    std::string group;
    /** Unique within the group. */
    std::string name;
    std::string unit;
    Goal goal = {};
};

/**
 * Prints what one round measured as one line of JSON on standard output.
 *
 * @param floor measured beside it in the same round; none for a figure without a floor.
 */
void Emit(const Figure& figure, int round, double ours, std::optional<double> floor = {});

/** Prints, in the same form, that figures of a group could not be measured in a round. */
void EmitFailure(const std::string& group, int round, const std::string& why);

/** @return the value below which the share lies, 0 to 1; 0 when there are no values. */
double Percentile(std::vector<double> values, double share);
double Median(std::vector<double> values);

}  // namespace hardware::velta::bench
