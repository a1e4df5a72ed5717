// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <android-base/strings.h>

#include <cstdio>
#include <limits>
#include <utility>
#include <vector>

#include "uwbctl/commands/fira_range.h"

namespace uwbctl {
namespace {

constexpr int kMaxBlockMs = 3600000;

// Who ranges with whom.
void AddPeerOptions(CLI::App* command, FiraRangeOptions* options) {
    AddIface(command, &options->iface);
    command
        ->add_option("-p,--peer", options->peers,
                     "Short address of a peer, such as 0x1234: each controlee, or the controller")
        ->type_name("ADDRESS");
    command
        ->add_option("-a,--address", options->address,
                     "This device's short address (0x0001, as controlee 0x0002)")
        ->type_name("ADDRESS");
    command->add_flag("--controlee", options->is_controlee,
                      "Be a controlee; otherwise the controller");
}

void AddSessionOptions(CLI::App* command, FiraRangeOptions* options) {
    const std::vector<std::string> angles = {"none", "azimuth", "elevation", "both"};
    AddPreset(command, &options->preset);
    command
        ->add_option("--session-file", options->session_file,
                     "JSON file with members of the session, as --dump-session prints them; - for "
                     "standard input")
        ->type_name("FILE");
    command->add_option("-s,--session", options->session_id, "Session identifier")
        ->type_name("NUMBER")
        ->check(NumberRange(0, std::numeric_limits<uint32_t>::max()));
    command->add_option("-c,--channel", options->channel, "UWB channel")->type_name("NUMBER");
    command
        ->add_option("-b,--block", options->block_duration_ms,
                     "Block duration, the interval between reports, in milliseconds")
        ->type_name("MS")
        ->check(NumberRange(1, kMaxBlockMs));
    command->add_option("--angles", options->angles, "Angles to measure")
        ->type_name(android::base::Join(angles, '|'))
        ->check(CLI::IsMember(angles).description(""));
    command
        ->add_option("--set", options->settings,
                     "Any member of the session, such as sessionPriority=70 or "
                     "rangingRoundControl.hasDeferredMode=false")
        ->type_name("NAME=VALUE");
    AddCount(command, &options->count, "Reports");
    command->add_flag("--commands", options->reads_commands,
                      "Read \"add ADDRESS\", \"remove ADDRESS\" and \"quit\" from standard input; "
                      "the live table has the keys a, r and q for them");
}

void AddFormatOptions(CLI::App* command, FiraRangeOptions* options) {
    const std::vector<std::pair<std::string, std::pair<Format, std::string>>> formats = {
        {"--table", {Format::kTable, "A live table; frame after frame where there is no screen"}},
        {"--plain", {Format::kPlain, "A line for each measurement, also on a terminal"}},
        {"--json", {Format::kJson, "A JSON object on each line"}},
        {"--csv", {Format::kCsv, "Comma-separated values with a header line"}},
    };
    CLI::Option_group* group = command->add_option_group("Output");
    group->require_option(0, 1);
    for (const auto& [name, format] : formats) {
        group->add_flag_callback(
            name, [options, value = format.first] { options->format = value; }, format.second);
    }
}

ExitStatus DumpSession(Events* /*events*/, const FiraRangeOptions& options) {
    puts(SessionToJson(EffectiveSession(options)).dump(2).c_str());
    return kDone;
}

void AddRange(CommandLine* line, CLI::App* fira) {
    const auto options = std::make_shared<FiraRangeOptions>();
    CLI::App* range = AddCommand(
        line, fira, "range", "Range with peers and show each measurement",
        "Examples:\n"
        "  uwbctl fira range -p 0x1234 -p 0x5678        be the controller of two peers\n"
        "  uwbctl fira range --controlee -p 0x0001      be the controlee of 0x0001\n"
        "  uwbctl fira range -p 0x1234 --json -n 100    a hundred reports for a program\n"
        "  uwbctl fira range --preset fast --dump-session > fast.json\n"
        "  uwbctl fira range --session-file fast.json -p 0x1234 --angles both\n",
        options, FiraRange);
    AddPeerOptions(range, options.get());
    AddSessionOptions(range, options.get());
    AddFormatOptions(range, options.get());
    range->add_option("--record", options->recording, "Record into this file as well")
        ->type_name("FILE");
    CLI::Option* dump =
        range->add_flag("--dump-session", "Print the session as JSON and do nothing else");
    range->callback([line, options, dump] {
        const auto run = *dump ? DumpSession : FiraRange;
        line->run = [options, run](Events* events) { return run(events, *options); };
    });
}

// Not commands of their own, but people look for them here.
void AddControlees(CommandLine* line, CLI::App* fira, const std::string& verb,
                   const std::string& description) {
    const auto peers = std::make_shared<std::vector<std::string>>();
    CLI::App* command = fira->add_subcommand(verb, description);
    command->add_option("peer", *peers, "Short address of a controlee")
        ->type_name("ADDRESS")
        ->required();
    command->callback([line, peers, verb] {
        line->run = [peers, verb](Events* events) -> ExitStatus {
            ParsePeers(*peers);
            ExplainControlees(events, verb);
        };
    });
}

}  // namespace

void AddFira(CommandLine* line, CLI::App* app) {
    CLI::App* fira = app->add_subcommand("fira", "FiRa two-way ranging");
    fira->require_subcommand(1);
    AddRange(line, fira);
    AddControlees(line, fira, "add", "Tell how controlees are added to a session that ranges");
    AddControlees(line, fira, "remove",
                  "Tell how controlees are removed from a session that ranges");
}

void AddRecord(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<FiraRangeOptions>();
    CLI::App* record =
        AddCommand(line, app, "record", "Range as \"fira range\" does, and record into a file",
                   "Examples:\n"
                   "  uwbctl record walk.jsonl -p 0x1234 -n 300    record 300 reports\n"
                   "  uwbctl report walk.jsonl                     and make a page of them\n",
                   options, FiraRange);
    record->add_option("file", options->recording, "File to record into, as JSON lines")
        ->type_name("FILE")
        ->required();
    AddPeerOptions(record, options.get());
    AddSessionOptions(record, options.get());
    AddFormatOptions(record, options.get());
}

}  // namespace uwbctl
