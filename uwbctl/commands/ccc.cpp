// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <cstdio>
#include <limits>

#include "uwbctl/client/output.h"
#include "uwbctl/ranging/ccc_activity.h"

namespace uwbctl {
namespace {

using std::chrono::milliseconds;

// Longer than the session's own, which tells what has happened.
constexpr milliseconds kEndPatience = kStopPatience + milliseconds(1000);
constexpr int kStopRequested = 1;

// What "uwbctl ccc" was asked for.
struct CccOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    int64_t delay_ms = 0;
    int channel = 9;
    /** Seconds after which it ends by itself, 0 for never. */
    int seconds = 0;
};

milliseconds Duration(const CccOptions& options) {
    return options.seconds == 0 ? milliseconds(std::numeric_limits<int>::max())
                                : std::chrono::seconds(options.seconds);
}

// Whatever happened before: radio stopped, deep sleep on again.
void EndSession(Events* events, const Client& client, CccActivity* activity) {
    if (!activity->end()) activity->Stop();
    FinishWithin(events, client, kEndPatience, [activity] {
        activity->Tick();
        return activity->end().has_value();
    });
    if (!activity->stop_reason()) {
        throw Failure(kRadioFailed, "the radio did not confirm the stop");
    }
}

ExitStatus RunCcc(Events* events, const CccOptions& options) {
    Client client(events);
    client.Open();
    std::string name = options.iface;
    const auto activity = std::make_shared<CccActivity>(client.GetCcc(&name), name,
                                                        options.delay_ms, options.channel);
    activity->Start(events);
    fprintf(stderr, "CCC session on %s; Ctrl-C ends it\n", name.c_str());
    printf("started  UWB time 0 at %lld ms since the epoch, channel %d\n",
           static_cast<long long>(activity->time0_ms()), options.channel);
    FlushStandardOutput();
    RunUntil(events, client, Duration(options),
             [&activity] { return activity->end().has_value(); });
    const bool by_radio = activity->end().has_value();
    EndSession(events, client, activity.get());
    const int reason = *activity->stop_reason();
    printf("stopped  reason %d (%s)\n", reason,
           reason == kStopRequested ? "asked for" : "by the radio itself");
    if (by_radio) throw Failure(kRadioFailed, "the radio stopped the CCC session");
    return kDone;
}

}  // namespace

void AddCcc(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<CccOptions>();
    CLI::App* ccc =
        AddCommand(line, app, "ccc", "Run a CCC (digital key) session",
                   "Example:\n  uwbctl ccc --delay 50 -t 5    five seconds\n", options, RunCcc);
    AddIface(ccc, &options->iface);
    ccc->add_option("-d,--delay", options->delay_ms,
                    "Milliseconds until the start, beyond the system's minimum")
        ->type_name("MS")
        ->capture_default_str();
    ccc->add_option("-c,--channel", options->channel, "UWB channel")
        ->type_name("NUMBER")
        ->capture_default_str();
    AddTime(ccc, &options->seconds);
}

}  // namespace uwbctl
