// SPDX-License-Identifier: Apache-2.0
#include "diagnostics/recent_errors.h"

#include <algorithm>
#include <utility>

namespace hardware::velta {

void RecentErrors::Note(char severity, const std::string& tag, const std::string& text) {
    total_++;
    Entry entry = {.when = std::chrono::system_clock::now(),
                   .severity = severity,
                   .tag = tag,
                   .text = text.substr(0, kMaxText),
                   .count = 1};
    const auto known = std::find_if(entries_.begin(), entries_.end(), [&entry](const Entry& it) {
        return it.text == entry.text && it.tag == entry.tag && it.severity == entry.severity;
    });
    if (known != entries_.end()) {
        entry.count += known->count;
        entries_.erase(known);
    } else if (entries_.size() == kMaxEntries) {
        entries_.pop_front();
    }
    entries_.push_back(std::move(entry));
}

}  // namespace hardware::velta
