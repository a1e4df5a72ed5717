// SPDX-License-Identifier: Apache-2.0
#include <net/if.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "uwbctl/client/holder.h"
#include "uwbctl/client/interfaces.h"
#include "uwbctl/client/output.h"
#include "uwbctl/commands/command.h"

namespace uwbctl {
namespace {

using std::chrono::milliseconds;

// A change that is undone faster than that is missed.
constexpr milliseconds kInterval{250};

// What "uwbctl monitor" was asked for.
struct MonitorOptions {
    /** Seconds after which it ends by itself, 0 for never. */
    int seconds = 0;
    /** JSON lines in place of text. */
    bool is_json = false;
};

constexpr char kInterface[] = "interface ";
constexpr char kHeld[] = "held by a client";

// What is watched, by name, with its present state, from the service down to the interfaces; no
// entry for what is not known.
using States = std::vector<std::pair<std::string, std::string>>;

const std::string* Find(const States& states, const std::string& what) {
    const auto state = std::find_if(states.begin(), states.end(),
                                    [&what](const auto& entry) { return entry.first == what; });
    return state == states.end() ? nullptr : &state->second;
}

// What is known already is looked for by name, where the kernel gives no list.
States Look(const States& known) {
    States states;
    const auto service = Client::FindService();
    std::vector<std::string> names;
    const bool answers = service != nullptr && service->listIfaceNames(&names).isOk();
    states.emplace_back("service", answers ? "there" : "not there");
    // The service names interfaces exactly while a client holds the hardware; the kernel has them
    // all the time, for those who may look.
    if (answers) states.emplace_back("hardware", names.empty() ? "free" : kHeld);
    for (const std::string& name : Ieee802154Interfaces()) names.push_back(name);
    for (const auto& [what, state] : known) {
        const std::string name =
            what.starts_with(kInterface) ? what.substr(strlen(kInterface)) : "";
        if (if_nametoindex(name.c_str()) != 0) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (const std::string& name : names) {
        states.emplace_back(kInterface + name, IsInterfaceUp(name) ? "up" : "down");
    }
    return states;
}

// For people: by whom as well, if that can be known.
std::string HeldText() {
    const auto service = Client::FindService();
    const std::string holder = HolderText();
    return std::string(kHeld) + (holder.empty() ? "" : ": " + holder);
}

void PrintChange(const std::string& what, const std::string& state, bool is_json) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    constexpr int64_t kNanosecondsPerSecond = 1000000000;
    constexpr int64_t kNanosecondsPerMillisecond = 1000000;
    if (is_json) {
        const nlohmann::ordered_json json = {
            {"type", "change"},
            {"time_ns", now.tv_sec * kNanosecondsPerSecond + now.tv_nsec},
            {"what", what},
            {"state", state}};
        puts(json.dump().c_str());
    } else {
        tm parts = {};
        localtime_r(&now.tv_sec, &parts);
        char time[sizeof("00:00:00")] = {};
        strftime(time, sizeof(time), "%H:%M:%S", &parts);
        printf("%s.%03d  %-16s %s\n", time,
               static_cast<int>(now.tv_nsec / kNanosecondsPerMillisecond), what.c_str(),
               (state == kHeld ? HeldText() : state).c_str());
    }
    FlushStandardOutput();
}

ExitStatus Monitor(Events* events, const MonitorOptions& options) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(options.seconds);
    States known;
    while (options.seconds == 0 || std::chrono::steady_clock::now() < end) {
        const States states = Look(known);
        for (const auto& [what, state] : states) {
            const std::string* before = Find(known, what);
            if (before == nullptr || *before != state) PrintChange(what, state, options.is_json);
        }
        for (const auto& [what, state] : known) {
            if (Find(states, what) == nullptr) PrintChange(what, "gone", options.is_json);
        }
        known = states;
        const Events::Wake wake = events->Wait(kInterval);
        if (wake == Events::Wake::kInterrupted || wake == Events::Wake::kOutputClosed) break;
    }
    return kDone;
}

}  // namespace

void AddMonitor(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App* monitor =
        AddCommand(line, app, "monitor",
                   "Watch the service without taking the hardware: a line for each change",
                   "Example:\n  uwbctl monitor --json\n", options, Monitor);
    AddTime(monitor, &options->seconds);
    monitor->add_flag("--json", options->is_json, "JSON lines in place of text");
}

}  // namespace uwbctl
