// SPDX-License-Identifier: Apache-2.0

// uwbctl: a command-line client of the UWB service. Data goes to standard output, everything else
// to standard error.
#include <android-base/logging.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "uwbctl/ccc_session.h"
#include "uwbctl/client.h"
#include "uwbctl/commands.h"
#include "uwbctl/fira_range.h"
#include "uwbctl/simple_ranging.h"

namespace {

using namespace uwbctl;

void AddFira(CLI::App* app, FiraRangeOptions* options) {
    constexpr int kMaxPeers = 16;
    constexpr int kMaxBlockMs = 3600000;
    CLI::App* fira = app->add_subcommand("fira", "FiRa two-way ranging");
    fira->require_subcommand(1);
    CLI::App* range =
        fira->add_subcommand("range", "Range with peers and print a line for each measurement");
    range
        ->add_option("-p,--peer", options->peers,
                     "Short address of a peer, such as 0x1234: each controlee, or the controller")
        ->required()
        ->expected(1, kMaxPeers);
    range->add_option("-i,--iface", options->iface, "Interface; the first one by default");
    range->add_option("-a,--address", options->address,
                      "This device's short address (0x0001, as controlee 0x0002)");
    range->add_flag("--controlee", options->is_controlee,
                    "Be a controlee; otherwise the controller");
    range->add_option("-s,--session", options->session_id, "Session identifier")
        ->capture_default_str();
    range->add_option("-c,--channel", options->channel, "UWB channel")->capture_default_str();
    range
        ->add_option("-b,--block", options->block_duration_ms,
                     "Block duration, the interval between reports, in milliseconds")
        ->capture_default_str()
        ->check(CLI::Range(1, kMaxBlockMs));
    range->add_option("--angles", options->angles, "Angles to measure")
        ->capture_default_str()
        ->check(CLI::IsMember({"none", "azimuth", "elevation", "both"}));
    range->add_option("-n,--count", options->count, "Reports to print; 0 for no end")
        ->capture_default_str();
}

CLI::App* AddCcc(CLI::App* app, CccOptions* options) {
    CLI::App* ccc = app->add_subcommand("ccc", "Run a CCC (digital key) session");
    ccc->add_option("-i,--iface", options->iface, "Interface; the first one by default");
    ccc->add_option("-d,--delay", options->delay_ms,
                    "Milliseconds until the start, beyond the system's minimum")
        ->capture_default_str();
    ccc->add_option("-c,--channel", options->channel, "UWB channel")->capture_default_str();
    ccc->add_option("-t,--time", options->seconds, "Seconds until it ends; 0 for no end")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    return ccc;
}

CLI::App* AddSimple(CLI::App* app, SimpleOptions* options) {
    constexpr int kMaxPanId = 0xFFFF;
    CLI::App* simple = app->add_subcommand(
        "simple",
        "Range with a list of peers, without a session, and print a line for each result");
    simple
        ->add_option("-p,--peer", options->peers,
                     "Address of a peer as a number, such as 0x1234; requests count from 1")
        ->required();
    simple->add_option("-i,--iface", options->iface, "Interface; the first one by default");
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
    return simple;
}

int Run(int argc, char** argv) {
    constexpr int kDefaultWaitSeconds = 10;
    CLI::App app("Drives the UWB service from a terminal.", "uwbctl");
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 done, 2 usage, 3 service not there or held by another client,\n"
        "4 refused by the service, 5 radio or session failed.");

    std::string iface;
    int seconds = kDefaultWaitSeconds;
    std::string country;
    FiraRangeOptions range;
    CccOptions ccc_options;
    SimpleOptions simple_options;
    CLI::App* ifaces = app.add_subcommand("ifaces", "List the UWB interfaces");
    CLI::App* info = app.add_subcommand("info", "Show what an interface can do");
    info->add_option("iface", iface, "Interface; the first one by default");
    CLI::App* wait = app.add_subcommand("wait", "Wait until the service is registered");
    wait->add_option("seconds", seconds, "How long at most")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    CLI::App* country_command = app.add_subcommand("country", "Load the calibration of a country");
    country_command->add_option("code", country,
                                "ISO 3166-1 alpha-2 code, such as FR; without one: not known");
    AddFira(&app, &range);
    const CLI::App* ccc = AddCcc(&app, &ccc_options);
    const CLI::App* simple = AddSimple(&app, &simple_options);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    // Before binder starts its threads, which may still post to it while the process ends.
    static Events events;
    if (*ifaces) return ListIfaces(&events);
    if (*info) return ShowInfo(&events, iface);
    if (*wait) return WaitForService(seconds);
    if (*country_command) return ApplyCountry(&events, country);
    if (*ccc) return RunCcc(&events, ccc_options);
    if (*simple) return RunSimple(&events, simple_options);
    return FiraRange(&events, range);
}

}  // namespace

int main(int argc, char** argv) {
    // The libraries' own chatter is not the user's.
    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    int status = kDone;
    try {
        status = Run(argc, argv);
    } catch (const uwbctl::Failure& failure) {
        fprintf(stderr, "uwbctl: %s\n", failure.what());
        status = failure.status();
    }
    // A thread may still be waiting for the service manager: no destructors behind its back.
    fflush(stdout);
    _exit(status);
}
