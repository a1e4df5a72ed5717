// SPDX-License-Identifier: Apache-2.0

// seccomp-exec LIST PROGRAM [ARGUMENT]...: runs a program that may make the system calls of LIST and no
// others: the kernel ends it at the first. LIST is in the form of Android's minijail, "NAME: 1" a line.
// Privileges must have been given up for good (no-new-privileges) or be all there.
#include <seccomp.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kAllowed = ": 1";
constexpr int kCannotRun = 126;

// What is wrong; empty for nothing.
std::string Allow(scmp_filter_ctx filter, const std::string& list) {
    std::ifstream file(list);
    if (!file.is_open()) return list + ": " + strerror(errno);
    bool is_empty = true;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() == '#') continue;
        if (!line.ends_with(kAllowed)) return list + ": not understood: " + line;
        const std::string name = line.substr(0, line.size() - kAllowed.size());
        // One that another machine has is of no consequence; one that none has is a mistake.
        const int call = seccomp_syscall_resolve_name(name.c_str());
        if (call == __NR_SCMP_ERROR || seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) != 0) {
            return list + ": no system call: " + name;
        }
        is_empty = false;
    }
    return is_empty ? list + ": nothing is allowed" : "";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: seccomp-exec LIST PROGRAM [ARGUMENT]...\n");
        return kCannotRun;
    }
    const std::unique_ptr<void, decltype(&seccomp_release)> filter(
        seccomp_init(SCMP_ACT_KILL_PROCESS), seccomp_release);
    // A tree in place of a chain.
    seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2);
    std::string wrong = Allow(filter.get(), argv[1]);
    if (wrong.empty()) {
        const int error = seccomp_load(filter.get());
        if (error == 0) execvp(argv[2], argv + 2);
        wrong = argv[2] + std::string(": ") + strerror(error == 0 ? errno : -error);
    }
    fprintf(stderr, "seccomp-exec: %s\n", wrong.c_str());
    return kCannotRun;
}
