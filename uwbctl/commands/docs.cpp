// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <android-base/strings.h>

#include <vector>

namespace uwbctl {
namespace {

using android::base::Join;
using android::base::StringReplace;

// Text that is no roff request, whatever it begins with.
std::string Roff(const std::string& text) {
    std::string escaped = StringReplace(text, "\\", "\\e", /*all=*/true);
    escaped = StringReplace(escaped, "-", "\\-", /*all=*/true);
    escaped = StringReplace(escaped, "\n.", "\n\\&.", /*all=*/true);
    return escaped;
}

std::string FullName(const CLI::App& app) {
    const CLI::App* parent = app.get_parent();
    return parent == nullptr ? app.get_name() : FullName(*parent) + " " + app.get_name();
}

// Options of a command, those of its groups included; positional ones as well if wanted.
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

std::vector<const CLI::App*> Commands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* sub) { return !sub->get_name().empty(); });
}

std::string OptionParagraph(const CLI::Option& option) {
    const std::string name = option.get_name(option.get_positional(), /*all_options=*/true);
    std::string value = option.get_expected_max() > 0 ? " " + option.get_type_name() : "";
    if (!option.get_default_str().empty()) value += " (default " + option.get_default_str() + ")";
    return ".TP\n.B " + Roff(name) + Roff(value) + "\n" + Roff(option.get_description()) + "\n";
}

std::string CommandSection(const CLI::App& command) {
    std::string text =
        ".SS " + Roff(FullName(command)) + "\n" + Roff(command.get_description()) + ".\n";
    for (const CLI::Option* option : Options(command, /*positionals=*/true)) {
        text += OptionParagraph(*option);
    }
    // A command without a footer of its own inherits its parent's.
    if (command.get_footer() != command.get_parent()->get_footer()) {
        text += ".PP\n.nf\n" + Roff(command.get_footer()) + "\n.fi\n";
    }
    for (const CLI::App* sub : Commands(command)) text += CommandSection(*sub);
    return text;
}

// One case of the completion: what may follow the words of a command.
std::string CompletionCases(const CLI::App& app) {
    std::vector<std::string> words;
    for (const CLI::App* command : Commands(app)) words.push_back(command->get_name());
    for (const CLI::Option* option : Options(app, /*positionals=*/false)) {
        for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
    }
    std::string text = "    \"" + FullName(app) + "\") words=\"" + Join(words, ' ') + "\" ;;\n";
    for (const CLI::App* command : Commands(app)) text += CompletionCases(*command);
    return text;
}

std::string ManualPage(const CLI::App& app) {
    std::string text = ".TH UWBCTL 1\n.SH NAME\n" + app.get_name() + " \\- " +
                       Roff(app.get_description()) + "\n.SH SYNOPSIS\n.B " + app.get_name() +
                       "\nCOMMAND [OPTION]...\n.SH COMMANDS\n";
    for (const CLI::App* command : Commands(app)) text += CommandSection(*command);
    return text + ".SH EXIT STATUS AND OUTPUT\n.nf\n" + Roff(app.get_footer()) + "\n.fi\n";
}

std::string BashCompletion(const CLI::App& app) {
    return "# bash completion for uwbctl: source <(uwbctl completion)\n"
           "_uwbctl() {\n"
           "  local word command=uwbctl words=\n"
           "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "    case $word in -*) ;; *) case \"$command $word\" in\n" +
           [&app] {
               std::vector<std::string> names;
               const auto collect = [&names](const CLI::App& parent, const auto& self) -> void {
                   for (const CLI::App* command : Commands(parent)) {
                       names.push_back("\"" + FullName(*command) + "\"");
                       self(*command, self);
                   }
               };
               collect(app, collect);
               return "      " + Join(names, " | ") + ") command=\"$command $word\" ;;\n";
           }() +
           "    esac ;; esac\n"
           "  done\n"
           "  case $command in\n" +
           CompletionCases(app) +
           "  esac\n"
           "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n"
           "}\n"
           "complete -o default -F _uwbctl uwbctl\n";
}

}  // namespace

// Named through the line: the application is complete only when they run.
void AddManual(CommandLine* line, CLI::App* app) {
    app->add_subcommand("man", "Print the manual page: uwbctl man | man -l -")->callback([line] {
        line->run = [line](Events*) {
            fputs(ManualPage(*line->app).c_str(), stdout);
            return kDone;
        };
    });
}

void AddCompletion(CommandLine* line, CLI::App* app) {
    app->add_subcommand("completion", "Print bash completion: source <(uwbctl completion)")
        ->callback([line] {
            line->run = [line](Events*) {
                fputs(BashCompletion(*line->app).c_str(), stdout);
                return kDone;
            };
        });
}

}  // namespace uwbctl
