// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <random>
#include <thread>

#include "bench/device/figures.h"
#include "bench/device/neighbours.h"

namespace hardware::velta::bench {
namespace {

using namespace std::chrono_literals;

constexpr char kBusyCallGroup[] = "calls while ranging";
constexpr char kReportsGroup[] = "20 reports a second beside CCC";
constexpr int kBlocksMs[] = {20, 100, 200, 1000};

struct Beside {
    const char* name;
    std::unique_ptr<Neighbour> (*start)(const Service&);
};
constexpr Beside kBeside[] = {
    {"alone", nullptr},
    {"beside CCC", NewCccNeighbour},
    {"beside simple ranging", NewSimpleRangingNeighbour},
};

// Calls at moments that have nothing to do with the radio's, as long as the time lasts.
std::vector<double> CallFor(const Service& service, std::chrono::milliseconds time) {
    constexpr size_t kFewest = 4;
    constexpr size_t kMost = 2000;
    // The same moments in each run.
    static std::minstd_rand random(1);  // NOLINT(cert-msc32-c, cert-msc51-cpp)
    std::uniform_int_distribution<int> pause_us(200, 3000);
    std::vector<double> us;
    const int64_t end_ns = NowNs() + std::chrono::nanoseconds(time).count();
    while ((NowNs() < end_ns || us.size() < kFewest) && us.size() < kMost) {
        std::this_thread::sleep_for(std::chrono::microseconds(pause_us(random)));
        int32_t count = 0;
        const int64_t start_ns = NowNs();
        Require(service.fira()->getSessionCount(&count), "getSessionCount");
        us.push_back(MicrosecondsSince(start_ns));
    }
    return us;
}

// One state of the radios, many calls.
void MeasureState(const Plan& plan, Service* service, const std::string& mode, int round,
                  const Beside& beside) {
    // What ships is held to the goals; reading in turns is there to compare.
    const bool counts = mode == "event";
    for (const int block_ms : kBlocksMs) {
        const std::vector<double> idle = CallFor(*service, plan.Time(600));
        std::vector<double> us;
        {
            StartSession(*service, NewSession(1, block_ms));
            std::unique_ptr<Neighbour> neighbour;
            if (beside.start != nullptr) neighbour = beside.start(*service);
            us = CallFor(*service, plan.Time(2500));
        }
        EndSession(service);
        const std::string name =
            mode + ", " + beside.name + ", blocks of " + std::to_string(block_ms) + " ms: ";
        Emit({kBusyCallGroup, name + "median against idle", "us", counts ? RatioAtMost(2) : Goal()},
             round, Median(us), Median(idle));
        Emit({kBusyCallGroup, name + "99 of 100", "ms", counts ? ValueAtMost(10) : Goal()}, round,
             Percentile(us, 0.99) / 1e3);
    }
}

struct Arrivals {
    double share;
    double age_ms;
};

Arrivals Listen(Service* service, const Beside& beside, std::chrono::milliseconds time) {
    constexpr int kBlockMs = 50;
    StartSession(*service, NewSession(1, kBlockMs));
    std::unique_ptr<Neighbour> neighbour;
    if (beside.start != nullptr) neighbour = beside.start(*service);
    const int64_t start_ns = NowNs();
    std::this_thread::sleep_for(time);
    const int64_t end_ns = NowNs();
    // What was sent by then is there at the latest when the session's end is told.
    EndSession(service);
    std::vector<double> ages;
    for (const Reports::Report& report : service->reports()->All()) {
        if (report.stamp_ns < start_ns || report.stamp_ns >= end_ns) continue;
        ages.push_back(report.age_us() / 1e3);
    }
    const double sent = ReportsIn(end_ns - start_ns, kBlockMs);
    const double share = std::min(1.0, static_cast<double>(ages.size()) / sent);
    // Where none comes at all its age is at least as long as was waited.
    if (ages.empty()) ages.push_back(static_cast<double>(end_ns - start_ns) / 1e6);
    return {.share = share, .age_ms = Median(ages)};
}

void MeasureArrivals(const Plan& plan, Service* service, const std::string& mode, int round) {
    const bool counts = mode == "event";
    const auto time = plan.Time(4000);
    const Arrivals alone = Listen(service, kBeside[0], time);
    const Arrivals beside_ccc = Listen(service, kBeside[1], time);
    Emit({kReportsGroup, mode + ": share that arrived", "", counts ? ValueAtLeast(1) : Goal()},
         round, beside_ccc.share);
    Emit({kReportsGroup, mode + ": median age against FiRa alone", "ms",
          counts ? RatioAtMost(1.5) : Goal()},
         round, beside_ccc.age_ms, alone.age_ms);
}

}  // namespace

void MeasureCallsWhileRanging(const Plan& plan) {
    LayOutTags(1);
    for (int round = 0; round < plan.rounds; round++) {
        for (const char* mode : {"event", "poll"}) {
            Service service({.notifications = mode});
            for (const Beside& beside : kBeside) {
                MeasureState(plan, &service, mode, round, beside);
            }
            MeasureArrivals(plan, &service, mode, round);
            WriteText(kProcessLog, "");
        }
    }
}

}  // namespace hardware::velta::bench
