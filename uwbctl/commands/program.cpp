// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/program.h"

#include <android-base/logging.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <string>

#include "uwbctl/client/output.h"
#include "uwbctl/commands/cli.h"

namespace uwbctl {
namespace {

int Run(int argc, char** argv, ServeFunction serve) {
    const std::unique_ptr<CommandLine> line = MakeCommandLine(serve);
    if (const auto status = Parse(line.get(), {argv + 1, argv + argc})) return *status;
    // Before binder starts its threads, which may still post to it while the process ends.
    static Events events;
    return line->run(&events);
}

}  // namespace

void RunProgram(int argc, char** argv, ServeFunction serve) {
    // The libraries' own chatter is not the user's.
    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    // For what a terminal can show; numbers stay as they are.
    setlocale(LC_CTYPE, "");
    BufferStandardOutput();
    int status = kDone;
    try {
        status = Run(argc, argv, serve);
    } catch (const Failure& failure) {
        TellUser(failure.what());
        status = failure.status();
    }
    if (const std::string lost = FlushStandardOutput(); !lost.empty() && status == kDone) {
        TellUser("cannot write standard output: " + lost);
        status = kCannotWrite;
    }
    // A thread may still be waiting for the service manager: no destructors behind its back.
    _exit(status);
}

}  // namespace uwbctl
