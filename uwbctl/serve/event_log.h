// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace uwbctl {

/**
 * What has happened lately, for all who look on: one window for any number of readers, who walk
 * along it at their own pace. Nobody waits for a reader, and the memory is that of the window: who
 * is slower than it misses events and is told so. Any thread may call anything.
 */
class EventLog {
  public:
    /**
     * @param run names this log among others: a reader's place in another one means nothing here.
     * @param window_bytes how much of the latest events is kept.
     */
    EventLog(std::string run, size_t window_bytes)
        : run_(std::move(run)), window_bytes_(window_bytes) {}

    /**
     * Appends an event.
     *
     * @param kind such as "report".
     * @param data one line of text.
     */
    void Publish(const std::string& kind, const std::string& data) { Append(kind, data, false); }

    /** The same, and its latest is told to newcomers even when the window has gone past it. */
    void Keep(const std::string& kind, const std::string& data) { Append(kind, data, true); }

    /** Wakes all readers; there is nothing more to read then. */
    void Close();

    /** @return the place of a reader from the last identifier that it has seen; 0 for none. */
    uint64_t PlaceAfter(const std::string& last_id) const;

    /**
     * Reads on, as server-sent events.
     *
     * @param place where the reader is, 0 at first; moves on.
     * @param timeout how long to wait for something.
     * @return some events, nothing at the end of the time, no value once the log is closed.
     */
    std::optional<std::string> Read(uint64_t* place, std::chrono::milliseconds timeout) const;

  private:
    struct Event {
        uint64_t number;
        std::string text;
    };

    void Append(const std::string& kind, const std::string& data, bool keep);
    uint64_t FirstNumber() const { return next_ - window_.size(); }

    const std::string run_;
    const size_t window_bytes_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    // Numbers without a gap, the last one before next_.
    std::deque<Event> window_;
    size_t bytes_ = 0;
    uint64_t next_ = 1;
    std::map<std::string, Event> kept_;
    bool is_closed_ = false;
};

}  // namespace uwbctl
