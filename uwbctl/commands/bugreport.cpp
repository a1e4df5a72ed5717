// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/bugreport.h"

#include <android-base/file.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "uwbctl/client/calibration.h"
#include "uwbctl/commands/cli.h"

namespace uwbctl {
namespace {

constexpr std::chrono::milliseconds kDumpPatience{5000};

// Nobody else's business.
constexpr mode_t kMode = 0600;

// What "uwbctl bugreport" was asked for.
struct BugReportOptions {
    /** Where to; "-" for standard output, empty for a name made of the time. */
    std::string file;
    /** The service's log; empty for what the system keeps of it. */
    std::string log;
};

std::string Time(const char* format) {
    const time_t now = time(nullptr);
    tm parts = {};
    localtime_r(&now, &parts);
    char text[64] = {};
    strftime(text, sizeof(text), format, &parts);
    return text;
}

std::string Versions() {
    utsname system = {};
    uname(&system);
    std::string machine;
    android::base::ReadFileToString("/etc/os-release", &machine);
    return Time("%Y-%m-%d %H:%M:%S %z") + "\n" + VersionText() + "\n" + system.sysname + " " +
           system.release + " " + system.version + " " + system.machine + "\n" + machine;
}

ExitStatus Report(Events* /*events*/, const BugReportOptions& options) {
    BugReport report;
    report.Add("versions", {Versions(), ""});
    report.Add("the service's dump", ServiceDump(kDumpPatience));
    report.Add("calibration in force", {InForceText(), ""});
    report.Add("the service's process", ServiceProcess());
    report.Add("kernel", KernelState());
    report.Add("kernel log", KernelLog());
    report.Add("service log", ServiceLog(options.log));
    const std::string file =
        options.file.empty() ? Time("uwb-bugreport-%Y%m%d-%H%M%S.txt") : options.file;
    if (file == "-") {
        fputs(report.text().c_str(), stdout);
    } else if (!android::base::WriteStringToFile(report.text(), file, kMode, getuid(), getgid())) {
        throw Failure(kCannotWrite, "cannot write " + file + ": " + strerror(errno));
    } else {
        fprintf(stderr, "%s: %zu bytes; addresses and keys in the log are hidden\n", file.c_str(),
                report.text().size());
    }
    for (const std::string& part : report.missing()) {
        fprintf(stderr, "not in it: %s\n", part.c_str());
    }
    return kDone;
}

}  // namespace

void AddBugreport(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<BugReportOptions>();
    CLI::App* bugreport = AddCommand(
        line, app, "bugreport",
        "Collect what is known of a fault: dump, logs, kernel state, versions",
        "Examples:\n  uwbctl bugreport\n  uwbctl bugreport fault.txt --log service.log\n", options,
        Report);
    bugreport->add_option("file", options->file, "Where to; - for standard output")
        ->type_name("FILE");
    bugreport->add_option("--log", options->log, "The service's log, where the system keeps none")
        ->envname("VELTA_UWB_LOG")
        ->type_name("FILE");
}

}  // namespace uwbctl
