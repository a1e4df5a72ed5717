// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <cstdio>

namespace uwbctl {
namespace {

ExitStatus Ifaces(Events* events, const int& /*unused*/) {
    Client client(events);
    client.Open();
    std::vector<std::string> names;
    Check(client.service()->listIfaceNames(&names), "list the interfaces");
    for (const std::string& name : names) puts(name.c_str());
    if (names.empty()) {
        throw Failure(kRadioFailed, "there is no UWB interface: is the radio's driver loaded?");
    }
    return kDone;
}

}  // namespace

void AddIfaces(CommandLine* line, CLI::App* app) {
    AddCommand(line, app, "ifaces", "List the UWB interfaces", "Example:\n  uwbctl ifaces\n",
               std::make_shared<int>(), Ifaces);
}

}  // namespace uwbctl
