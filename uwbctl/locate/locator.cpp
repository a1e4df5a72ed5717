// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/locator.h"

#include <algorithm>
#include <utility>

namespace uwbctl {

Locator::Locator(std::vector<Anchor> anchors, const SolverOptions& options)
    : anchors_(std::move(anchors)), options_(options), round_(anchors_.size()) {}

Anchor* Locator::Find(const std::string& name) {
    const auto found = std::find_if(anchors_.begin(), anchors_.end(),
                                    [&name](const Anchor& it) { return it.name == name; });
    return found == anchors_.end() ? nullptr : &*found;
}

std::optional<Estimate> Locator::Add(const std::string& anchor, int64_t timestamp_ns,
                                     std::optional<double> metres) {
    const Anchor* found = Find(anchor);
    if (found == nullptr) return std::nullopt;
    Heard& heard = round_[static_cast<size_t>(found - anchors_.data())];
    // Who is asked again begins a round, whoever is missing in the one before.
    std::optional<Estimate> estimate;
    if (heard.is_asked) estimate = Finish();
    heard = {.is_asked = true, .metres = metres};
    timestamp_ns_ = std::max(timestamp_ns_, timestamp_ns);
    const bool is_complete =
        std::all_of(round_.begin(), round_.end(), [](const Heard& it) { return it.is_asked; });
    return is_complete ? Finish() : estimate;
}

std::optional<Estimate> Locator::Add(const std::string& anchor, const Measurement& measurement) {
    constexpr double kMmPerMetre = 1000;
    std::optional<double> metres;
    if (measurement.status == 0 && measurement.distance_mm) {
        metres = static_cast<double>(*measurement.distance_mm) / kMmPerMetre;
    }
    return Add(anchor, measurement.timestamp_ns, metres);
}

void Locator::Move(const std::string& anchor, const Vec3& to) {
    Anchor* found = Find(anchor);
    if (found != nullptr && !found->is_place_said) found->at = to;
}

std::optional<Estimate> Locator::Finish() {
    std::vector<Range> ranges;
    for (size_t i = 0; i < round_.size(); i++) {
        const Heard heard = std::exchange(round_[i], {});
        if (heard.metres) ranges.push_back({.anchor = anchors_[i].at, .metres = *heard.metres});
    }
    Estimate estimate{.timestamp_ns = timestamp_ns_,
                      .answers = ranges.size(),
                      .solution = Locate(ranges, options_)};
    if (estimate.solution.location) options_.near = estimate.solution.location->at;
    return estimate;
}

double AnchorHeight(const std::vector<Anchor>& anchors) {
    double sum = 0;
    for (const Anchor& anchor : anchors) sum += anchor.at.z;
    return anchors.empty() ? 0 : sum / static_cast<double>(anchors.size());
}

}  // namespace uwbctl
