// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

namespace uwbctl {
namespace {

ExitStatus WaitForService(Events* /*events*/, const int& seconds) {
    if (Client::WaitForService(std::chrono::seconds(seconds))) return kDone;
    throw Failure(kNoService,
                  "the UWB service did not register within " + std::to_string(seconds) + " s");
}

}  // namespace

void AddWait(CommandLine* line, CLI::App* app) {
    constexpr int kDefaultWaitSeconds = 10;
    const auto seconds = std::make_shared<int>(kDefaultWaitSeconds);
    AddCommand(line, app, "wait", "Wait until the service is registered",
               "Example:\n  uwbctl wait 30 && uwbctl ifaces\n", seconds, WaitForService)
        ->add_option("seconds", *seconds, "How long at most")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
}

}  // namespace uwbctl
