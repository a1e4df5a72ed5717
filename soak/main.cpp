// SPDX-License-Identifier: Apache-2.0

// Uses the service for a long time, on the virtual device, and tells after each cycle what it
// holds: a line of JSON each.
#include <android-base/logging.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <unistd.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/common/options.h"
#include "bench/common/run_main.h"
#include "bench/device/guest.h"
#include "soak/cycle.h"

namespace {

using namespace hardware::velta::soak;
using hardware::velta::bench::Failure;
using hardware::velta::bench::Options;
using hardware::velta::bench::TellRadio;

struct Plan {
    uint32_t seed = 1;
    uint32_t from = 1;
    uint32_t cycles = 1000;
    uint64_t reports = 1000;
    /** When it is there no other cycle begins. */
    std::string end_file;
    /** Keeps the service's objects: what a leak of references looks like. */
    bool keeps_references = false;
};

// So many of these, and something is broken for good.
constexpr int kMaxFailures = 10;

nlohmann::ordered_json Line(uint32_t cycle, const Totals& totals, const Resources& held) {
    return {{"cycle", cycle},
            {"cycles", totals.cycles},
            {"reports", totals.reports},
            {"given", totals.given},
            {"malformed", totals.malformed},
            {"unread", totals.unread},
            {"refused", totals.refused},
            {"overflows", totals.overflows},
            {"countries", totals.countries},
            {"sessions", totals.sessions},
            {"faults", totals.faults},
            {"lost_clients", totals.lost_clients},
            {"reopened", totals.reopened},
            {"resident_kib", held.resident_kib},
            {"anonymous_kib", held.anonymous_kib},
            {"descriptors", held.descriptors},
            {"threads", held.threads},
            {"binder_nodes", held.binder_nodes},
            {"binder_references", held.binder_references},
            {"kernel_sessions", KernelSessions()}};
}

int Soak(const Plan& plan, const std::shared_ptr<IUwb>& uwb) {
    const pid_t service = ServicePid();
    std::vector<std::shared_ptr<IFiraController>> kept;
    Totals totals;
    int failures = 0;
    for (uint32_t number = plan.from; number < plan.from + plan.cycles; number++) {
        if (!plan.end_file.empty() && access(plan.end_file.c_str(), F_OK) == 0) break;
        std::string failure;
        {
            Cycle cycle(uwb, Chance(plan.seed, number), plan.reports, &totals);
            try {
                cycle.Run();
            } catch (const std::exception& error) {
                failure = error.what();
                TellRadio("faults", "clear");
                uwb->close();
            }
            if (plan.keeps_references) {
                for (const auto& controller : cycle.controllers()) kept.push_back(controller);
            }
        }
        // What this process has let go of it tells with its next call.
        for (int i = 0; i < 2; i++) AIBinder_ping(uwb->asBinder().get());
        nlohmann::ordered_json line = Line(number, totals, ReadResources(service));
        if (!failure.empty()) {
            line["failure"] = failure;
            std::cerr << "cycle " << number << " (seed " << plan.seed << "): " << failure
                      << std::endl;
            failures++;
        }
        std::cout << line.dump() << std::endl;
        if (failures == kMaxFailures) break;
        if (totals.cycles == 1 || totals.cycles % 50 == 0) {
            std::cerr << totals.cycles << " cycles, " << totals.reports << " reports" << std::endl;
        }
    }
    return failures == 0 ? 0 : 1;
}

int Run(int argc, char** argv) {
    Plan plan;
    Options options("Uses the UWB service for a long time and tells what it holds.");
    options.Add("--seed", &plan.seed, "what happens by chance");
    options.Add("--from", &plan.from, "the first cycle");
    options.Add("--cycles", &plan.cycles, "how many");
    options.Add("--reports", &plan.reports, "how many each cycle ranges for");
    options.Add("--end-file", &plan.end_file, "when it is there no other cycle begins");
    options.AddFlag("--keep-references", &plan.keeps_references,
                    "as a leak of the service's would be");
    if (const auto status = options.Parse(argc, argv)) return *status;

    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    const std::string instance = std::string(IUwb::descriptor) + "/default";
    const auto uwb =
        IUwb::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
    if (uwb == nullptr) throw Failure("there is no service");
    return Soak(plan, uwb);
}

}  // namespace

int main(int argc, char** argv) {
    return hardware::velta::bench::RunMain(Run, argc, argv);
}
