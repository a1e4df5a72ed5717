// SPDX-License-Identifier: Apache-2.0
#include "bench/common/sample.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace hardware::velta::bench {
namespace {

using nlohmann::ordered_json;

const char* KindName(Goal::Kind kind) {
    switch (kind) {
        case Goal::Kind::kRatioAtMost:
            return "ratio at most";
        case Goal::Kind::kRatioAtLeast:
            return "ratio at least";
        case Goal::Kind::kValueAtMost:
            return "value at most";
        case Goal::Kind::kValueAtLeast:
            return "value at least";
        case Goal::Kind::kNone:
            break;
    }
    return "none";
}

void Print(const ordered_json& line) {
    printf("%s\n", line.dump().c_str());
    // A reader follows a run that takes minutes.
    fflush(stdout);
}

}  // namespace

void Emit(const Figure& figure, int round, double ours, std::optional<double> floor) {
    ordered_json line = {
        {"group", figure.group},
        {"name", figure.name},
        {"unit", figure.unit},
        {"goal", {{"kind", KindName(figure.goal.kind)}, {"limit", figure.goal.limit}}},
        {"round", round},
        {"ours", ours}};
    if (floor) line["floor"] = *floor;
    Print(line);
}

void EmitFailure(const std::string& group, int round, const std::string& why) {
    Print({{"group", group}, {"round", round}, {"failed", why}});
}

double Percentile(std::vector<double> values, double share) {
    if (values.empty()) return 0;
    const auto rank = std::lround(share * static_cast<double>(values.size() - 1));
    const auto nth = values.begin() + rank;
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

double Median(std::vector<double> values) {
    return Percentile(std::move(values), 0.5);
}

}  // namespace hardware::velta::bench
