// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "bench/device/figures.h"

namespace hardware::velta::bench {
namespace {

using namespace std::chrono_literals;

constexpr char kGroup[] = "FiRa session";
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

// The floor takes the session's state over from nobody: each side cleans up behind itself.
void CountSystemCalls(const Plan& plan, Side* ours, Side* floor) {
    for (int round = 0; round < plan.rounds; round++) {
        const int cycles = plan.Times(8);
        const double our_calls = SystemCalls(ours, cycles);
        const double floor_calls = SystemCalls(floor, cycles);
        Emit({kGroup, "system calls of a set-up and tear-down, logging", "calls", ValueAtMost(90)},
             round, our_calls, floor_calls);
    }
}

}  // namespace

void MeasureSessions(const Plan& plan) {
    LayOutTags(1);
    Service ours({});
    Floor floor("uwb_fira_floor", "0");
    Cycle(&ours);
    Cycle(&floor);
    for (int round = 0; round < plan.rounds; round++) {
        std::vector<double> up[2], down[2], all[2];
        for (int i = 0; i < plan.Times(20); i++) {
            for (int side = 0; side < 2; side++) {
                const Times times =
                    Cycle(side == 0 ? static_cast<Side*>(&ours) : static_cast<Side*>(&floor));
                up[side].push_back(times.set_up_us);
                down[side].push_back(times.tear_down_us);
                all[side].push_back(times.set_up_us + times.tear_down_us);
            }
        }
        Emit({kGroup, "set-up and tear-down", "us", RatioAtMost(1.30)}, round, Median(all[0]),
             Median(all[1]));
        Emit({kGroup, "set-up: init, start", "us"}, round, Median(up[0]), Median(up[1]));
        Emit({kGroup, "tear-down: stop, deinit", "us"}, round, Median(down[0]), Median(down[1]));
    }
    // Where there is no strace all the rest is measured even so.
    if (access(kStrace, X_OK) == 0) CountSystemCalls(plan, &ours, &floor);
}

}  // namespace hardware::velta::bench
