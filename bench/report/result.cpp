// SPDX-License-Identifier: Apache-2.0
#include "bench/report/result.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "bench/common/sample.h"

namespace hardware::velta::bench {
namespace {

struct Samples {
    Row row;
    std::vector<double> ours, floor, ratio;
};

Spread SpreadOf(const std::vector<double>& values) {
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    return {Median(values), *lowest, *highest};
}

void Take(const nlohmann::ordered_json& sample, Samples* all) {
    const double ours = sample["ours"];
    all->ours.push_back(ours);
    if (!sample.contains("floor")) return;
    const double floor = sample["floor"];
    all->floor.push_back(floor);
    if (floor > 0 && ours >= 0) all->ratio.push_back(ours / floor);
}

Row Finish(Samples all) {
    all.row.rounds = all.ours.size();
    all.row.ours = SpreadOf(all.ours);
    if (!all.floor.empty()) all.row.floor = SpreadOf(all.floor);
    if (!all.ratio.empty()) all.row.ratio = SpreadOf(all.ratio);
    return all.row;
}

}  // namespace

bool Row::is_met() const {
    const bool of_ratio = goal_kind.starts_with("ratio");
    // Without a ratio nothing was shown.
    if (of_ratio && !ratio) return false;
    const double value = of_ratio ? ratio->median : ours.median;
    return goal_kind.ends_with("at most") ? value <= limit : value >= limit;
}

std::string Row::Goal() const {
    if (!has_goal()) return "";
    const char* sign = goal_kind.ends_with("at most") ? "≤ " : "≥ ";
    if (goal_kind.starts_with("ratio")) return sign + Digits(limit) + " ×";
    return sign + Digits(limit) + (unit.empty() ? "" : " " + unit);
}

const Row* Result::Find(const Row& like) const {
    const auto found = std::find_if(rows.begin(), rows.end(), [&like](const Row& row) {
        return row.group == like.group && row.name == like.name;
    });
    return found == rows.end() ? nullptr : &*found;
}

Result ReadResult(const nlohmann::ordered_json& run) {
    Result result;
    result.meta = run.at("meta");
    std::vector<Samples> all;
    std::map<std::string, size_t> places, group_places;
    for (const auto& sample : run.at("samples")) {
        const std::string group = sample["group"];
        if (sample.contains("failed")) {
            result.failures.push_back(group + ": " + sample["failed"].get<std::string>());
            continue;
        }
        const std::string name = sample["name"];
        group_places.try_emplace(group, group_places.size());
        const auto [place, is_new] = places.try_emplace(group + "/" + name, all.size());
        if (is_new) {
            Samples samples;
            samples.row.group = group;
            samples.row.name = name;
            samples.row.unit = sample["unit"];
            samples.row.goal_kind = sample["goal"]["kind"];
            samples.row.limit = sample["goal"]["limit"];
            all.push_back(samples);
        }
        Take(sample, &all[place->second]);
    }
    for (Samples& samples : all) result.rows.push_back(Finish(std::move(samples)));
    // A group's lines may come in several parts.
    std::stable_sort(result.rows.begin(), result.rows.end(), [&](const Row& a, const Row& b) {
        return group_places[a.group] < group_places[b.group];
    });
    return result;
}

std::string Digits(double value) {
    char text[32];
    if (value == std::floor(value) && std::fabs(value) < 1e6) {
        snprintf(text, sizeof(text), "%.0f", value);
    } else if (std::fabs(value) >= 100) {
        snprintf(text, sizeof(text), "%.0f", value);
    } else {
        const int decimals = std::fabs(value) >= 10 ? 1 : 2;
        snprintf(text, sizeof(text), "%.*f", decimals, value);
    }
    return text;
}

}  // namespace hardware::velta::bench
