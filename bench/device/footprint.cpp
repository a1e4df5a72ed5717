// SPDX-License-Identifier: Apache-2.0
#include "bench/device/figures.h"

namespace hardware::velta::bench {

void MeasureFootprint(const Plan& plan) {
    constexpr char kGroup[] = "footprint";
    for (int round = 0; round < plan.rounds; round++) {
        std::vector<double> start_ms[3], pss_kib[3];
        const auto take = [&](int which, const Side& side) {
            start_ms[which].push_back(side.start_ms());
            pss_kib[which].push_back(PssKib(side.pid()));
        };
        // One at a time: two of a kind would share their pages.
        for (int i = 0; i < plan.Times(6); i++) {
            take(0, Service({.opens = false}));
            take(1, Floor("uwb_bare_package", ""));
            take(2, Floor("uwb_bare_service", ""));
        }
        Emit({kGroup, "start until registered", "ms", RatioAtMost(1.2)}, round, Median(start_ms[0]),
             Median(start_ms[1]));
        Emit({kGroup, "proportional set size", "KiB", RatioAtMost(1.3)}, round, Median(pss_kib[0]),
             Median(pss_kib[1]));
        Emit({kGroup, "start, against one bare interface", "ms"}, round, Median(start_ms[0]),
             Median(start_ms[2]));
        Emit({kGroup, "proportional set size, against one bare interface", "KiB"}, round,
             Median(pss_kib[0]), Median(pss_kib[2]));
    }
}

}  // namespace hardware::velta::bench
