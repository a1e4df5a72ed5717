// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <android-base/stringprintf.h>

#include <cmath>
#include <cstdio>

#include "uwbctl/client/output.h"
#include "uwbctl/client/text.h"
#include "uwbctl/ranging/simple_activity.h"

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::RangingResult;
using ::android::base::StringPrintf;

// What "uwbctl simple" was asked for.
struct SimpleOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    SimpleRanging ranging;
    /** Results after which it ends by itself, 0 for none. */
    uint64_t count = 0;
};

std::string AngleText(float radians) {
    return std::isnan(radians) ? "    -   " : StringPrintf("%+6.1f deg", ToDegrees(radians));
}

std::string ResultLine(const RangingResult& result) {
    const std::string value =
        SimpleActivity::HasValue(result) ? StringPrintf("%7d mm", result.value) : "      -   ";
    return StringPrintf("request %2d  0x%04llx  %s  angle 1 %s  angle 2 %s", result.id,
                        static_cast<unsigned long long>(result.peer), value.c_str(),
                        AngleText(result.angle1).c_str(), AngleText(result.angle2).c_str());
}

// Prints results, as many as were asked for.
struct Printer {
    uint64_t max = 0;
    uint64_t count = 0;
    bool has_answer = false;

    bool is_done() const { return max != 0 && count >= max; }
    void Print(const RangingResult& result) {
        if (is_done()) return;
        count++;
        if (SimpleActivity::HasValue(result)) has_answer = true;
        puts(ResultLine(result).c_str());
        FlushStandardOutput();
    }
};

ExitStatus RunSimple(Events* events, const SimpleOptions& options) {
    // What is wrong with them is wrong without a service as well.
    RequestsOf(options.ranging);
    Client client(events);
    client.Open();
    std::string name = options.iface;
    Printer printer{.max = options.count};
    const auto activity = std::make_shared<SimpleActivity>(
        client.GetSimpleRanging(&name), name, options.ranging,
        [&printer](const RangingResult& result, const Measurement& /*same*/) {
            printer.Print(result);
        });
    activity->Start(events);
    fprintf(stderr, "simple ranging on %s, channel %d; Ctrl-C ends it\n", name.c_str(),
            options.ranging.channel);
    constexpr auto kPatience = SimpleActivity::kPatience;
    const Ended ended =
        RunUntil(events, client, kPatience, [&printer] { return printer.is_done(); });
    activity->Stop();
    if (ended == Ended::kSilent) {
        throw Failure(kRadioFailed, StringPrintf("no result from the radio for %lld ms",
                                                 static_cast<long long>(kPatience.count())));
    }
    if (ended == Ended::kDone && !printer.has_answer) {
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
        ->add_option("-p,--peer", options->ranging.peers,
                     "Address of a peer, such as 0x1234; requests count from 1")
        ->type_name("ADDRESS")
        ->required();
    simple->add_flag("--responder", options->ranging.is_responder,
                     "Be a responder; otherwise the initiator");
    simple
        ->add_option("-a,--address", options->ranging.address,
                     "This device's address, 2 to 8 bytes")
        ->type_name("ADDRESS")
        ->capture_default_str();
    simple->add_option("--pan", options->ranging.pan_id, "PAN identifier, up to 65535")
        ->type_name("NUMBER")
        ->check(NumberRange(0, kMaxPanId))
        ->capture_default_str();
    simple->add_option("-c,--channel", options->ranging.channel, "UWB channel")
        ->type_name("NUMBER")
        ->capture_default_str();
    simple
        ->add_option("--param", options->ranging.param,
                     "Second value of each request, for the driver")
        ->type_name("NUMBER")
        ->capture_default_str();
    AddCount(simple, &options->count, "Results");
}

}  // namespace uwbctl
