// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <vector>

namespace uwbctl {

/** Keeps count of a session's controlees, and puts what happens to them into words. */
class Controlees {
  public:
    /** @param peers those that the session begins with, as AddressText(). */
    explicit Controlees(const std::vector<std::string>& peers)
        : peers_(peers.begin(), peers.end()) {}

    /**
     * Takes an event of the session. The radio gives no reason for what it refuses; who is in the
     * session is the reason as a rule.
     *
     * @param event "controlees_added", "controlees_add_failed", "controlees_removed" or
     *        "controlees_remove_failed".
     * @return it in words.
     */
    std::string Take(const std::string& event, const std::vector<std::string>& peers);

  private:
    std::set<std::string> peers_;
};

}  // namespace uwbctl
