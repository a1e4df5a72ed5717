// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cstdio>

#include "bench/report/result.h"

namespace hardware::velta::bench {
namespace {

constexpr char kRed[] = "\033[31m";
constexpr char kGreen[] = "\033[32m";
constexpr char kPlain[] = "\033[0m";

std::string ColouredVerdict(const Row& row) {
    if (!row.has_goal()) return "";
    std::string text = row.is_met() ? "met" : "MISSED";
    if (isatty(STDOUT_FILENO) == 0) return text;
    return (row.is_met() ? kGreen : kRed) + text + kPlain;
}

// printf() counts bytes: a sign of several would shift what follows.
std::string Pad(const std::string& text, size_t width) {
    size_t shown = 0;
    for (const char c : text) shown += (c & 0xC0) != 0x80 ? 1 : 0;
    return shown < width ? text + std::string(width - shown, ' ') : text;
}

std::string Line(const Row& row) {
    std::string text = "  " + Pad(row.name, 68);
    char numbers[128];
    const std::string floor = row.floor ? Digits(row.floor->median) : "-";
    snprintf(numbers, sizeof(numbers), "%9s %9s %-4s", Digits(row.ours.median).c_str(),
             floor.c_str(), row.unit.c_str());
    text += numbers;
    if (row.ratio) {
        snprintf(numbers, sizeof(numbers), "%7s (%s to %s)", Digits(row.ratio->median).c_str(),
                 Digits(row.ratio->lowest).c_str(), Digits(row.ratio->highest).c_str());
    } else {
        snprintf(numbers, sizeof(numbers), "%7s", "-");
    }
    return text + Pad(numbers, 26) + Pad(row.Goal(), 14) + ColouredVerdict(row) + "\n";
}

}  // namespace

std::string TerminalTable(const Result& result) {
    std::string text;
    std::string group;
    size_t goals = 0;
    size_t met = 0;
    for (const Row& row : result.rows) {
        if (row.group != group) {
            group = row.group;
            text += "\n" + Pad(group, 70) +
                    "     ours     floor unit  ratio (lowest to highest)  goal\n";
        }
        text += Line(row);
        goals += row.has_goal() ? 1 : 0;
        met += row.has_goal() && row.is_met() ? 1 : 0;
    }
    for (const std::string& failure : result.failures) text += "\nNOT MEASURED: " + failure;
    text += "\n" + std::to_string(met) + " of " + std::to_string(goals) + " goals met\n";
    return text;
}

}  // namespace hardware::velta::bench
