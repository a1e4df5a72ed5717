// SPDX-License-Identifier: Apache-2.0
#include "bench/report/result.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "bench/common/sample.h"

namespace hardware::velta::bench {
namespace {

using nlohmann::ordered_json;

Spread SpreadOf(const std::vector<double>& values) {
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    return {Median(values), *lowest, *highest};
}

Row ReadRow(const ordered_json& figure) {
    Row row;
    row.group = figure["group"];
    row.name = figure["name"];
    row.unit = figure["unit"];
    row.goal_kind = figure["goal"]["kind"];
    row.limit = figure["goal"]["limit"];
    const std::vector<double> ours = figure["ours"];
    const std::vector<double> floor = figure["floor"];
    row.rounds = ours.size();
    row.ours = SpreadOf(ours);
    if (floor.empty()) return row;
    row.floor = SpreadOf(floor);
    std::vector<double> ratios;
    for (size_t i = 0; i < floor.size(); i++) {
        if (floor[i] > 0 && ours[i] >= 0) ratios.push_back(ours[i] / floor[i]);
    }
    if (!ratios.empty()) row.ratio = SpreadOf(ratios);
    return row;
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

ordered_json CollectRun(std::istream* samples, ordered_json meta) {
    // A group's lines may come in several parts: by group, then by figure, as they first came.
    std::vector<std::string> groups;
    std::map<std::string, ordered_json> figures;
    ordered_json failures = ordered_json::array();
    std::map<std::string, size_t> places;
    for (std::string line; std::getline(*samples, line);) {
        if (!line.starts_with("{")) continue;
        const auto sample = ordered_json::parse(line);
        const std::string group = sample["group"];
        if (sample.contains("failed")) {
            failures.push_back(group + ": " + sample["failed"].get<std::string>());
            continue;
        }
        if (!figures.contains(group)) groups.push_back(group);
        ordered_json& all = figures[group];
        const std::string key = group + "/" + sample["name"].get<std::string>();
        const auto [place, is_new] = places.try_emplace(key, all.size());
        if (is_new) {
            all.push_back({{"group", group},
                           {"name", sample["name"]},
                           {"unit", sample["unit"]},
                           {"goal", sample["goal"]},
                           {"ours", ordered_json::array()},
                           {"floor", ordered_json::array()}});
        }
        all[place->second]["ours"].push_back(sample["ours"]);
        if (sample.contains("floor")) all[place->second]["floor"].push_back(sample["floor"]);
    }
    ordered_json run = {{"meta", std::move(meta)}, {"figures", ordered_json::array()}};
    for (const std::string& group : groups) {
        for (ordered_json& figure : figures[group]) run["figures"].push_back(std::move(figure));
    }
    run["failures"] = std::move(failures);
    return run;
}

std::string RunText(const ordered_json& run) {
    std::string text = "{\"meta\": " + run["meta"].dump() + ",\n\"figures\": [";
    const char* separator = "\n";
    for (const ordered_json& figure : run["figures"]) {
        text += separator + figure.dump();
        separator = ",\n";
    }
    return text + "\n],\n\"failures\": " + run["failures"].dump() + "}\n";
}

Result ReadResult(const ordered_json& run) {
    Result result;
    result.meta = run.at("meta");
    for (const ordered_json& figure : run.at("figures")) result.rows.push_back(ReadRow(figure));
    for (const ordered_json& failure : run.at("failures")) {
        result.failures.push_back(failure.get<std::string>());
    }
    return result;
}

std::string Digits(double value) {
    char text[32];
    const bool is_whole = value == std::floor(value) && std::fabs(value) < 1e6;
    int decimals = 2;
    if (std::fabs(value) >= 10) decimals = 1;
    if (is_whole || std::fabs(value) >= 100) decimals = 0;
    snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

}  // namespace hardware::velta::bench
