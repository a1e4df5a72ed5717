// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/cli.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/commands/ccc_session.h"
#include "uwbctl/commands/cli_docs.h"
#include "uwbctl/commands/commands.h"
#include "uwbctl/commands/fira_range.h"
#include "uwbctl/commands/monitor.h"
#include "uwbctl/commands/simple_ranging.h"
#include "uwbctl/report/report_page.h"

namespace uwbctl {
namespace {

// Adds a subcommand whose options live as long as it does.
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

void AddIface(CLI::App* command, std::string* iface) {
    command->add_option("-i,--iface", *iface, "Interface; the first one by default");
}

// ---- FiRa ----

void AddSessionOptions(CLI::App* command, FiraRangeOptions* options) {
    constexpr int kMaxBlockMs = 3600000;
    std::string presets = "Session to start from:";
    for (const SessionPreset& preset : SessionPresets()) {
        presets += std::string(" ") + preset.name + " (" + preset.description + ");";
    }
    presets.back() = '.';
    AddIface(command, &options->iface);
    command->add_option(
        "-p,--peer", options->peers,
        "Short address of a peer, such as 0x1234: each controlee, or the controller");
    command->add_option("-a,--address", options->address,
                        "This device's short address (0x0001, as controlee 0x0002)");
    command->add_flag("--controlee", options->is_controlee,
                      "Be a controlee; otherwise the controller");
    command->add_option("--preset", options->preset, presets);
    command->add_option("--session-file", options->session_file,
                        "JSON file with members of the session, as --dump-session prints them");
    command->add_option("-s,--session", options->session_id, "Session identifier");
    command->add_option("-c,--channel", options->channel, "UWB channel");
    command
        ->add_option("-b,--block", options->block_duration_ms,
                     "Block duration, the interval between reports, in milliseconds")
        ->check(CLI::Range(1, kMaxBlockMs));
    command->add_option("--angles", options->angles, "Angles to measure")
        ->check(CLI::IsMember({"none", "azimuth", "elevation", "both"}));
    command->add_option("--set", options->settings,
                        "Any member of the session as NAME=VALUE, such as sessionPriority=70 or "
                        "rangingRoundControl.hasDeferredMode=false");
    command->add_option("-n,--count", options->count, "Reports to print; 0 for no end")
        ->capture_default_str();
    command->add_flag(
        "--commands", options->reads_commands,
        "Read \"add ADDRESS\", \"remove ADDRESS\" and \"quit\" from standard input; on "
        "a terminal the keys a, r and q do the same");
}

void AddFormatOptions(CLI::App* command, FiraRangeOptions* options) {
    const std::vector<std::pair<std::string, std::pair<Format, std::string>>> formats = {
        {"--table", {Format::kTable, "A live table, also when the output is no terminal"}},
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

CLI::App* AddRange(CommandLine* line, CLI::App* fira) {
    const auto options = std::make_shared<FiraRangeOptions>();
    CLI::App* range = AddCommand(
        line, fira, "range", "Range with peers and show each measurement",
        "Examples:\n"
        "  uwbctl fira range -p 0x1234 -p 0x5678        be the controller of two controlees\n"
        "  uwbctl fira range --controlee -p 0x0001      be the controlee of 0x0001\n"
        "  uwbctl fira range -p 0x1234 --json -n 100    a hundred reports for a program\n"
        "  uwbctl fira range --preset fast --dump-session > fast.json\n"
        "  uwbctl fira range --session-file fast.json -p 0x1234 --angles both\n",
        options, FiraRange);
    AddSessionOptions(range, options.get());
    AddFormatOptions(range, options.get());
    range->add_option("--record", options->recording, "Record into this file as well");
    CLI::Option* dump =
        range->add_flag("--dump-session", "Print the session as JSON and do nothing else");
    range->callback([line, options, dump] {
        const auto run = *dump ? DumpSession : FiraRange;
        line->run = [options, run](Events* events) { return run(events, *options); };
    });
    return range;
}

// Not commands of their own, but people look for them here.
void AddControlees(CommandLine* line, CLI::App* fira, const std::string& verb,
                   const std::string& description) {
    const auto peers = std::make_shared<std::vector<std::string>>();
    CLI::App* command = fira->add_subcommand(verb, description);
    command->add_option("peer", *peers, "Short address of a controlee")->required();
    command->callback([line, peers, verb] {
        line->run = [peers, verb](Events* events) -> ExitStatus {
            ParsePeers(*peers);
            ExplainControlees(events, verb);
        };
    });
}

void AddFira(CommandLine* line, CLI::App* app) {
    CLI::App* fira = app->add_subcommand("fira", "FiRa two-way ranging");
    fira->require_subcommand(1);
    AddRange(line, fira);
    AddControlees(line, fira, "add", "Tell how controlees are added to a session that ranges");
    AddControlees(line, fira, "remove",
                  "Tell how controlees are removed from a session that ranges");

    const auto options = std::make_shared<FiraRangeOptions>();
    CLI::App* record =
        AddCommand(line, app, "record", "Range as \"fira range\" does, and record into a file",
                   "Examples:\n"
                   "  uwbctl record walk.jsonl -p 0x1234 -n 300    record 300 reports\n"
                   "  uwbctl report walk.jsonl -o walk.html        and make a page of them\n",
                   options, FiraRange);
    record->add_option("file", options->recording, "File to record into, as JSON lines")
        ->required();
    AddSessionOptions(record, options.get());
    AddFormatOptions(record, options.get());
}

// ---- The other commands ----

struct ReportOptions {
    std::string recording;
    std::string page;
};

ExitStatus Report(Events* /*events*/, const ReportOptions& options) {
    return WriteReport(options.recording, options.page);
}

void AddReport(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<ReportOptions>();
    CLI::App* report =
        AddCommand(line, app, "report", "Make a self-contained page of a recording",
                   "Example:\n  uwbctl report walk.jsonl -o walk.html\n", options, Report);
    report->add_option("file", options->recording, "The recording")->required();
    report->add_option("-o,--output", options->page, "The page; - for standard output")->required();
}

void AddCcc(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<CccOptions>();
    CLI::App* ccc =
        AddCommand(line, app, "ccc", "Run a CCC (digital key) session",
                   "Example:\n  uwbctl ccc --delay 50 -t 5    five seconds\n", options, RunCcc);
    AddIface(ccc, &options->iface);
    ccc->add_option("-d,--delay", options->delay_ms,
                    "Milliseconds until the start, beyond the system's minimum")
        ->capture_default_str();
    ccc->add_option("-c,--channel", options->channel, "UWB channel")->capture_default_str();
    ccc->add_option("-t,--time", options->seconds, "Seconds until it ends; 0 for no end")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
}

void AddSimple(CommandLine* line, CLI::App* app) {
    constexpr int kMaxPanId = 0xFFFF;
    const auto options = std::make_shared<SimpleOptions>();
    CLI::App* simple =
        AddCommand(line, app, "simple", "Range with a list of peers, without a session",
                   "Example:\n  uwbctl simple -p 0x1234 -p 0x5678 -n 20\n", options, RunSimple);
    AddIface(simple, &options->iface);
    simple
        ->add_option("-p,--peer", options->peers,
                     "Address of a peer as a number, such as 0x1234; requests count from 1")
        ->required();
    simple->add_flag("--responder", options->is_responder,
                     "Be a responder; otherwise the initiator");
    simple->add_option("-a,--address", options->address, "This device's address, 2 to 8 bytes")
        ->capture_default_str();
    simple->add_option("--pan", options->pan_id, "PAN identifier")
        ->check(CLI::Range(0, kMaxPanId))
        ->capture_default_str();
    simple->add_option("-c,--channel", options->channel, "UWB channel")->capture_default_str();
    simple->add_option("--param", options->param, "Second value of each request, for the driver")
        ->capture_default_str();
    simple->add_option("-n,--count", options->count, "Results to print; 0 for no end")
        ->capture_default_str();
}

void AddMonitor(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App* monitor =
        AddCommand(line, app, "monitor",
                   "Watch the service without taking the hardware: a line for each change",
                   "Example:\n  uwbctl monitor --json\n", options, Monitor);
    monitor->add_option("-t,--time", options->seconds, "Seconds until it ends; 0 for no end")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    monitor->add_flag("--json", options->is_json, "JSON lines in place of text");
}

ExitStatus Ifaces(Events* events, const int& /*unused*/) {
    return ListIfaces(events);
}

void AddSmallCommands(CommandLine* line, CLI::App* app) {
    AddCommand(line, app, "ifaces", "List the UWB interfaces", "Example:\n  uwbctl ifaces\n",
               std::make_shared<int>(), Ifaces);
    const auto iface = std::make_shared<std::string>();
    AddCommand(line, app, "info", "Show what an interface can do",
               "Example:\n  uwbctl info wpan0\n", iface, ShowInfo)
        ->add_option("iface", *iface, "Interface; the first one by default");
    const auto country = std::make_shared<std::string>();
    AddCommand(line, app, "country", "Load the calibration of a country",
               "Examples:\n  uwbctl country FR\n  uwbctl country       not known\n", country,
               ApplyCountry)
        ->add_option("code", *country,
                     "ISO 3166-1 alpha-2 code, such as FR; without one: not known");
    constexpr int kDefaultWaitSeconds = 10;
    const auto seconds = std::make_shared<int>(kDefaultWaitSeconds);
    AddCommand(line, app, "wait", "Wait until the service is registered",
               "Example:\n  uwbctl wait 30 && uwbctl ifaces\n", seconds, WaitForService)
        ->add_option("seconds", *seconds, "How long at most")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
}

void AddDocs(CommandLine* line, CLI::App* app) {
    // Named through the line: the application is complete only when they run.
    app->add_subcommand("man", "Print the manual page: uwbctl man | man -l -")->callback([line] {
        line->run = [line](Events*) {
            fputs(ManualPage(*line->app).c_str(), stdout);
            return kDone;
        };
    });
    app->add_subcommand("completion", "Print bash completion: source <(uwbctl completion)")
        ->callback([line] {
            line->run = [line](Events*) {
                fputs(BashCompletion(*line->app).c_str(), stdout);
                return kDone;
            };
        });
}

}  // namespace

std::unique_ptr<CommandLine> MakeCommandLine() {
    auto line = std::make_unique<CommandLine>();
    line->app = std::make_unique<CLI::App>("Drives the UWB service from a terminal.", "uwbctl");
    CLI::App* app = line->app.get();
    app->require_subcommand(1);
    app->footer(
        "Data goes to standard output, all else to standard error.\n\n"
        "Exit status: 0 done, 2 usage, 3 service not there or held by another client,\n"
        "4 refused by the service, 5 radio or session failed.");
    AddSmallCommands(line.get(), app);
    AddFira(line.get(), app);
    AddReport(line.get(), app);
    AddCcc(line.get(), app);
    AddSimple(line.get(), app);
    AddMonitor(line.get(), app);
    AddDocs(line.get(), app);
    return line;
}

}  // namespace uwbctl
