// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <aidl/hardware/velta/uwb/ISimpleRangingController.h>
#include <android-base/stringprintf.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/output.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::android::base::StringPrintf;
using ::ndk::ScopedAStatus;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{5000};
constexpr int32_t kNoValue = std::numeric_limits<int32_t>::min();

// What "uwbctl simple" was asked for.
struct SimpleOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    bool is_responder = false;
    /** Addresses of the peers, as text; requests are numbered from 1 in this order. */
    std::vector<std::string> peers;
    /** This device's address, as text: 2 to 8 bytes. */
    std::string address = "0x0001";
    int pan_id = 0xCAFE;
    int channel = 9;
    /** Second value of each request, which the driver interprets. */
    int param = 0;
    /** Results after which it ends by itself, 0 for none. */
    uint64_t count = 0;
};

std::string AngleText(float radians) {
    return std::isnan(radians) ? "    -   " : StringPrintf("%+6.1f deg", ToDegrees(radians));
}

std::string ResultLine(const RangingResult& result) {
    const std::string value =
        result.value == kNoValue ? "      -   " : StringPrintf("%7d mm", result.value);
    return StringPrintf("request %2d  0x%04llx  %s  angle 1 %s  angle 2 %s", result.id,
                        static_cast<unsigned long long>(result.peer), value.c_str(),
                        AngleText(result.angle1).c_str(), AngleText(result.angle2).c_str());
}

// Touched on the command's thread only.
struct Progress {
    uint64_t results = 0;
    bool has_answer = false;
};

class Callback : public BnSimpleRangingCallback {
  public:
    Callback(Events* events, std::shared_ptr<Progress> progress, uint64_t max_results)
        : events_(events), progress_(std::move(progress)), max_results_(max_results) {}

    ScopedAStatus onRangingResult(const RangingResult& result) override {
        events_->Post([progress = progress_, max_results = max_results_, result] {
            if (max_results != 0 && progress->results >= max_results) return;
            progress->results++;
            if (result.value != kNoValue) progress->has_answer = true;
            puts(ResultLine(result).c_str());
            FlushStandardOutput();
        });
        return ScopedAStatus::ok();
    }

  private:
    Events* events_;
    std::shared_ptr<Progress> progress_;
    uint64_t max_results_;
};

ExitStatus RunSimple(Events* events, const SimpleOptions& options) {
    const UwbAddress address = CheckAnyAddress(options.address);
    const std::vector<RangingRequest> requests =
        MakeRequests(options.peers, options.address, options.param);
    Client client(events);
    client.Open();
    std::string name = options.iface;
    const auto iface = client.GetIface(&name);
    std::shared_ptr<ISimpleRangingController> controller;
    Check(iface->simpleRangingController(&controller), "get the simple ranging controller");

    const auto progress = std::make_shared<Progress>();
    Check(controller->setCallback(
              ndk::SharedRefBase::make<Callback>(events, progress, options.count)),
          "set the callback");
    CheckStart(options.is_responder
                   ? controller->startResponderMode(options.pan_id, address, options.channel)
                   : controller->startInitiatorMode(options.pan_id, address, options.channel),
               "start simple ranging", options.channel);
    if (const ScopedAStatus status = controller->setRangings(requests); !status.isOk()) {
        controller->stop();
        Check(status, "set the ranging requests");
    }
    fprintf(stderr, "simple ranging on %s, channel %d; Ctrl-C ends it\n", name.c_str(),
            options.channel);
    const Ended ended = RunUntil(events, client, kPatience, [&] {
        return options.count != 0 && progress->results >= options.count;
    });
    Check(controller->stop(), "stop simple ranging");
    if (ended == Ended::kSilent) {
        throw Failure(kRadioFailed, StringPrintf("no result from the radio for %lld ms",
                                                 static_cast<long long>(kPatience.count())));
    }
    if (ended == Ended::kDone && !progress->has_answer) {
        throw Failure(kNoAnswer, "no peer has answered: is it there?");
    }
    return kDone;
}

}  // namespace

void AddSimple(CommandLine* line, CLI::App* app) {
    constexpr int kMaxPanId = 0xFFFF;
    const auto options = std::make_shared<SimpleOptions>();
    CLI::App* simple =
        AddCommand(line, app, "simple", "Range with a list of peers, without a session",
                   "Example:\n  uwbctl simple -p 0x1234 -p 0x5678 -n 20\n", options, RunSimple);
    AddIface(simple, &options->iface);
    simple
        ->add_option("-p,--peer", options->peers,
                     "Address of a peer, such as 0x1234; requests count from 1")
        ->type_name("ADDRESS")
        ->required();
    simple->add_flag("--responder", options->is_responder,
                     "Be a responder; otherwise the initiator");
    simple->add_option("-a,--address", options->address, "This device's address, 2 to 8 bytes")
        ->type_name("ADDRESS")
        ->capture_default_str();
    simple->add_option("--pan", options->pan_id, "PAN identifier, up to 65535")
        ->type_name("NUMBER")
        ->check(NumberRange(0, kMaxPanId))
        ->capture_default_str();
    simple->add_option("-c,--channel", options->channel, "UWB channel")
        ->type_name("NUMBER")
        ->capture_default_str();
    simple->add_option("--param", options->param, "Second value of each request, for the driver")
        ->type_name("NUMBER")
        ->capture_default_str();
    AddCount(simple, &options->count, "Results");
}

}  // namespace uwbctl
