// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/client.h"
#include "uwbctl/client/measurement.h"
#include "uwbctl/client/session.h"

namespace uwbctl {

/** How a remark is meant. */
enum class Tone { kInfo, kWarning, kError };

/** Hears what an activity does. */
class ActivityListener {
  public:
    virtual ~ActivityListener() = default;

    /** One round's measurements by an interface. */
    virtual void OnMeasurements(const std::string& iface,
                                const std::vector<Measurement>& measurements) = 0;

    /** @param event such as "controlees_added"; words say the same to people. */
    virtual void OnControlees(const std::string& iface, const std::string& event,
                              const std::vector<std::string>& peers, const std::string& words) = 0;
};

/** How an activity has ended. */
struct ActivityEnd {
    Tone tone = Tone::kInfo;
    /** In words, such as "stopped". */
    std::string reason;
};

/**
 * What one radio does, or several do together, from start to end. Its thread is the one that waits
 * for events.
 */
class Activity {
  public:
    virtual ~Activity() = default;

    /** Begins; a Failure says why it cannot, and nothing is left then. events is borrowed. */
    virtual void Start(Events* events) = 0;

    /** Asks for its end, which comes later; asking again does nothing. */
    virtual void Stop() = 0;

    /** Looks at the clock: what takes too long ends here. */
    virtual void Tick() = 0;

    /** @return how it has ended; nothing while it goes on. */
    virtual const std::optional<ActivityEnd>& end() const = 0;

    /** @return the interfaces that it is on, one at least; nothing else may be on these. */
    virtual std::vector<std::string> ifaces() const = 0;

    /** @return the FiRa session that it has on an interface, null for none. Borrowed from it. */
    virtual const FiraTwrSession* SessionOn(const std::string& /*iface*/) const { return nullptr; }

    /**
     * Adds or removes controlees. The answer comes later, through the listener; a Failure for what
     * is no good list, and for what has none.
     */
    virtual void ChangeControlees(bool /*add*/, const std::vector<std::string>& /*peers*/) {
        throw Failure(kRefused, "no FiRa session is ranging");
    }

    /** @return for pages: "kind", "phase", and what else it is made of. */
    virtual nlohmann::ordered_json Describe() const = 0;
};

}  // namespace uwbctl
