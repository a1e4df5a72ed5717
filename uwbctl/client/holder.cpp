// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/holder.h"

#include <android-base/file.h>
#include <android-base/parseint.h>
#include <android-base/strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace uwbctl {
namespace {

using ::android::base::ReadFileToString;

constexpr const char* kBinderStates[] = {"/sys/kernel/debug/binder/state",
                                         "/dev/binderfs/binder_logs/state"};

// One object that a process offers, and who refers to it.
struct Node {
    int owner = 0;
    // The context manager's, which everybody uses: it has no address.
    bool is_manager = false;
    std::vector<int> users;

    bool IsUsedBy(int pid) const {
        return std::find(users.begin(), users.end(), pid) != users.end();
    }
};

int Number(const std::string& text) {
    int number = 0;
    android::base::ParseInt(text, &number);
    return number;
}

// From lines such as "proc 12" and "  node 6: u00005558 c00005558 hs 1 ... tr 1 proc 163 156".
std::vector<Node> ReadNodes(const std::string& binder_state) {
    std::vector<Node> nodes;
    int owner = 0;
    for (const std::string& line : android::base::Split(binder_state, "\n")) {
        const auto words = android::base::Tokenize(line, " ");
        if (words.size() < 2) continue;
        if (line.starts_with("proc ")) owner = Number(words[1]);
        if (words[0] != "node") continue;
        Node node = {.owner = owner, .is_manager = false, .users = {}};
        node.is_manager = words.size() > 2 && words[2].find_first_not_of("u0") == words[2].npos;
        for (auto word = std::find(words.begin(), words.end(), "proc"); word != words.end();
             word++) {
            node.users.push_back(Number(*word));
        }
        nodes.push_back(std::move(node));
    }
    return nodes;
}

}  // namespace

std::optional<int> FindHolder(const std::string& binder_state, int own_pid) {
    const std::vector<Node> nodes = ReadNodes(binder_state);
    const auto service = std::find_if(nodes.begin(), nodes.end(), [own_pid](const Node& node) {
        return !node.is_manager && node.IsUsedBy(own_pid);
    });
    if (service == nodes.end()) return std::nullopt;
    // The service manager gives the service an object of its own as well.
    const auto manages = [&nodes](int pid) {
        return std::any_of(nodes.begin(), nodes.end(), [pid](const Node& node) {
            return node.is_manager && node.owner == pid;
        });
    };
    const auto holder = std::find_if(nodes.begin(), nodes.end(), [&](const Node& node) {
        return node.owner != own_pid && !manages(node.owner) && node.IsUsedBy(service->owner);
    });
    if (holder == nodes.end()) return std::nullopt;
    return holder->owner;
}

std::string HolderText() {
    for (const char* path : kBinderStates) {
        std::string state;
        if (!ReadFileToString(path, &state)) continue;
        const auto pid = FindHolder(state, getpid());
        if (!pid) continue;
        const std::string number = std::to_string(*pid);
        std::string command;
        ReadFileToString("/proc/" + number + "/cmdline", &command);
        std::replace(command.begin(), command.end(), '\0', ' ');
        command = android::base::Trim(command);
        return command.empty() ? "process " + number : command + " (pid " + number + ")";
    }
    return "";
}

void TellHolder() {
    const std::string holder = HolderText();
    fprintf(stderr, "the hardware is held by %s\n",
            holder.empty() ? "another client" : holder.c_str());
}

}  // namespace uwbctl
