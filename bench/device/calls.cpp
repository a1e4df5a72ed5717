// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "bench/device/figures.h"

namespace hardware::velta::bench {
namespace {

constexpr char kCallGroup[] = "HAL call";
constexpr int kChunk = 25;

struct Timed {
    const Side* side;
    std::vector<double> us;
};

// One round: chunks of calls to each side in turn, so that both see the same machine.
void Call(std::vector<Timed>* sides, int chunks) {
    for (Timed& timed : *sides) timed.us.clear();
    for (int chunk = 0; chunk < chunks; chunk++) {
        for (Timed& timed : *sides) {
            for (int i = 0; i < kChunk; i++) {
                int32_t count = 0;
                const int64_t start_ns = NowNs();
                Require(timed.side->fira()->getSessionCount(&count), "getSessionCount");
                timed.us.push_back(MicrosecondsSince(start_ns));
            }
        }
    }
}

// Whether a service's log can be filtered at all shows only so.
double LinesOfCall(const Side& side) {
    WriteText(kProcessLog, "");
    int32_t count = 0;
    Require(side.fira()->getSessionCount(&count), "getSessionCount");
    const std::string log = ReadText(kProcessLog);
    return static_cast<double>(std::count(log.begin(), log.end(), '\n'));
}

}  // namespace

void MeasureCalls(const Plan& plan) {
    // A later registration takes the name over; the client keeps both.
    const Service quiet({.log_level = "WARNING"});
    const Service logging({});
    const Floor bare("uwb_bare_service", "");
    const Floor bare_logging("uwb_bare_service", "log");
    std::vector<Timed> sides = {{&quiet, {}}, {&bare, {}}, {&logging, {}}, {&bare_logging, {}}};
    Call(&sides, 2);
    const double lines = LinesOfCall(quiet);
    for (int round = 0; round < plan.rounds; round++) {
        Call(&sides, plan.Times(40));
        WriteText(kProcessLog, "");
        const auto us = [&](size_t side) { return Median(sides[side].us); };
        Emit({kCallGroup, "getSessionCount, INFO filtered", "us", RatioAtMost(1.10)}, round, us(0),
             us(1));
        Emit({kCallGroup, "log lines of a call, INFO filtered", "", ValueAtMost(0)}, round, lines);
        Emit({kCallGroup, "getSessionCount, logging", "us", RatioAtMost(1.25)}, round, us(2),
             us(3));
    }
}

}  // namespace hardware::velta::bench
