// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/controlees.h"

#include <algorithm>

#include "uwbctl/client/text.h"

namespace uwbctl {

std::string Controlees::Take(const std::string& event, const std::vector<std::string>& peers) {
    const std::string names = Join(peers, [](const std::string& peer) { return peer; });
    if (event == "controlees_added") {
        peers_.insert(peers.begin(), peers.end());
        return "added " + names;
    }
    if (event == "controlees_removed") {
        for (const std::string& peer : peers) peers_.erase(peer);
        return "removed " + names;
    }
    const bool adding = event == "controlees_add_failed";
    std::vector<std::string> culprits;
    std::copy_if(peers.begin(), peers.end(), std::back_inserter(culprits),
                 [&](const std::string& peer) { return peers_.contains(peer) == adding; });
    std::string text = std::string("could not ") + (adding ? "add " : "remove ") + names + ": ";
    if (culprits.empty()) return text + "the radio refuses and gives no reason; dmesg may have one";
    if (peers.size() > 1) {
        text += Join(culprits, [](const std::string& peer) { return peer; }) + " is ";
    }
    return text + (adding ? "already in the session" : "not in the session");
}

}  // namespace uwbctl
