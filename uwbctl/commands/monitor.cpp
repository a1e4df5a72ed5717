// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <android-base/unique_fd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>

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

// What is watched, by name, with its present state; no entry for what is not known.
using States = std::map<std::string, std::string>;

bool IsUp(const std::string& iface) {
    const android::base::unique_fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request = {};
    iface.copy(request.ifr_name, IFNAMSIZ - 1);
    return ioctl(fd.get(), SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_UP) != 0;
}

States Look() {
    States states;
    const auto service = Client::FindService();
    states["service"] = service == nullptr ? "not there" : "there";
    if (service == nullptr) return states;
    // There are interfaces exactly while a client holds the hardware.
    std::vector<std::string> names;
    if (!service->listIfaceNames(&names).isOk()) return {{"service", "not there"}};
    states["hardware"] = names.empty() ? "free" : "held by a client";
    for (const std::string& name : names) states["interface " + name] = IsUp(name) ? "up" : "down";
    return states;
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
               state.c_str());
    }
    fflush(stdout);
}

ExitStatus Monitor(Events* events, const MonitorOptions& options) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(options.seconds);
    States known;
    while (options.seconds == 0 || std::chrono::steady_clock::now() < end) {
        const States states = Look();
        for (const auto& [what, state] : states) {
            const auto before = known.find(what);
            if (before == known.end() || before->second != state) {
                PrintChange(what, state, options.is_json);
            }
        }
        for (const auto& [what, state] : known) {
            if (!states.contains(what)) PrintChange(what, "gone", options.is_json);
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
    monitor->add_option("-t,--time", options->seconds, "Seconds until it ends; 0 for no end")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    monitor->add_flag("--json", options->is_json, "JSON lines in place of text");
}

}  // namespace uwbctl
