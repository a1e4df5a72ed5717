// SPDX-License-Identifier: Apache-2.0

// The page of the documents.
#include <algorithm>

#include "bench/report/result.h"

namespace hardware::velta::bench {
namespace {

struct Group {
    const char* name;
    const char* text;
};

// What each group measures, and where its floor comes from.
constexpr Group kGroups[] = {
    {"HAL call", R"(
`getSessionCount` from another process while nothing ranges: the cost of a call that needs no
kernel. Floor: `bench/floors/bare_service.cpp`, a polled binder service that answers the same call
and does nothing else; with logging it writes one line of a log, formatted by the C library. Logs
go to a file in memory on both sides. Chunks of 25 calls to each side in turn.)"},
    {"netlink request", R"(
A request that changes nothing (a FiRa session's block stride), sent and acknowledged on one socket,
log filtered. Floors, in the same process and in turn for each request: plain libnl
(`nl_send_auto()`, `nl_wait_for_ack()`), and `send()` and `recv()` of ready bytes.)"},
    {"FiRa session", R"(
`initNewTwrSession`, `startRangingSession`, `stopRangingSession`, `deinitSession`, with the log at
INFO: the time inside the calls. Floor: `bench/floors/fira_floor.cpp`, the same messages to the
kernel by plain libnl (`plain_radio.cpp`) behind the same binder calls, one socket for all requests
and one for reports, no log. "The same work by hand": the same, but with a socket for each request,
the interface's state asked whenever the service asks it, and as many lines of log as the service
writes, which all belong to what the service has to do; what it costs beyond that is its own doing.
System calls are counted by strace, from the first call to the last, what the
loop does in between included.)"},
    {"ranging reports", R"(
Age of a report when the client's callback has it, counted from the timestamp of its ranging block,
and CPU time (`/proc/PID/task/*/schedstat`) that the process spends for each. Floor: the relay in
`bench/floors/fira_floor.cpp`, which receives one netlink message and makes one oneway call with a
record of the same size that it filled once. 16 peers do not fit into blocks of 2 ms: their 500/s are
two copies every 4 ms, of which the first one's age counts. The same relay converting each report by hand
(`plain_report.cpp`) shows what is left to a service that has to convert. One side after the other.)"},
    {"lossless rate", R"(
Highest rate of reports at which every one reaches the client, found by halving over rates 4 % apart
(bursts of reports every 1 to 13 ms: a block has room for its peers' slots). Floor: the same relay, with the receive buffer that
the service's socket was seen to have.)"},
    {"calls while ranging", R"(
`getSessionCount` at moments that have nothing to do with the radio's, while radio 0 ranges and
radio 1 does nothing, runs a CCC session or does simple ranging. The floor is the same call to the
same service a moment before, with nothing going on. `event` and `poll` are values of
`ro.vendor.uwb.hal.notifications`; goals are for `event`.)"},
    {"20 reports a second beside CCC", R"(
FiRa reports every 50 ms on radio 0 while radio 1 runs a CCC session. The floor is the same session
alone. Where no report comes at all, its age is given as the time that was waited.)"},
    {"footprint", R"(
Start: from `fork()` until a client hears that the service is registered. Memory: PSS once it is.
Size: stripped, unused sections collected on both sides. Floor: `bench/floors/bare_package.cpp`, a
polled service that offers the whole interface package and does nothing; beside it, for information,
`bare_service.cpp` with one of its interfaces.)"},
    {"instructions on the host", R"(
Instructions counted by callgrind, log filtered. The results of both sides are compared first.
Floors in `bench/host/` and `bench/floors/plain_*.cpp`: the same attributes by bare libnl puts; one
walk over the report's bytes into the interface's records; a file read at once and cut by hand into
the same kind of map; a loop that puts that map's entries. A straight line is fitted through the
sizes; the distance from it is in percent of the largest point.)"},
};

std::string Values(const Spread& spread, const std::string& unit) {
    return Digits(spread.median) + (unit.empty() ? "" : " " + unit);
}

std::string Ratio(const Row& row) {
    if (!row.ratio) return "";
    return Digits(row.ratio->median) + " (" + Digits(row.ratio->lowest) + " – " +
           Digits(row.ratio->highest) + ")";
}

std::string MarkedVerdict(const Row& row) {
    if (!row.has_goal()) return "";
    return row.is_met() ? "met" : "**missed**";
}

std::string Cells(const Row& row) {
    return Values(row.ours, row.unit) + " | " +
           (row.floor ? Values(*row.floor, row.unit) : std::string()) + " | " + Ratio(row);
}

std::string TableRow(const Row& row, const Result* before) {
    std::string text = "| " + row.name + " | ";
    if (before != nullptr) {
        const Row* old = before->Find(row);
        if (old == nullptr) {
            text += "| | | ";
        } else {
            text += Values(old->ours, old->unit) + " | " + Ratio(*old) + " | " +
                    MarkedVerdict(*old) + " | ";
        }
    }
    return text + Cells(row) + " | " + row.Goal() + " | " + MarkedVerdict(row) + " |\n";
}

std::string Table(const std::string& group, const Result& result, const Result* before) {
    std::string text;
    for (const Row& row : result.rows) {
        if (row.group == group) text += TableRow(row, before);
    }
    if (text.empty()) return "";
    const char* head =
        before == nullptr
            ? "| figure | service | floor | ratio | goal | |\n|---|---|---|---|---|---|\n"
            : "| figure | before | ratio before | | service | floor | ratio | goal | |\n"
              "|---|---|---|---|---|---|---|---|---|\n";
    return head + text + "\n";
}

std::string Meta(const char* title, const Result& result) {
    std::string text = std::string("| ") + title + " | |\n|---|---|\n";
    for (const auto& [name, value] : result.meta.items()) {
        text += "| " + name + " | " + value.get<std::string>() + " |\n";
    }
    return text + "\n";
}

std::string Missed(const Result& result) {
    size_t goals = 0;
    std::string missed;
    size_t misses = 0;
    for (const Row& row : result.rows) {
        if (!row.has_goal()) continue;
        goals++;
        if (row.is_met()) continue;
        misses++;
        const bool is_ratio = row.goal_kind.starts_with("ratio") && row.ratio;
        missed += "- " + row.group + ", " + row.name + ": " +
                  (is_ratio ? Digits(row.ratio->median) + " ×" : Values(row.ours, row.unit)) +
                  ", goal " + row.Goal() + "\n";
    }
    std::string text =
        std::to_string(goals - misses) + " of " + std::to_string(goals) + " goals are met.";
    text += misses == 0 ? "\n" : " Missed:\n\n" + missed;
    for (const std::string& failure : result.failures) {
        text += "\n**Not measured**: " + failure + "\n";
    }
    return text + "\n";
}

}  // namespace

std::string Page(const Result& result, const Result* before, const std::string& notes) {
    std::string text =
        "# Performance\n\n"
        "<!-- Made by ./dev bench from its JSON; not to be edited. -->\n\n"
        "Every figure is a ratio of the service to a floor: a small program that does only what "
        "cannot be left out, built with the same flags, measured in the same run and in turn. The "
        "virtual device is an emulation, so that absolute values mean little. Values are medians "
        "over the rounds, in brackets the lowest and highest ratio of a round; a goal is held "
        "against the median.\n\n"
        "    ./dev bench                      # all of it, this page included\n"
        "    ./dev bench --quick              # under three minutes\n"
        "    ./dev bench --rev REV --output before.json   # another commit's service\n"
        "    ./dev bench --before before.json             # beside that\n\n";
    text += Meta("this run", result);
    if (before != nullptr) text += Meta("the run before", *before);
    text += "## Goals\n\n" + Missed(result);
    if (!notes.empty()) text += notes + "\n";
    for (const Group& group : kGroups) {
        const std::string table = Table(group.name, result, before);
        if (!table.empty()) {
            text += std::string("## ") + static_cast<char>(toupper(group.name[0])) +
                    (group.name + 1) + "\n" + group.text + "\n\n" + table;
        }
    }
    while (text.ends_with("\n\n")) text.pop_back();
    return text;
}

}  // namespace hardware::velta::bench
