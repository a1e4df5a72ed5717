// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/bugreport.h"

#include <android-base/file.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <android/binder_ibinder.h>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/klog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <regex>
#include <thread>
#include <utility>

#include "uwbctl/client/client.h"
#include "uwbctl/client/holder.h"
#include "uwbctl/client/interfaces.h"

namespace uwbctl {
namespace {

using ::android::base::ReadFileToString;
using ::android::base::Split;
using ::android::base::unique_fd;
using Part = BugReport::Part;

// The kernel cuts a program's name.
constexpr char kServiceName[] = "hardware.velta.";
constexpr size_t kLogLines = 3000;
constexpr int kKernelLogReadAll = 3;  // SYSLOG_ACTION_READ_ALL
constexpr int kKernelLogSize = 10;    // SYSLOG_ACTION_SIZE_BUFFER

std::string Reason() {
    return strerror(errno);
}

Part FilePart(const std::string& path) {
    std::string text;
    if (ReadFileToString(path, &text, /*follow_symlinks=*/true)) return {text, ""};
    return {"", path + ": " + Reason()};
}

std::string LinesWith(const std::string& text, const std::vector<std::string>& words) {
    std::string found;
    for (const std::string& line : Split(text, "\n")) {
        const bool is_ours = std::any_of(words.begin(), words.end(), [&](const auto& word) {
            return line.find(word) != std::string::npos;
        });
        if (is_ours) found += line + "\n";
    }
    return found;
}

// What a program prints; a problem when it is not there, fails or prints nothing.
Part CommandPart(const std::string& command) {
    FILE* pipe =
        popen(("(" + command + ") 2>/dev/null").c_str(), "re");  // NOLINT(cert-env33-c): fixed.
    if (pipe == nullptr) return {"", Reason()};
    std::string text;
    std::array<char, 4096> buffer = {};
    for (size_t size = 0; (size = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        text.append(buffer.data(), size);
    }
    if (pclose(pipe) != 0 || text.empty()) return {"", "\"" + command + "\" gave nothing"};
    return {text, ""};
}

std::optional<std::string> FindServiceFolder() {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), closedir);
    while (const dirent* entry = folder == nullptr ? nullptr : readdir(folder.get())) {
        const std::string path = std::string("/proc/") + entry->d_name;
        std::string name;
        if (ReadFileToString(path + "/comm", &name) && name.starts_with(kServiceName)) return path;
    }
    return std::nullopt;
}

std::string Descriptors(const std::string& folder) {
    std::string text;
    const std::unique_ptr<DIR, int (*)(DIR*)> fds(opendir((folder + "/fd").c_str()), closedir);
    if (fds == nullptr) return "descriptors: " + Reason() + "\n";
    while (const dirent* entry = readdir(fds.get())) {
        std::string target;
        if (android::base::Readlink(folder + "/fd/" + entry->d_name, &target)) {
            text += std::string("descriptor ") + entry->d_name + ": " + target + "\n";
        }
    }
    return text;
}

}  // namespace

void BugReport::Add(const std::string& title, const Part& part) {
    text_ += "==== " + title + "\n";
    if (part.problem.empty()) {
        text_ += part.text + (part.text.ends_with('\n') ? "\n" : "\n\n");
        return;
    }
    text_ += part.text + "could not be got: " + part.problem + "\n\n";
    missing_.push_back(title + ": " + part.problem);
}

std::string HideBytes(const std::string& text) {
    static const std::regex list(R"(\[ *-?[0-9]+(, *-?[0-9]+)* *\])");
    return std::regex_replace(text, list, "[hidden]");
}

std::string LastLines(const std::string& text, size_t count) {
    size_t begin = text.size();
    if (text.ends_with('\n')) begin--;
    for (size_t lines = 0; lines < count && begin != std::string::npos && begin > 0; lines++) {
        begin = text.rfind('\n', begin - 1);
    }
    return begin == std::string::npos || begin == 0 ? text : text.substr(begin + 1);
}

