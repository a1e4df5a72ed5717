// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "conformance/events.h"
#include "conformance/hal.h"

namespace hardware::velta::conformance {

constexpr int kSession = 42;
/** The controlee of ControllerSession() where the target has no peer. */
constexpr uint16_t kNobody = 0x1234;
/**
 * A controller, 0x0001, that ranges with the target's peer every 50 ms, azimuth included.
 *
 * @param channel the target's by default.
 */
FiraTwrSession ControllerSession(int id = kSession, std::optional<int> channel = {});
/** The other end of ControllerSession(). */
FiraTwrSession ControleeSession(int id = kSession);

/** A FiRa controller of the service with a callback. Operations return what was Said(). */
struct FiraClient {
    FiraClient() = default;
    FiraClient(const Hal& hal, int radio);
    std::string Init(const FiraTwrSession& it) { return Said(fira->initNewTwrSession(it)); }
    std::string Update(const FiraTwrSession& it) { return Said(fira->updateTwrSession(it)); }
    std::string Start(int id = kSession) { return Said(fira->startRangingSession(id)); }
    std::string Stop(int id = kSession) { return Said(fira->stopRangingSession(id)); }
    std::string Deinit(int id = kSession) { return Said(fira->deinitSession(id)); }
    std::string Stride(int id) { return Said(fira->updateTwoWayRangingBlockStriding(id, 3)); }
    std::string Reset() { return Said(fira->reset()); }
    std::string Add(int id, const Addresses& who,
                    const std::optional<std::vector<int32_t>>& sub_sessions = {}) {
        return Said(fira->addControlees(id, who, sub_sessions));
    }
    std::string Remove(int id, const Addresses& who) {
        return Said(fira->removeControlees(id, who));
    }
    int Count();
    FiraCapabilities Capabilities();
    /** Initialises and starts. */
    void Run(const FiraTwrSession& session = ControllerSession());
    /** Stops, and waits until the service has dealt with the end. */
    void Halt(int id = kSession);
    FiraReport Next() { return events->reports.Take(); }
    /** @return a report on what happens from now on. */
    FiraReport Fresh();
    std::string Event() { return events->events.Take(); }
    bool GoesQuiet() { return events->reports.GoesQuiet(120ms); }

    std::shared_ptr<IFiraController> fira;
    std::shared_ptr<FiraEvents> events;
};

}  // namespace hardware::velta::conformance
