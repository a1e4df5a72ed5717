// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/ICccController.h>

#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/output.h"

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::BnCccControllerCallback;
using ::aidl::hardware::velta::uwb::ICccController;
using ::ndk::ScopedAStatus;
using std::chrono::milliseconds;

constexpr milliseconds kStopPatience{5000};
constexpr int kStopRequested = 1;

// The service takes an identifier but has one session at a time.
constexpr int kSessionId = 1;

// What "uwbctl ccc" was asked for.
struct CccOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    int64_t delay_ms = 0;
    int channel = 9;
    /** Seconds after which it ends by itself, 0 for never. */
    int seconds = 0;
};

// Touched on the command's thread only.
struct Progress {
    std::optional<int> stop_reason;
};

class Callback : public BnCccControllerCallback {
  public:
    Callback(Events* events, std::shared_ptr<Progress> progress)
        : events_(events), progress_(std::move(progress)) {}

    ScopedAStatus onSessionStopped(int32_t reason) override {
        events_->Post([progress = progress_, reason] { progress->stop_reason = reason; });
        return ScopedAStatus::ok();
    }

  private:
    Events* events_;
    std::shared_ptr<Progress> progress_;
};

milliseconds Duration(const CccOptions& options) {
    return options.seconds == 0 ? milliseconds(std::numeric_limits<int>::max())
                                : std::chrono::seconds(options.seconds);
}

// Whatever happened before: radio stopped, deep sleep on again.
void EndSession(Events* events, const Client& client, ICccController* controller,
                const Progress& progress) {
    if (!progress.stop_reason) {
        Check(controller->stopSession(kSessionId), "stop the CCC session");
        if (!FinishWithin(events, client, kStopPatience,
                          [&progress] { return progress.stop_reason.has_value(); })) {
            controller->deinitSession();
            throw Failure(kRadioFailed, "the radio did not confirm the stop");
        }
    }
    Check(controller->deinitSession(), "remove the CCC session");
}

ExitStatus RunCcc(Events* events, const CccOptions& options) {
    Client client(events);
    client.Open();
    std::string name = options.iface;
    const auto iface = client.GetIface(&name);
    std::shared_ptr<ICccController> controller;
    Check(iface->cccController(&controller), "get the CCC controller");
    if (controller == nullptr) throw Failure(kRefused, "interface " + name + " has no CCC");

    const auto progress = std::make_shared<Progress>();
    Check(controller->setCallback(ndk::SharedRefBase::make<Callback>(events, progress)),
          "set the callback");
    Check(controller->initSession(), "initialise the CCC session");
    int64_t time0_ms = 0;
    if (const ScopedAStatus status =
            controller->startSession(kSessionId, options.delay_ms, options.channel, &time0_ms);
        !status.isOk()) {
        controller->deinitSession();
        CheckStart(status, "start the CCC session", options.channel);
    }
    fprintf(stderr, "CCC session on %s; Ctrl-C ends it\n", name.c_str());
    printf("started  UWB time 0 at %lld ms since the epoch, channel %d\n",
           static_cast<long long>(time0_ms), options.channel);
    FlushStandardOutput();
    RunUntil(events, client, Duration(options),
             [&progress] { return progress->stop_reason.has_value(); });
    const bool by_radio = progress->stop_reason.has_value();
    EndSession(events, client, controller.get(), *progress);
    printf("stopped  reason %d (%s)\n", *progress->stop_reason,
           *progress->stop_reason == kStopRequested ? "asked for" : "by the radio itself");
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
