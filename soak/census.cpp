// SPDX-License-Identifier: Apache-2.0
#include "soak/census.h"

#include <android/binder_ibinder.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "bench/device/guest.h"

namespace hardware::velta::soak {
namespace {

using bench::Failure;
using bench::ReadText;

constexpr char kRadios[] = "/sys/kernel/debug/mcps802154_sim/";

std::string RadioText(int radio, const std::string& file) {
    return ReadText(kRadios + ("radio" + std::to_string(radio)) + "/" + file);
}

// Lines that begin so.
int CountLines(const std::string& text, const std::string& beginning) {
    int count = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) count += line.starts_with(beginning) ? 1 : 0;
    return count;
}

// The number behind a word.
int64_t NumberBehind(const std::string& text, const std::string& word) {
    std::istringstream words(text);
    for (std::string next; words >> next;) {
        if (next != word) continue;
        int64_t number = 0;
        if (words >> number) return number;
    }
    throw Failure("there is no " + word + " in: " + text);
}

// The service writes it while this process reads.
std::string Dump(::aidl::hardware::velta::uwb::IUwb* uwb) {
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) throw Failure("no pipe for the dump");
    std::string text;
    std::thread reader([&] {
        char part[4096];
        ssize_t size;
        while ((size = read(pipe[0], part, sizeof(part))) > 0) {
            text.append(part, static_cast<size_t>(size));
        }
    });
    const char* arguments[] = {"--json"};
    const binder_status_t status = AIBinder_dump(uwb->asBinder().get(), pipe[1], arguments, 1);
    close(pipe[1]);
    reader.join();
    close(pipe[0]);
    if (status != STATUS_OK) throw Failure("no dump: " + std::to_string(status));
    return text;
}

}  // namespace

RadioCounts ReadRadioCounts() {
    const std::string text = ReadText(std::string(kRadios) + "counts");
    RadioCounts counts;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto delivered = static_cast<uint64_t>(NumberBehind(line, "delivered"));
        if (line.starts_with("fira.report ")) {
            counts.reports = delivered;
            counts.refused = static_cast<uint64_t>(NumberBehind(line, "refused"));
        } else if (line.starts_with("fira.stopped ")) {
            counts.stops = delivered;
        }
    }
    return counts;
}

ServiceCounts ReadServiceCounts(::aidl::hardware::velta::uwb::IUwb* uwb) {
    const nlohmann::ordered_json dump = nlohmann::ordered_json::parse(Dump(uwb));
    const nlohmann::ordered_json& fira = dump.at("notifications").at("fira");
    return {.delivered = fira.at("delivered"),
            .dropped = fira.at("dropped"),
            .overflows = fira.at("overflows"),
            .is_open = dump.at("open")};
}

Resources ReadResources(pid_t service) {
    const std::string process = "/proc/" + std::to_string(service);
    const std::string status = ReadText(process + "/status");
    const std::string binder = ReadText("/sys/kernel/debug/binder/proc/" + std::to_string(service));
    if (binder.empty()) throw Failure("binder does not know the service");
    const std::filesystem::directory_iterator descriptors(process + "/fd");
    return {.resident_kib = NumberBehind(status, "VmRSS:"),
            .anonymous_kib = NumberBehind(status, "RssAnon:"),
            .descriptors = static_cast<int>(std::distance(begin(descriptors), end(descriptors))),
            .threads = static_cast<int>(NumberBehind(status, "Threads:")),
            .binder_nodes = CountLines(binder, "  node "),
            .binder_references = CountLines(binder, "  ref ")};
}

int KernelSessions() {
    int count = 0;
    for (const int radio : {0, 1}) {
        const std::string state = RadioText(radio, "state");
        count += CountLines(state, "fira_session ") + CountLines(state, "simple_ranging ") +
                 CountLines(state, "ccc state running") + CountLines(state, "ccc state stopping");
    }
    return count;
}

int BannedChannels(int radio) {
    return static_cast<int>(NumberBehind(RadioText(radio, "calibration"), "restricted_channels"));
}

pid_t ServicePid() {
    return static_cast<pid_t>(std::stoi(ReadText("/run/service.pid")));
}

}  // namespace hardware::velta::soak
