// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/locator.h"

#include <algorithm>
#include <utility>

namespace uwbctl {

Locator::Locator(std::vector<Anchor> anchors, const SolverOptions& options)
    : anchors_(std::move(anchors)), options_(options), round_(anchors_.size()) {}

std::optional<Estimate> Locator::Add(const std::string& anchor, int64_t timestamp_ns,
                                     std::optional<double> metres) {
    const auto found = std::find_if(anchors_.begin(), anchors_.end(),
                                    [&anchor](const Anchor& it) { return it.name == anchor; });
    if (found == anchors_.end()) return std::nullopt;
    Heard& heard = round_[found - anchors_.begin()];
    // Who is asked again begins a round, whoever is missing in the one before.
    std::optional<Estimate> estimate;
    if (heard.is_asked) estimate = Finish();
    heard = {.is_asked = true, .metres = metres};
    timestamp_ns_ = std::max(timestamp_ns_, timestamp_ns);
    const bool is_complete =
        std::all_of(round_.begin(), round_.end(), [](const Heard& it) { return it.is_asked; });
    return is_complete ? Finish() : estimate;
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
