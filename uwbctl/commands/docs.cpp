// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/cli.h"

#include <android-base/strings.h>

#include <vector>

namespace uwbctl {
namespace {

using android::base::StringReplace;

// Text that is no roff request, whatever it begins with.
std::string Roff(const std::string& text) {
    std::string escaped = StringReplace(text, "\\", "\\e", /*all=*/true);
    escaped = StringReplace(escaped, "-", "\\-", /*all=*/true);
    escaped = StringReplace(escaped, "\n.", "\n\\&.", /*all=*/true);
    return escaped;
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

// What bash is to offer for a value, by the name of its type: a command's output, words, files.
std::string ValueWords(const CLI::App& top, const std::string& type) {
    if (type == "IFACE") return "$(uwbctl ifaces 2>/dev/null)";
    if (type == "COUNTRY") return "$(uwbctl country --list 2>/dev/null)";
    if (type == "SCENE") return "$(uwbctl scene --names 2>/dev/null) FILE";
    if (type == "FILE") return "FILE";
    if (type == "COMMAND") {
        std::vector<std::string> names;
        for (const CLI::App* command : Commands(top)) names.push_back(command->get_name());
        return android::base::Join(names, ' ');
    }
    return type.find('|') == type.npos ? "" : StringReplace(type, "|", " ", /*all=*/true);
}

// The cases of a command's option values: what may follow the option's name.
std::string ValueCases(const CLI::App& top, const CLI::App& app) {
    std::string text;
    for (const CLI::Option* option : Options(app, /*positionals=*/false)) {
        if (option->get_expected_max() == 0) continue;
        std::vector<std::string> patterns;
        for (const std::string& name : option->get_lnames()) {
            patterns.push_back("\"" + FullName(app) + " --" + name + "\"");
        }
        for (const std::string& name : option->get_snames()) {
            patterns.push_back("\"" + FullName(app) + " -" + name + "\"");
        }
        text += "    " + android::base::Join(patterns, " | ") + ") words=\"" +
                ValueWords(top, option->get_type_name()) + "\" ;;\n";
    }
    for (const CLI::App* command : Commands(app)) text += ValueCases(top, *command);
    return text;
}

// The cases of what may follow the words of a command: commands, options and operands.
std::string WordCases(const CLI::App& top, const CLI::App& app) {
    std::vector<std::string> words;
    for (const CLI::App* command : Commands(app)) words.push_back(command->get_name());
    for (const CLI::Option* option : Options(app, /*positionals=*/true)) {
        for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
        if (option->get_positional()) words.push_back(ValueWords(top, option->get_type_name()));
    }
    words.emplace_back("--help");
    std::string text =
        "      \"" + FullName(app) + "\") words=\"" + android::base::Join(words, ' ') + "\" ;;\n";
    for (const CLI::App* command : Commands(app)) text += WordCases(top, *command);
    return text;
}

std::string CommandPatterns(const CLI::App& app) {
    std::string text;
    for (const CLI::App* command : Commands(app)) {
        text += (text.empty() ? "\"" : " | \"") + FullName(*command) + "\"";
        const std::string inner = CommandPatterns(*command);
        if (!inner.empty()) text += " | " + inner;
    }
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
           "  local word command=uwbctl words= current=${COMP_WORDS[COMP_CWORD]}\n"
           "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "    case \"$command $word\" in\n"
           "      " +
           CommandPatterns(app) +
           ") command=\"$command $word\" ;;\n"
           "    esac\n"
           "  done\n"
           "  case \"$command ${COMP_WORDS[COMP_CWORD-1]}\" in\n" +
           ValueCases(app, app) + "    *) case $command in\n" + WordCases(app, app) +
           "    esac ;;\n"
           "  esac\n"
           "  mapfile -t COMPREPLY < <(compgen -W \"${words//FILE/}\" -- \"$current\")\n"
           "  if [[ \" $words \" == *\" FILE \"* && $current != -* ]]; then\n"
           "    compopt -o filenames 2>/dev/null\n"
           "    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- \"$current\")\n"
           "  fi\n"
           "}\n"
           "complete -F _uwbctl uwbctl\n";
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
