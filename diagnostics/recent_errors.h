// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

namespace hardware::velta {

/**
 * The last warnings and errors that were logged, for whoever has no log at hand. One that comes
 * again is counted and not kept twice, so that a flood of one does not drive the others out.
 *
 * Used on one thread.
 */
class RecentErrors {
  public:
    struct Entry {
        /** When it came last, wall clock. */
        std::chrono::system_clock::time_point when;
        /** 'W' or 'E'. */
        char severity;
        std::string tag;
        /** At most kMaxText bytes of the line. */
        std::string text;
        uint64_t count;
    };

    static constexpr size_t kMaxEntries = 10;
    static constexpr size_t kMaxText = 200;

    void Note(char severity, const std::string& tag, const std::string& text);

    /** @return what is kept, the newest last. */
    const std::deque<Entry>& entries() const { return entries_; }

    /** @return how many came since the start. */
    uint64_t total() const { return total_; }

  private:
    std::deque<Entry> entries_;
    uint64_t total_ = 0;
};

}  // namespace hardware::velta
