// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/help_format.h"

#include <android-base/strings.h>

namespace uwbctl {
namespace {

constexpr size_t kWidth = 79;
constexpr size_t kNameWidth = 26;

// A name, and what it is from one column on.
std::string Entry(const std::string& name, const std::string& description) {
    std::string text = "  " + name;
    if (text.size() < kNameWidth) {
        text.resize(kNameWidth, ' ');
    } else {
        text = Wrap(text, kNameWidth) + "\n" + std::string(kNameWidth, ' ');
    }
    const size_t line_start = text.rfind('\n') == text.npos ? 0 : text.rfind('\n') + 1;
    return text.substr(0, line_start) + Wrap(text.substr(line_start) + description, kNameWidth) +
           "\n";
}

}  // namespace

std::string Wrap(const std::string& text, size_t indent) {
    std::string wrapped;
    std::string line;
    // Leading blanks stay: they are the first line's own indent.
    const size_t first = text.find_first_not_of(' ');
    if (first != text.npos) line = text.substr(0, first);
    bool is_empty = true;
    for (const std::string& word : android::base::Split(text.substr(line.size()), " ")) {
        if (!is_empty && line.size() + 1 + word.size() > kWidth) {
            wrapped += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
            line = std::string(indent, ' ');
            is_empty = true;
        }
        line += (is_empty ? "" : " ") + word;
        is_empty = false;
    }
    return wrapped + line;
}

std::string HelpFormat::make_option(const CLI::Option* option, bool is_positional) const {
    std::string name = make_option_name(option, is_positional);
    std::string description = option->get_description();
    if (option->get_expected_max() > 0) {
        const std::string type = option->get_type_name();
        if (!is_positional) name += " " + type;
        if (option->get_expected_max() == CLI::detail::expected_max_vector_size) name += " ...";
        if (!option->get_default_str().empty()) {
            description += " (default " + option->get_default_str() + ")";
        }
    }
    return Entry(name, description);
}

std::string HelpFormat::make_subcommand(const CLI::App* command) const {
    return Entry(command->get_name(), command->get_description());
}

// A group of options of which there may be one.
std::string HelpFormat::make_expanded(const CLI::App* group) const {
    std::string text = "\n" + group->get_group() + ", at most one of:\n";
    for (const CLI::Option* option : group->get_options()) {
        if (option != group->get_help_ptr()) text += make_option(option, false);
    }
    return text;
}

std::string HelpFormat::make_usage(const CLI::App* app, std::string name) const {
    return "\n" + CLI::Formatter::make_usage(app, std::move(name));
}

}  // namespace uwbctl
