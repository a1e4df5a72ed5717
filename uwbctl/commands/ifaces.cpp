// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "uwbctl/client/holder.h"
#include "uwbctl/commands/command.h"

namespace uwbctl {
namespace {

ExitStatus Ifaces(Events* events, const int& /*unused*/) {
    Client client(events);
    const bool is_ours = client.TryOpen();
    std::vector<std::string> names;
    Check(client.service()->listIfaceNames(&names), "list the interfaces");
    for (const std::string& name : names) puts(name.c_str());
    if (names.empty()) {
        throw Failure(kRadioFailed, "there is no UWB interface: is the radio's driver loaded?");
    }
    if (!is_ours) TellHolder();
    return kDone;
}

}  // namespace

void AddIfaces(CommandLine* line, CLI::App* app) {
    AddCommand(line, app, "ifaces", "List the UWB interfaces", "Example:\n  uwbctl ifaces\n",
               std::make_shared<int>(), Ifaces);
}

}  // namespace uwbctl
