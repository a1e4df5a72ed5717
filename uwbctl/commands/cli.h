// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/commands/command.h"

namespace uwbctl {

/**
 * @param serve as RunProgram() has it.
 * @return uwbctl's command line; it must not be moved, its parser writes into it.
 */
std::unique_ptr<CommandLine> MakeCommandLine(ServeFunction serve = nullptr);

/**
 * Parses what was typed. Help that was asked for goes to standard output; a Failure tells what is
 * wrong with the rest, and what is like it.
 *
 * @param words without the program's name.
 * @return the exit status when there is nothing left to run.
 */
std::optional<ExitStatus> Parse(CommandLine* line, std::vector<std::string> words);

/** @return versions of uwbctl and of the interface, a line each; no line's end at the end. */
std::string VersionText();

/** @return "uwbctl fira range" for the parser of that command. */
std::string FullName(const CLI::App& app);

/** @return the commands right below app. */
std::vector<const CLI::App*> Commands(const CLI::App& app);

/** @return a command's options, those of its groups included; positional ones as well if wanted. */
std::vector<const CLI::Option*> Options(const CLI::App& app, bool positionals);

/**
 * @return the command that the first of these words name; throws a Failure for one that names none
 *         where a command is expected.
 */
const CLI::App* FindCommand(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace uwbctl
