// SPDX-License-Identifier: Apache-2.0

// Measures the service on the virtual device beside its floors; one line of JSON for each sample.
#include <android-base/logging.h>
#include <android/binder_process.h>

#include <iostream>

#include "bench/common/options.h"
#include "bench/common/run_main.h"
#include "bench/device/figures.h"

namespace {

using namespace hardware::velta::bench;

struct Group {
    const char* name;
    void (*measure)(const Plan&);
};
constexpr Group kGroups[] = {
    {"calls", MeasureCalls},         {"netlink", MeasureNetlink},
    {"sessions", MeasureSessions},   {"reports", MeasureReports},
    {"rate", MeasureLosslessRate},   {"ranging", MeasureCallsWhileRanging},
    {"footprint", MeasureFootprint},
};

bool Measure(const Group& group, const Plan& plan) {
    std::cerr << "measuring: " << group.name << std::endl;
    try {
        group.measure(plan);
        return true;
    } catch (const std::exception& error) {
        const std::string log = ReadText(kProcessLog);
        std::cerr << "error: " << group.name << ": " << error.what() << "\n"
                  << log.substr(log.size() > 2000 ? log.size() - 2000 : 0) << std::endl;
        EmitFailure(group.name, 0, error.what());
        TellRadio("faults", "clear");
        return false;
    }
}

int Run(int argc, char** argv) {
    Plan plan;
    std::string service = "hardware.velta.uwb-service";
    std::vector<std::string> names;
    Options options("Measures the UWB service beside its floors.");
    options.Add("--rounds", &plan.rounds, "how often each figure is taken");
    options.Add("--scale", &plan.scale, "how long to measure, relative to a full run");
    options.Add("--service", &service, "the service's program");
    options.Add("groups", &names, "which figures; all without");
    if (const auto status = options.Parse(argc, argv)) return *status;

    // What the project's own classes log in this process is of no interest.
    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    SetServiceProgram(service);
    bool ok = true;
    for (const Group& group : kGroups) {
        if (names.empty() || std::find(names.begin(), names.end(), group.name) != names.end()) {
            ok = Measure(group, plan) && ok;
        }
    }
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    return hardware::velta::bench::RunMain(Run, argc, argv);
}
