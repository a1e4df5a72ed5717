// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace hardware::velta {

/** What became of requests to the kernel, since the start. */
struct RequestCounters {
    uint64_t sent = 0;
    /** The kernel would not have the message. */
    uint64_t not_sent = 0;
    /** The kernel refused: an error reply. */
    uint64_t refused = 0;
    /** No answer, or none that was one. */
    uint64_t unanswered = 0;
};

/** What became of notifications of one kind, since the start. */
struct NotificationCounters {
    /** Handed on. */
    uint64_t delivered = 0;
    /** Malformed, unexpected or for nobody. */
    uint64_t dropped = 0;
    /** How often an unknown number of them was lost. */
    uint64_t overflows = 0;

    /** Counts one when it goes out of scope: as dropped, unless Delivered() was called. */
    class Tally {
      public:
        explicit Tally(NotificationCounters* counters) : counters_(counters) {}
        ~Tally() { (was_delivered_ ? counters_->delivered : counters_->dropped)++; }
        Tally(const Tally&) = delete;
        Tally& operator=(const Tally&) = delete;
        void Delivered() { was_delivered_ = true; }

      private:
        NotificationCounters* counters_;
        bool was_delivered_ = false;
    };
};

}  // namespace hardware::velta
