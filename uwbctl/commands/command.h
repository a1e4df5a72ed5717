// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "uwbctl/client/client.h"
#include "uwbctl/serve/serve.h"

namespace uwbctl {

/** A command line: its parser, and what the parsed command does. */
struct CommandLine {
    std::unique_ptr<CLI::App> app;
    /** Set by parsing; empty when only help was asked for. */
    std::function<ExitStatus(Events* events)> run;
    /** What was typed. */
    std::vector<std::string> words;
};

/** Adds a subcommand whose options live as long as it does. */
template <typename Options>
CLI::App* AddCommand(CommandLine* line, CLI::App* parent, const std::string& name,
                     const std::string& description, const std::string& examples,
                     const std::shared_ptr<Options>& options,
                     ExitStatus (*run)(Events*, const Options&)) {
    CLI::App* command = parent->add_subcommand(name, description);
    command->footer(examples);
    command->callback([line, options, run] {
        line->run = [options, run](Events* events) { return run(events, *options); };
    });
    return command;
}

/** Adds the option that names a preset of sessions. */
void AddPreset(CLI::App* command, std::string* preset);

/** Adds the option that names an interface. */
void AddIface(CLI::App* command, std::string* iface);

/**
 * Adds "-n,--count", after how much a command ends by itself.
 *
 * @param what such as "Reports".
 */
void AddCount(CLI::App* command, uint64_t* count, const std::string& what);

/** Adds "-t,--time", after how many seconds a command ends by itself. */
void AddTime(CLI::App* command, int* seconds);

/** @return a check of numbers whose limits are not part of the help. */
CLI::Validator NumberRange(int64_t from, int64_t to);

/** @return the check of a number of seconds. */
CLI::Validator SecondsRange();

// Each adds one command, with its options, to the parser.
void AddBugreport(CommandLine* line, CLI::App* app);
void AddCcc(CommandLine* line, CLI::App* app);
void AddCompletion(CommandLine* line, CLI::App* app);
void AddCountry(CommandLine* line, CLI::App* app);
void AddFira(CommandLine* line, CLI::App* app);
void AddHelp(CommandLine* line, CLI::App* app);
void AddIfaces(CommandLine* line, CLI::App* app);
void AddInfo(CommandLine* line, CLI::App* app);
void AddLocate(CommandLine* line, CLI::App* app);
void AddManual(CommandLine* line, CLI::App* app);
void AddMonitor(CommandLine* line, CLI::App* app);
void AddRecord(CommandLine* line, CLI::App* app);
void AddReport(CommandLine* line, CLI::App* app);
void AddScene(CommandLine* line, CLI::App* app);
/** @param serve what it does; null starts the program that has the web server. */
void AddServe(CommandLine* line, CLI::App* app, ServeFunction serve);
void AddSimple(CommandLine* line, CLI::App* app);
void AddTag(CommandLine* line, CLI::App* app);
void AddWait(CommandLine* line, CLI::App* app);

}  // namespace uwbctl
