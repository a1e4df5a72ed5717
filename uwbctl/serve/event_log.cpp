// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/event_log.h"

#include <android-base/parseint.h>

#include <algorithm>

namespace uwbctl {
namespace {

// What is written to a reader at once.
constexpr size_t kBatchBytes = 64 << 10;

}  // namespace

void EventLog::Append(const std::string& kind, const std::string& data, bool keep) {
    const std::lock_guard lock(mutex_);
    const uint64_t number = next_++;
    Event event = {.number = number,
                   .text = "id: " + run_ + "-" + std::to_string(number) + "\nevent: " + kind +
                           "\ndata: " + data + "\n\n"};
    if (keep) kept_[kind] = event;
    bytes_ += event.text.size();
    window_.push_back(std::move(event));
    while (bytes_ > window_bytes_) {
        bytes_ -= window_.front().text.size();
        window_.pop_front();
    }
    changed_.notify_all();
}

void EventLog::Close() {
    const std::lock_guard lock(mutex_);
    is_closed_ = true;
    changed_.notify_all();
}

uint64_t EventLog::PlaceAfter(const std::string& last_id) const {
    uint64_t number = 0;
    const std::string prefix = run_ + "-";
    const std::lock_guard lock(mutex_);
    if (!last_id.starts_with(prefix) ||
        !android::base::ParseUint(last_id.substr(prefix.size()), &number) || number >= next_) {
        return 0;
    }
    return number + 1;
}

std::optional<std::string> EventLog::Read(uint64_t* place,
                                          std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout,
                      [&] { return is_closed_ || std::max(*place, FirstNumber()) < next_; });
    if (is_closed_) return std::nullopt;
    std::string text;
    const uint64_t first = FirstNumber();
    if (*place < first) {
        if (*place != 0) {
            text += "event: missed\ndata: {\"events\":" + std::to_string(first - *place) + "}\n\n";
        }
        // In the order in which they were.
        std::map<uint64_t, const Event*> before;
        for (const auto& [kind, event] : kept_) {
            if (event.number >= *place && event.number < first) before[event.number] = &event;
        }
        for (const auto& [number, event] : before) text += event->text;
        *place = first;
    }
    for (; *place < next_ && text.size() < kBatchBytes; ++*place) {
        text += window_[*place - first].text;
    }
    return text;
}

}  // namespace uwbctl
