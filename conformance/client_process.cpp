// SPDX-License-Identifier: Apache-2.0
#include "conformance/client_process.h"

#include <android-base/file.h>
#include <android-base/strings.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "conformance/fira_client.h"
#include "conformance/target.h"

namespace hardware::velta::conformance {

using ::android::base::Split;

namespace {

constexpr size_t kThreads = 4;

// Calls what anyone may call, and what nobody has.
void Flood(const Hal& hal) {
    std::vector<std::string> names;
    std::vector<int64_t> indexes;
    std::shared_ptr<IUwbIface> iface;
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    for (;;) {
        hal->listIfaceNames(&names);
        hal->getIface(std::string(10000, 'x'), &iface);
        hal->listHardwareIndex(&indexes);
        hal->open(SharedRefBase::make<BnUwbClientCallback>());
        hal.Dump(null);
    }
}

// This program once more, in a process of its own.
FILE* StartClient(const std::string& step) {
    const std::string command =
        "exec " + android::base::GetExecutablePath() + " --client=" + step + TheTarget().Options();
    return popen(command.c_str(), "re");  // NOLINT(cert-env33-c): our own words.
}

// Runs what never returns on several threads.
void OnThreads(const std::function<void()>& run) {
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (size_t i = 0; i < kThreads; i++) threads.emplace_back(run);
    threads.front().join();
}

}  // namespace

void RunClient(const std::string& step) {
    constexpr uid_t kNobodyUser = 65534;
    if (step == "flood-stranger") EXPECT_EQ(setuid(kNobodyUser), 0);
    Hal hal;
    std::string said = step == "close" ? Said(hal->close()) : hal.Open();
    if (step.starts_with("fira-")) {
        FiraClient fira(hal, 0);
        said = fira.Init(ControllerSession());
        if (step != "fira-initialised") said = fira.Start();
        if (step == "fira-stopping") said = fira.Stop();
    } else if (step.starts_with("ccc-")) {
        const auto ccc = hal.Get(0, &IUwbIface::cccController);
        int64_t time0 = 0;
        said = Said(ccc->initSession());
        if (step == "ccc-running")
            said = Said(ccc->startSession(1, 50, TheTarget().channel, &time0));
    } else if (step == "simple-running") {
        const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
        simple->setCallback(SharedRefBase::make<SimpleEvents>());
        simple->startInitiatorMode(1, Short(0x0001), TheTarget().channel);
        said = Said(simple->setRangings({{.id = 1}}));
    }
    printf("%d %s\n", getpid(), said.c_str());
    fflush(stdout);
    if (step == "callbacks") {
        // The service asks this process back for each new one, and always has another to ask for.
        const auto fira = hal.Get(0, &IUwbIface::firaController);
        OnThreads([fira] {
            for (;;) fira->setSessionCallback(SharedRefBase::make<FiraEvents>());
        });
    }
    if (step.starts_with("flood")) OnThreads([&hal] { Flood(hal); });
    for (;;) pause();
}

ClientProcess::ClientProcess(const std::string& step) : output_(StartClient(step)) {
    char line[256] = "";
    if (fgets(line, sizeof(line), output_) == nullptr) return;
    const std::vector<std::string> parts = Split(android::base::Trim(line), " ");
    pid_ = std::stoi(parts[0]);
    said = android::base::Join(std::vector(parts.begin() + 1, parts.end()), " ");
}

ClientProcess::~ClientProcess() {
    if (pid_ > 0) kill(pid_, SIGKILL);
    pclose(output_);
}

}  // namespace hardware::velta::conformance
