// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <limits>

#include "uwbctl/client/session.h"

namespace uwbctl {
namespace {

std::string PresetText() {
    std::string text = "Session to start from:";
    for (const SessionPreset& preset : SessionPresets()) {
        text += std::string(" ") + preset.name + " (" + preset.description + ");";
    }
    text.back() = '.';
    return text;
}

}  // namespace

CLI::Validator NumberRange(int64_t from, int64_t to) {
    return CLI::Range(from, to).description("");
}

CLI::Validator SecondsRange() {
    return NumberRange(0, std::numeric_limits<int>::max());
}

void AddPreset(CLI::App* command, std::string* preset) {
    std::string names;
    for (const SessionPreset& known : SessionPresets()) {
        names += (names.empty() ? "" : "|") + std::string(known.name);
    }
    command->add_option("--preset", *preset, PresetText())->type_name(names);
}

void AddIface(CLI::App* command, std::string* iface) {
    command->add_option("-i,--iface", *iface, "Interface; the first one by default")
        ->type_name("IFACE");
}

void AddCount(CLI::App* command, uint64_t* count, const std::string& what) {
    // A negative number would be taken for a very large one.
    command->add_option("-n,--count", *count, what + " after which it ends; 0 for no end")
        ->type_name("NUMBER")
        ->check(NumberRange(0, std::numeric_limits<uint32_t>::max()))
        ->capture_default_str();
}

void AddTime(CLI::App* command, int* seconds) {
    command->add_option("-t,--time", *seconds, "Seconds after which it ends; 0 for no end")
        ->type_name("SECONDS")
        ->check(SecondsRange())
        ->capture_default_str();
}

}  // namespace uwbctl
