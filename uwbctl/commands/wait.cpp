// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

namespace uwbctl {
namespace {

constexpr int kDefaultSeconds = 10;

ExitStatus Wait(Events* events, const int& seconds) {
    if (Client::WaitForService(events, std::chrono::seconds(seconds))) return kDone;
    throw Failure(kNoService,
                  "the UWB service did not register within " + std::to_string(seconds) + " s");
}

}  // namespace

void AddWait(CommandLine* line, CLI::App* app) {
    const auto seconds = std::make_shared<int>(kDefaultSeconds);
    AddCommand(line, app, "wait", "Wait until the service is registered",
               "Example:\n  uwbctl wait 30 && uwbctl ifaces\n", seconds, Wait)
        ->add_option("seconds", *seconds, "How long at most")
        ->type_name("SECONDS")
        ->check(SecondsRange())
        ->capture_default_str();
}

}  // namespace uwbctl
