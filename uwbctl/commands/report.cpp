// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <unistd.h>

#include "uwbctl/client/client.h"
#include "uwbctl/report/report_page.h"

namespace uwbctl {
namespace {

struct ReportOptions {
    std::string recording;
    std::string page;
};

ExitStatus Report(Events* /*events*/, const ReportOptions& options) {
    if (options.page == "-" && isatty(STDOUT_FILENO) != 0) {
        throw Failure(kUsage, "a page is nothing for a terminal: name a file, or a pipe takes it");
    }
    return WriteReport(options.recording, options.page);
}

}  // namespace

void AddReport(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<ReportOptions>();
    CLI::App* report =
        AddCommand(line, app, "report", "Make a self-contained page of a recording",
                   "Example:\n  uwbctl report walk.jsonl      makes walk.html\n", options, Report);
    report->add_option("file", options->recording, "The recording")->type_name("FILE")->required();
    report
        ->add_option("-o,--output", options->page,
                     "The page; - for standard output; otherwise named as the recording is")
        ->type_name("FILE");
}

}  // namespace uwbctl