Part ServiceDump(std::chrono::milliseconds patience) {
    int ends[2] = {-1, -1};
    std::shared_ptr<Client::IUwb> service;
    try {
        service = Client::FindService();
    } catch (const Failure& failure) {
        return {"", failure.what()};
    }
    if (service == nullptr) return {"", "the UWB service is not there"};
    if (pipe2(ends, O_CLOEXEC) != 0) return {"", Reason()};
    const unique_fd reader(ends[0]);
    // A service that hangs does not answer: this thread is left behind then.
    std::thread([service, writer = std::make_shared<unique_fd>(ends[1])] {
        AIBinder_dump(service->asBinder().get(), writer->get(), nullptr, 0);
    }).detach();
    std::string text;
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd ready = {.fd = reader.get(), .events = POLLIN, .revents = 0};
        if (poll(&ready, 1, static_cast<int>(std::max<int64_t>(left.count(), 0))) <= 0) {
            return {text, "the service does not answer"};
        }
        std::array<char, 4096> buffer = {};
        const ssize_t size = read(reader.get(), buffer.data(), buffer.size());
        if (size <= 0) break;
        text.append(buffer.data(), static_cast<size_t>(size));
    }
    if (text.empty()) return {"", "the service refused"};
    return {text, ""};
}

Part ServiceLog(const std::string& file) {
    Part part;
    if (!file.empty()) {
        part = FilePart(file);
    } else {
        part = CommandPart("logcat -d -b main,system | grep -E 'velta|Uwb'");
        if (!part.problem.empty()) part = CommandPart("journalctl -q -n 3000 -t velta-uwb");
        if (!part.problem.empty()) {
            part.problem = "neither logcat nor the journal has it; --log FILE names another place";
        }
    }
    part.text = HideBytes(LastLines(part.text, kLogLines));
    return part;
}

Part ServiceProcess() {
    const auto folder = FindServiceFolder();
    if (!folder) return {"", "no process of that name runs, or it may not be seen"};
    Part status = FilePart(*folder + "/status");
    if (!status.problem.empty()) return status;
    std::string text = "folder: " + *folder + "\n" +
                       LinesWith(status.text, {"State", "Uid", "VmRSS", "VmHWM", "Threads", "Cap",
                                               "NoNewPrivs", "Seccomp:", "ctxt_switches"});
    for (const char* name : {"wchan", "attr/current", "stack"}) {
        std::string value;
        const bool is_there = ReadFileToString(*folder + "/" + name, &value);
        value.erase(std::min(value.find('\0'), value.size()));  // The kernel ends some with one.
        text += std::string(name) + ": " + (is_there ? value : Reason()) + "\n";
    }
    return {text + Descriptors(*folder), ""};
}

Part KernelLog() {
    const int size = klogctl(kKernelLogSize, nullptr, 0);
    if (size < 0) return {"", Reason()};
    std::string text(static_cast<size_t>(size), '\0');
    const int used = klogctl(kKernelLogReadAll, text.data(), size);
    if (used < 0) return {"", Reason()};
    text.resize(static_cast<size_t>(used));
    return {LinesWith(text, {"mcps", "802154", "wpan", "uwb", "binder", "BUG", "Oops"}), ""};
}

Part KernelState() {
    std::string modules;
    ReadFileToString("/proc/modules", &modules);
    std::string text = LinesWith(modules, {"mcps", "802154", "binder"});
    for (const std::string& name : Ieee802154Interfaces()) {
        text += "interface " + name + ": " + (IsInterfaceUp(name) ? "up" : "down") + "\n";
    }
    const std::string holder = HolderText();
    text += "held by: " + (holder.empty() ? "not known" : holder) + "\n";
    std::string sockets;
    ReadFileToString("/proc/net/netlink", &sockets);
    for (const std::string& line : Split(sockets, "\n")) {
        const auto words = android::base::Tokenize(line, " ");
        const bool is_generic = words.size() > 2 && (words[1] == "16" || words[1] == "Eth");
        if (is_generic) text += "netlink " + line + "\n";
    }
    return {text, ""};
}

}  // namespace uwbctl
