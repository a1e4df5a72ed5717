// SPDX-License-Identifier: Apache-2.0

// Counts the instructions of the service's own work and of its floors, under callgrind.
//   uwb_host_bench ROUNDS                   one line of JSON for each sample
//   uwb_host_bench check                    whether both sides of each come to the same result
//   uwb_host_bench run KIND ours|floor SIZE what it runs itself under callgrind
#include <android-base/logging.h>
#include <netlink/msg.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "bench/common/run_main.h"
#include "bench/common/sample.h"
#include "bench/host/task.h"

using hardware::velta::bench::Task;

// callgrind counts only what is inside this function.
extern "C" __attribute__((noinline)) void uwb_bench_measured(Task* task) {
    task->Run();
}

namespace {

using namespace hardware::velta::bench;

constexpr char kGroup[] = "instructions on the host";
constexpr int kRuns = 5;

const Kind kKinds[] = {
    {"encode session parameters", "sessions", 1.1, {1}, NewEncode, NewPlainEncode},
    {"parse a report", "peers", 1.15, {1, 2, 4, 8, 16, 32}, NewParse, NewPlainParse},
    {"load a configuration file", "lines", 1.15, {16, 64, 256, 1024}, NewLoad, NewPlainLoad},
    {"pack calibration", "keys", 1.3, {16, 64, 256, 1024}, NewPack, NewPlainPack},
};

std::unique_ptr<Task> NewTask(const Kind& kind, bool is_ours, int size) {
    return is_ours ? kind.ours(size) : kind.floor(size);
}

void RunTask(const Kind& kind, bool is_ours, int size) {
    const std::unique_ptr<Task> task = NewTask(kind, is_ours, size);
    // The first runs settle the allocator and the dynamic linker.
    for (int i = 0; i < 3; i++) {
        task->Prepare();
        task->Run();
    }
    for (int i = 0; i < kRuns; i++) {
        task->Prepare();
        uwb_bench_measured(task.get());
    }
}

// A floor that did less would be no floor.
void CheckSameResults(const Kind& kind) {
    for (const int size : kind.sizes) {
        std::string results[2];
        for (const bool is_ours : {true, false}) {
            const std::unique_ptr<Task> task = NewTask(kind, is_ours, size);
            task->Prepare();
            task->Run();
            results[is_ours ? 0 : 1] = task->Result();
        }
        CHECK_EQ(results[0], results[1]) << kind.name;
    }
}

// @return instructions of one run, told by callgrind.
double Count(const std::string& self, size_t kind, bool is_ours, int size) {
    const std::string command =
        "LD_BIND_NOW=1 valgrind --tool=callgrind --callgrind-out-file=/dev/null "
        "--collect-atstart=no "
        "--toggle-collect=uwb_bench_measured '" +
        self + "' run " + std::to_string(kind) + (is_ours ? " ours " : " floor ") +
        std::to_string(size) + " 2>&1";
    FILE* pipe = popen(command.c_str(), "re");  // NOLINT(cert-env33-c): our own words.
    double collected = -1;
    std::string output;
    std::array<char, 512> line = {};
    while (fgets(line.data(), line.size(), pipe) != nullptr) {
        output += line.data();
        const std::string text = line.data();
        const size_t at = text.find("Collected : ");
        if (at != text.npos) collected = std::stod(text.substr(at + sizeof("Collected : ") - 1));
    }
    CHECK(pclose(pipe) == 0 && collected > 0) << command << "\n" << output;
    return collected / kRuns;
}

struct Line {
    double per_size;
    double fixed;
    /** Largest distance of a point from the line, in percent of the largest point. */
    double residual;
};

Line Fit(const std::vector<int>& sizes, const std::vector<double>& counts) {
    const auto n = static_cast<double>(sizes.size());
    double sum_x = 0, sum_y = 0, sum_xx = 0, sum_xy = 0;
    for (size_t i = 0; i < sizes.size(); i++) {
        sum_x += sizes[i];
        sum_y += counts[i];
        sum_xx += static_cast<double>(sizes[i]) * sizes[i];
        sum_xy += sizes[i] * counts[i];
    }
    Line line = {};
    line.per_size = (n * sum_xy - sum_x * sum_y) / (n * sum_xx - sum_x * sum_x);
    line.fixed = (sum_y - line.per_size * sum_x) / n;
    for (size_t i = 0; i < sizes.size(); i++) {
        const double off = std::abs(counts[i] - line.fixed - line.per_size * sizes[i]);
        line.residual = std::max(line.residual, 100 * off / counts.back());
    }
    return line;
}

void Measure(const std::string& self, size_t number, int round) {
    const Kind& kind = kKinds[number];
    const std::string name = kind.name;
    std::vector<double> ours, floor;
    CheckSameResults(kind);
    for (const int size : kind.sizes) {
        ours.push_back(Count(self, number, true, size));
        floor.push_back(Count(self, number, false, size));
        std::string what = name;
        if (kind.sizes.size() > 1) what += ", " + std::to_string(size) + " " + kind.unit;
        // "1 peer".
        if (size == 1 && kind.sizes.size() > 1) what.pop_back();
        Emit({kGroup, what, "Ir", RatioAtMost(kind.goal)}, round, ours.back(), floor.back());
    }
    if (kind.sizes.size() == 1) return;
    const Line our_line = Fit(kind.sizes, ours);
    const Line floor_line = Fit(kind.sizes, floor);
    Emit({kGroup, name + ": fit, for each of the " + kind.unit, "Ir"}, round, our_line.per_size,
         floor_line.per_size);
    Emit({kGroup, name + ": fit, fixed part", "Ir"}, round, our_line.fixed, floor_line.fixed);
    Emit({kGroup, name + ": furthest from the fit", "%", ValueAtMost(5)}, round, our_line.residual,
         floor_line.residual);
}

int Run(int argc, char** argv) {
    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    nlmsg_set_default_size(static_cast<size_t>(getpagesize()));
    if (argc == 5) {
        RunTask(kKinds[std::stoul(argv[2])], std::string(argv[3]) == "ours", std::stoi(argv[4]));
        return 0;
    }
    if (argc != 2) return 2;
    if (std::string(argv[1]) == "check") {
        for (const Kind& kind : kKinds) CheckSameResults(kind);
        return 0;
    }
    for (int round = 0; round < std::stoi(argv[1]); round++) {
        for (size_t kind = 0; kind < std::size(kKinds); kind++) Measure(argv[0], kind, round);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return hardware::velta::bench::RunMain(Run, argc, argv);
}
