// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/cli.h"

#include <algorithm>
#include <cstdio>

#include "uwbctl/client/text.h"
#include "uwbctl/commands/help_format.h"
#include "version/version.h"

namespace uwbctl {
namespace {

// What is like the first option that nobody knows.
std::string UnknownOption(const CLI::App& command, const std::vector<std::string>& words) {
    std::vector<std::string> known;
    for (const CLI::Option* option : Options(command, /*positionals=*/false)) {
        for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
    }
    for (const std::string& word : words) {
        const std::string name = word.substr(0, word.find('='));
        if (name.starts_with("--") && std::find(known.begin(), known.end(), name) == known.end()) {
            return "there is no option " + name + LikeText(name, known);
        }
    }
    return "";
}

}  // namespace

std::string VersionText() {
    return std::string("uwbctl ") + hardware::velta::kVersion + "\ncommit " +
           hardware::velta::Commit() + "\ninterface " + Client::IUwb::descriptor + ", version " +
           std::to_string(Client::IUwb::version) + "\nhash " + Client::IUwb::hash;
}

std::string FullName(const CLI::App& app) {
    const CLI::App* parent = app.get_parent();
    return parent == nullptr ? app.get_name() : FullName(*parent) + " " + app.get_name();
}

std::vector<const CLI::App*> Commands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* sub) { return !sub->get_name().empty(); });
}

std::vector<const CLI::Option*> Options(const CLI::App& app, bool positionals) {
    std::vector<const CLI::Option*> options;
    for (const CLI::Option* option : app.get_options()) {
        if (option == app.get_help_ptr()) continue;
        if (positionals || option->nonpositional()) options.push_back(option);
    }
    for (const CLI::App* group :
         app.get_subcommands([](const CLI::App* sub) { return sub->get_name().empty(); })) {
        const auto inner = Options(*group, positionals);
        options.insert(options.end(), inner.begin(), inner.end());
    }
    return options;
}

const CLI::App* FindCommand(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* at = &app;
    for (const std::string& word : words) {
        const auto commands = Commands(*at);
        if (commands.empty() || word.starts_with("-")) break;
        const auto found =
            std::find_if(commands.begin(), commands.end(),
                         [&word](const CLI::App* command) { return command->get_name() == word; });
        if (found == commands.end()) {
            std::vector<std::string> names;
            names.reserve(commands.size());
            for (const CLI::App* command : commands) names.push_back(command->get_name());
            throw Failure(kUsage, "there is no command \"" +
                                      FullName(*at).substr(FullName(app).size() + (at != &app)) +
                                      (at != &app ? " " : "") + word + "\"" +
                                      LikeText(word, names) + " (\"" + FullName(*at) +
                                      " --help\" lists them)");
        }
        at = *found;
    }
    return at;
}

std::optional<ExitStatus> Parse(CommandLine* line, std::vector<std::string> words) {
    const CLI::App* command = FindCommand(*line->app, words);
    const bool has_options =
        std::any_of(words.begin(), words.end(), [](const auto& word) { return word[0] == '-'; });
    if (!Commands(*command).empty() && !has_options) {
        throw Failure(kUsage, "which command? \"" + FullName(*command) + " --help\" lists them");
    }
    line->words = words;
    try {
        std::reverse(words.begin(), words.end());  // As the parser wants them.
        line->app->parse(words);
    } catch (const CLI::Success& asked) {
        line->app->exit(asked);
        return kDone;
    } catch (const CLI::ParseError& error) {
        const std::string unknown = UnknownOption(*command, words);
        throw Failure(kUsage, (unknown.empty() ? error.what() : unknown) + " (\"" +
                                  FullName(*command) + " --help\" explains)");
    }
    return std::nullopt;
}

std::unique_ptr<CommandLine> MakeCommandLine(ServeFunction serve) {
    auto line = std::make_unique<CommandLine>();
    line->app = std::make_unique<CLI::App>("Drives the UWB service from a terminal.", "uwbctl");
    CLI::App* app = line->app.get();
    // Subcommands inherit these.
    app->formatter(std::make_shared<HelpFormat>());
    app->set_help_flag("-h,--help", "Print this help");
    app->require_subcommand(1);
    app->set_version_flag("--version", VersionText(), "Print the version, and the interface's");
    app->footer(
        "Data goes to standard output, all else to standard error.\n\n"
        "Exit status: 0 done, 2 usage, 3 service not there or held by another client,\n"
        "4 refused by the service, 5 radio or session failed,\n"
        "6 a file or the output cannot be written, 7 no peer has answered.");
    AddIfaces(line.get(), app);
    AddInfo(line.get(), app);
    AddCountry(line.get(), app);
    AddWait(line.get(), app);
    AddFira(line.get(), app);
    AddRecord(line.get(), app);
    AddReport(line.get(), app);
    AddCcc(line.get(), app);
    AddSimple(line.get(), app);
    AddServe(line.get(), app, serve);
    AddMonitor(line.get(), app);
    AddBugreport(line.get(), app);
    AddLocate(line.get(), app);
    AddScene(line.get(), app);
    AddTag(line.get(), app);
    AddHelp(line.get(), app);
    AddManual(line.get(), app);
    AddCompletion(line.get(), app);
    return line;
}

}  // namespace uwbctl
