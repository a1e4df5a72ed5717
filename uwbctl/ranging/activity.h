// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/measurement.h"

namespace uwbctl {

/** How a remark is meant. */
enum class Tone { kInfo, kWarning, kError };

/** Hears what an activity does. */
class ActivityListener {
  public:
    virtual ~ActivityListener() = default;

    /** One round's measurements. */
    virtual void OnMeasurements(const std::vector<Measurement>& measurements) = 0;

    /** @param event such as "controlees_added"; words say the same to people. */
    virtual void OnControlees(const std::string& event, const std::vector<std::string>& peers,
                              const std::string& words) = 0;
};

/** How an activity has ended. */
struct ActivityEnd {
    Tone tone = Tone::kInfo;
    /** In words, such as "stopped". */
    std::string reason;
};

/**
 * What the radio does for the page, from its start to its end. Its thread is the one that waits for
 * events.
 */
class Activity {
  public:
    virtual ~Activity() = default;

    /** Asks for its end, which comes later; asking again does nothing. */
    virtual void Stop() = 0;

    /** Looks at the clock: what takes too long ends here. */
    virtual void Tick() = 0;

    /** @return how it has ended; nothing while it goes on. */
    virtual const std::optional<ActivityEnd>& end() const = 0;

    /** @return for the page: "kind", "phase", "iface", and what else it is made of. */
    virtual nlohmann::ordered_json Describe() const = 0;
};

}  // namespace uwbctl
