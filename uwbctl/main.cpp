// SPDX-License-Identifier: Apache-2.0

// uwbctl: a command-line client of the UWB service. Data goes to standard output, everything else
// to standard error.
#include <android-base/logging.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "uwbctl/client.h"
#include "uwbctl/commands.h"
#include "uwbctl/fira_range.h"

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

int Run(int argc, char** argv) {
    constexpr int kDefaultWaitSeconds = 10;
    CLI::App app("Drives the UWB service from a terminal.", "uwbctl");
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 done, 2 usage, 3 service not there or held by another client,\n"
        "4 refused by the service, 5 radio or session failed.");

    std::string iface;
    int seconds = kDefaultWaitSeconds;
    FiraRangeOptions range;
    CLI::App* ifaces = app.add_subcommand("ifaces", "List the UWB interfaces");
    CLI::App* info = app.add_subcommand("info", "Show what an interface can do");
    info->add_option("iface", iface, "Interface; the first one by default");
    CLI::App* wait = app.add_subcommand("wait", "Wait until the service is registered");
    wait->add_option("seconds", seconds, "How long at most")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    AddFira(&app, &range);

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
