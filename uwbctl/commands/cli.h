// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>

#include "uwbctl/client/client.h"

namespace uwbctl {

/** A command line: its parser, and what the parsed command does. */
struct CommandLine {
    std::unique_ptr<CLI::App> app;
    /** Set by parsing; empty when only help was asked for. */
    std::function<ExitStatus(Events* events)> run;
};

/** @return uwbctl's command line; it must not be moved, its parser writes into it. */
std::unique_ptr<CommandLine> MakeCommandLine();

}  // namespace uwbctl
