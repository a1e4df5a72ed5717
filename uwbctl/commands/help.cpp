// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "uwbctl/commands/cli.h"

namespace uwbctl {

void AddHelp(CommandLine* line, CLI::App* app) {
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* help = app->add_subcommand("help", "Print the help of a command");
    help->footer("Example:\n  uwbctl help fira range\n");
    help->add_option("command", *words, "Such as fira range; without one: of all")
        ->type_name("COMMAND");
    help->callback([line, words] {
        line->run = [line, words](Events*) {
            const CLI::App* command = FindCommand(*line->app, *words);
            // Not help(): that of the program is the help of the command that was parsed, this one.
            fputs(command->get_formatter()
                      ->make_help(command, FullName(*command), CLI::AppFormatMode::Normal)
                      .c_str(),
                  stdout);
            return kDone;
        };
    });
}

}  // namespace uwbctl
