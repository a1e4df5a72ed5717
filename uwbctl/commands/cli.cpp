// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/cli.h"

namespace uwbctl {

std::unique_ptr<CommandLine> MakeCommandLine() {
    auto line = std::make_unique<CommandLine>();
    line->app = std::make_unique<CLI::App>("Drives the UWB service from a terminal.", "uwbctl");
    CLI::App* app = line->app.get();
    app->require_subcommand(1);
    app->footer(
        "Data goes to standard output, all else to standard error.\n\n"
        "Exit status: 0 done, 2 usage, 3 service not there or held by another client,\n"
        "4 refused by the service, 5 radio or session failed.");
    AddIfaces(line.get(), app);
    AddInfo(line.get(), app);
    AddCountry(line.get(), app);
    AddWait(line.get(), app);
    AddFira(line.get(), app);
    AddRecord(line.get(), app);
    AddReport(line.get(), app);
    AddCcc(line.get(), app);
    AddSimple(line.get(), app);
    AddMonitor(line.get(), app);
    AddManual(line.get(), app);
    AddCompletion(line.get(), app);
    return line;
}

}  // namespace uwbctl
