// SPDX-License-Identifier: Apache-2.0
#include <thread>
#include <utility>

#include "bench/device/figures.h"

namespace hardware::velta::bench {
namespace {

using namespace std::chrono_literals;

constexpr char kReportGroup[] = "ranging reports";

struct Load {
    int peers;
    int rate;
    /** Milliseconds of a full run. */
    int time_ms;
};

struct Cost {
    double age_us;
    double age99_us;
    double cpu_us;
    double arrived;
};

Cost Range(Side* side, const Load& load, std::chrono::milliseconds time) {
    // What blocks are too long for comes in copies.
    const int block_ms = std::max(1000 / load.rate, ShortestBlockMs(load.peers));
    const int copies = load.rate * block_ms / 1000;
    if (copies > 1) {
        TellRadio("faults", "0 fira.report repeat " + std::to_string(copies) + " always");
    }
    StartSession(*side, NewSession(load.peers, block_ms));
    side->reports()->WaitFor(1, 3s);
    const int64_t start_ns = NowNs();
    const int64_t cpu_before_ns = CpuTimeNs(side->pid());
    std::this_thread::sleep_for(time);
    const int64_t cpu_ns = CpuTimeNs(side->pid()) - cpu_before_ns;
    const int64_t end_ns = NowNs();
    EndSession(side);

    TellRadio("faults", "clear");

    std::vector<double> ages;
    int arrived = 0;
    int in_time = 0;
    int32_t last_block = -1;
    for (const Reports::Report& report : side->reports()->All()) {
        const bool is_first = std::exchange(last_block, report.block) != report.block;
        if (report.stamp_ns >= start_ns && report.stamp_ns < end_ns) {
            arrived++;
            if (is_first) ages.push_back(report.age_us());
        }
        if (report.arrived_ns >= start_ns && report.arrived_ns < end_ns) in_time++;
    }
    if (ages.empty() || in_time == 0) throw Failure("no reports came");
    const double sent = copies * ReportsIn(end_ns - start_ns, block_ms);
    return {.age_us = Median(ages),
            .age99_us = Percentile(ages, 0.99),
            .cpu_us = static_cast<double>(cpu_ns) / 1e3 / in_time,
            .arrived = std::min(1.0, arrived / sent)};
}

std::string NameOf(const Load& load) {
    return std::to_string(load.peers) + (load.peers == 1 ? " peer, " : " peers, ") +
           std::to_string(load.rate) + "/s: ";
}

void Print(const Load& load, int round, const Cost& ours, const Cost& floor) {
    const std::string name = NameOf(load);
    Emit({kReportGroup, name + "age at the client", "us", RatioAtMost(1.15)}, round, ours.age_us,
         floor.age_us);
    Emit({kReportGroup, name + "age, 99 of 100", "us"}, round, ours.age99_us, floor.age99_us);
    Emit({kReportGroup, name + "CPU time of a report", "us", RatioAtMost(1.3)}, round, ours.cpu_us,
         floor.cpu_us);
    Emit({kReportGroup, name + "share that arrived", ""}, round, ours.arrived, floor.arrived);
}

void PrintConverting(const Load& load, int round, const Cost& ours, const Cost& floor) {
    const std::string name = NameOf(load);
    Emit({kReportGroup, name + "age, against a relay that converts", "us"}, round, ours.age_us,
         floor.age_us);
    Emit({kReportGroup, name + "CPU time, against a relay that converts", "us"}, round, ours.cpu_us,
         floor.cpu_us);
}

}  // namespace

void MeasureReports(const Plan& plan) {
    LayOutTags(16);
    Service ours({});
    Floor floor("uwb_fira_floor", "0");
    Floor converting("uwb_fira_floor", "convert");
    for (int round = 0; round < plan.rounds; round++) {
        for (const int peers : {1, 8, 16}) {
            for (const auto& [rate, time_ms] : {std::pair(5, 4000), {50, 2000}, {500, 1000}}) {
                const Load load = {peers, rate, time_ms};
                const auto time = std::max(plan.Time(time_ms), std::chrono::milliseconds(450));
                const Cost our_cost = Range(&ours, load, time);
                Print(load, round, our_cost, Range(&floor, load, time));
                // One rate shows it: it is the same work for each report.
                if (rate != 50) continue;
                PrintConverting(load, round, our_cost, Range(&converting, load, time));
            }
        }
        WriteText(kProcessLog, "");
    }
}

}  // namespace hardware::velta::bench
