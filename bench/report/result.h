// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <istream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace hardware::velta::bench {

/** Middle and ends of what several rounds gave. */
struct Spread {
    double median = 0;
    double lowest = 0;
    double highest = 0;
};

/** One line of the result: all rounds of one figure. */
struct Row {
    std::string group;
    std::string name;
    std::string unit;
    std::string goal_kind;
    double limit = 0;
    size_t rounds = 0;
    Spread ours;
    std::optional<Spread> floor;
    /** Of the rounds' own ratios, not of the medians. */
    std::optional<Spread> ratio;

    bool has_goal() const { return goal_kind != "none"; }
    bool is_met() const;
    /** @return such as "≤ 1.10 of the floor"; empty without a goal. */
    std::string Goal() const;
};

/** A run of the benchmarks. */
// NOLINTNEXTLINE(bugprone-exception-escape): JSON checks itself by throwing; ours is sound.
struct Result {
    /** What was measured, where and how: names and texts. */
    nlohmann::ordered_json meta;
    /** In the order in which they were measured. */
    std::vector<Row> rows;
    /** Groups that could not be measured, and why. */
    std::vector<std::string> failures;

    const Row* Find(const Row& like) const;
};

/**
 * Gathers samples into a run: an object with "meta", "figures" with the values of all their rounds,
 * and "failures".
 *
 * @param samples one JSON object a line; other lines do not count.
 */
nlohmann::ordered_json CollectRun(std::istream* samples, nlohmann::ordered_json meta);

/** @return the run as text, a figure on each line. */
std::string RunText(const nlohmann::ordered_json& run);

/** Reads what CollectRun() made. */
Result ReadResult(const nlohmann::ordered_json& run);

/** @return a number with three significant digits. */
std::string Digits(double value);

/** @return a table for the terminal. */
std::string TerminalTable(const Result& result);

/** @return the page for the documents. @param before an earlier run to compare with, or null. */
std::string Page(const Result& result, const Result* before, const std::string& notes);

}  // namespace hardware::velta::bench
