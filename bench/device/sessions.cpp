// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <thread>

#include "bench/device/figures.h"

namespace hardware::velta::bench {
namespace {

using namespace std::chrono_literals;

constexpr char kSessionGroup[] = "FiRa session";
constexpr char kStrace[] = "/bin/strace";
constexpr char kTrace[] = "/tmp/bench.strace";

struct Times {
    double set_up_us;
    double tear_down_us;
};

// The time inside the four calls; what the radio takes to stop is between them.
Times Cycle(Side* side) {
    const FiraTwrSession session = NewSession(1, 50);
    const int64_t start_ns = NowNs();
    StartSession(*side, session);
    Times times = {MicrosecondsSince(start_ns), 0};
    const int64_t stop_ns = NowNs();
    Require(side->fira()->stopRangingSession(kSession), "stopRangingSession");
    times.tear_down_us = MicrosecondsSince(stop_ns);
    if (!side->reports()->WaitForStop(5s)) throw Failure("the session's end was not told");
    // The client hears of the end first: a call that is answered is behind what follows.
    int32_t count = 0;
    side->fira()->getSessionCount(&count);
    const int64_t deinit_ns = NowNs();
    Require(side->fira()->deinitSession(kSession), "deinitSession");
    times.tear_down_us += MicrosecondsSince(deinit_ns);
    return times;
}

// System calls of a process for each of some cycles, told by strace.
double SystemCalls(Side* side, int cycles) {
    unlink(kTrace);
    Process strace({kStrace, "-f", "-qq", "-o", kTrace, "-p", std::to_string(side->pid())}, {});
    const std::string status = "/proc/" + std::to_string(side->pid()) + "/status";
    for (int i = 0; ReadText(status).find("TracerPid:\t0\n") != std::string::npos; i++) {
        if (i == 200) throw Failure("strace did not attach");
        std::this_thread::sleep_for(20ms);
    }
    for (int i = 0; i < cycles; i++) Cycle(side);
    strace.Stop(SIGINT);
    const std::string trace = ReadText(kTrace);
    // A call that blocks has a second line when strace shows several threads; there is one here.
    return static_cast<double>(std::count(trace.begin(), trace.end(), '\n')) / cycles;
}

// A side of the comparison, and what its figures are called behind the service's own.
struct Other {
    Side* side;
    std::string suffix;
};

// The floor takes the session's state over from nobody: each side cleans up behind itself.
void CountSystemCalls(const Plan& plan, Side* ours, const std::vector<Other>& floors) {
    const std::string name = "system calls of a set-up and tear-down, logging";
    for (int round = 0; round < plan.rounds; round++) {
        const int cycles = plan.Times(8);
        const double our_calls = SystemCalls(ours, cycles);
        for (const Other& floor : floors) {
            const Goal goal = floor.suffix.empty() ? ValueAtMost(90) : Goal();
            Emit({kSessionGroup, name + floor.suffix, "calls", goal}, round, our_calls,
                 SystemCalls(floor.side, cycles));
        }
    }
}

struct Medians {
    double up_us;
    double down_us;
    double all_us;
};

Medians MediansOf(const std::vector<Times>& times) {
    std::vector<double> up, down, all;
    for (const Times& cycle : times) {
        up.push_back(cycle.set_up_us);
        down.push_back(cycle.tear_down_us);
        all.push_back(cycle.set_up_us + cycle.tear_down_us);
    }
    return {Median(up), Median(down), Median(all)};
}

}  // namespace

void MeasureSessions(const Plan& plan) {
    LayOutTags(1);
    Service ours({});
    Floor bare("uwb_fira_floor", "0");
    Floor alike("uwb_fira_floor", "alike");
    const std::vector<Other> floors = {{&bare, ""}, {&alike, ", against the same work by hand"}};
    std::vector<Side*> sides = {&ours, &bare, &alike};
    for (Side* side : sides) Cycle(side);
    for (int round = 0; round < plan.rounds; round++) {
        std::map<Side*, std::vector<Times>> times;
        for (int i = 0; i < plan.Times(20); i++) {
            for (Side* side : sides) times[side].push_back(Cycle(side));
        }
        const Medians our_times = MediansOf(times[&ours]);
        for (const Other& floor : floors) {
            const Medians floor_times = MediansOf(times[floor.side]);
            Emit({kSessionGroup, "set-up and tear-down" + floor.suffix, "us", RatioAtMost(1.30)},
                 round, our_times.all_us, floor_times.all_us);
            Emit({kSessionGroup, "set-up: init, start" + floor.suffix, "us"}, round,
                 our_times.up_us, floor_times.up_us);
            Emit({kSessionGroup, "tear-down: stop, deinit" + floor.suffix, "us"}, round,
                 our_times.down_us, floor_times.down_us);
        }
    }
    // Where there is no strace all the rest is measured even so.
    if (access(kStrace, X_OK) == 0) CountSystemCalls(plan, &ours, floors);
}

}  // namespace hardware::velta::bench
