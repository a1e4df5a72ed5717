// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/client/measurement.h"

namespace uwbctl {

/**
 * Puts what several radios measure into the order of time: the service may read a few reports of
 * one before those of another. A measurement waits until every radio has told of its time.
 */
class TimeOrder {
  public:
    using Handler = std::function<void(const std::string& iface, const Measurement& measurement)>;

    /**
     * @param ifaces all there are.
     * @param window_ns how far one that says nothing may be behind before nobody waits for it.
     */
    TimeOrder(const std::vector<std::string>& ifaces, int64_t window_ns, Handler handler)
        : window_ns_(window_ns), handler_(std::move(handler)) {
        for (const std::string& iface : ifaces)
            latest_[iface] = std::numeric_limits<int64_t>::min();
    }

    void Add(const std::string& iface, const Measurement& measurement) {
        const int64_t now_ns = measurement.timestamp_ns;
        latest_[iface] = std::max(latest_[iface], now_ns);
        newest_ns_ = std::max(newest_ns_, now_ns);
        waiting_.emplace(now_ns, std::pair(iface, measurement));
        while (!waiting_.empty() && IsDue(waiting_.begin()->first)) {
            const auto first = waiting_.extract(waiting_.begin());
            handler_(first.mapped().first, first.mapped().second);
        }
    }

  private:
    bool IsDue(int64_t when_ns) const {
        return when_ns + window_ns_ <= newest_ns_ ||
               std::all_of(latest_.begin(), latest_.end(),
                           [when_ns](const auto& of) { return of.second >= when_ns; });
    }

    int64_t window_ns_;
    Handler handler_;
    int64_t newest_ns_ = std::numeric_limits<int64_t>::min();
    std::map<std::string, int64_t> latest_;
    std::multimap<int64_t, std::pair<std::string, Measurement>> waiting_;
};

}  // namespace uwbctl
