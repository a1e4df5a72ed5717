// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "uwbctl/commands/anchor_sessions.h"

namespace uwbctl {

// Puts what several radios measure into the order of time: the service may read a few reports of
// one before those of another.
class TimeOrder {
  public:
    using Handler = AnchorSessions::Handler;

    /** @param window_ns how far a report may be behind others; 0 where there is one radio only. */
    TimeOrder(int64_t window_ns, Handler handler)
        : window_ns_(window_ns), handler_(std::move(handler)) {}

    void Add(const std::string& iface, const Measurement& measurement) {
        waiting_.emplace(measurement.timestamp_ns, std::pair(iface, measurement));
        while (waiting_.begin()->first + window_ns_ <= waiting_.rbegin()->first) {
            const auto first = waiting_.extract(waiting_.begin());
            handler_(first.mapped().first, first.mapped().second);
            if (waiting_.empty()) break;
        }
    }

  private:
    int64_t window_ns_;
    Handler handler_;
    std::multimap<int64_t, std::pair<std::string, Measurement>> waiting_;
};

}  // namespace uwbctl
