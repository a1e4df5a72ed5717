// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <thread>

#include "bench/device/figures.h"

namespace hardware::velta::bench {
namespace {

using namespace std::chrono_literals;

constexpr char kRateGroup[] = "lossless rate";

/** Reports come in bursts: so many every block. */
struct Burst {
    int block_ms;
    int size;
    double rate() const { return 1000.0 * size / block_ms; }
};

// Rates a twenty-fifth apart, of the shortest blocks that give them.
std::vector<Burst> Rates(int shortest_ms) {
    std::vector<Burst> rates;
    double next = 100;
    while (next < 20000) {
        Burst best = {shortest_ms, 1};
        double error = 1e9;
        for (int block_ms = shortest_ms; block_ms <= shortest_ms + 9; block_ms++) {
            for (int size = 1; size <= 40; size++) {
                const Burst burst = {block_ms, size};
                const double off = std::abs(burst.rate() - next) + size * 1e-3;
                if (off < error) {
                    error = off;
                    best = burst;
                }
            }
        }
        rates.push_back(best);
        next *= 1.04;
    }
    return rates;
}

// Whether every report of a short session comes.
bool IsLossless(Side* side, int peers, const Burst& burst, std::chrono::milliseconds time) {
    TellRadio("faults", "clear");
    if (burst.size > 1) {
        TellRadio("faults", "0 fira.report repeat " + std::to_string(burst.size) + " always");
    }
    StartSession(*side, NewSession(peers, burst.block_ms));
    std::this_thread::sleep_for(time);
    const int64_t end_ns = NowNs();
    EndSession(side);
    TellRadio("faults", "clear");

    std::map<int32_t, int> copies;
    int64_t last_ns = 0;
    for (const Reports::Report& report : side->reports()->All()) {
        copies[report.block]++;
        last_ns = std::max(last_ns, report.stamp_ns);
    }
    if (copies.empty() || copies.begin()->first != 0) return false;
    // The end of the session may cut what is behind here.
    const int32_t last = copies.rbegin()->first;
    if (last_ns < end_ns - 2LL * burst.block_ms * 1'000'000) return false;
    for (int32_t block = 0; block < last; block++) {
        if (copies[block] != burst.size) return false;
    }
    return true;
}

double HighestRate(Side* side, int peers, std::chrono::milliseconds time, int most_steps) {
    const std::vector<Burst> rates = Rates(ShortestBlockMs(peers));
    size_t good = 0;
    size_t bad = rates.size();
    for (int step = 0; step < most_steps && bad - good > 1; step++) {
        const size_t middle = (good + bad) / 2;
        (IsLossless(side, peers, rates[middle], time) ? good : bad) = middle;
    }
    return rates[good].rate();
}

// What the service gives its reports' socket; the floor gets the same.
int ReceiveBuffer(Side* side) {
    StartSession(*side, NewSession(1, 50));
    const int size = NetlinkReceiveBuffer(side->pid());
    EndSession(side);
    return size;
}

}  // namespace

void MeasureLosslessRate(const Plan& plan) {
    LayOutTags(16);
    Service ours({});
    Floor floor("uwb_fira_floor", std::to_string(ReceiveBuffer(&ours)));
    const auto time = std::max(plan.Time(300), std::chrono::milliseconds(200));
    // More than it takes, unless all that is to be seen is that it works.
    const int steps = plan.Times(50);
    for (int round = 0; round < plan.rounds; round++) {
        for (const int peers : {1, 16}) {
            const double our_rate = HighestRate(&ours, peers, time, steps);
            const double floor_rate = HighestRate(&floor, peers, time, steps);
            Emit({kRateGroup, std::to_string(peers) + (peers == 1 ? " peer" : " peers"), "1/s",
                  RatioAtLeast(0.9)},
                 round, our_rate, floor_rate);
        }
        WriteText(kProcessLog, "");
    }
}

}  // namespace hardware::velta::bench
