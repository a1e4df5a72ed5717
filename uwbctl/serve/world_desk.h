// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "uwbctl/client/measurement.h"
#include "uwbctl/serve/board.h"
#include "uwbctl/serve/event_log.h"
#include "uwbctl/world/virtual_world.h"

namespace uwbctl {

/**
 * The virtual radio's world, as pages see it and arrange it; where there is none, nothing.
 * Publishes
 *
 *     world   {"t" (ns), "scene", "noise_mm", "range_m", "rate", "seed", "model",
 *             "bodies": [{"id", "x", "y", "z", "vx", "vy", "vz", "los", "lost", "path"}],
 *             "walls": [{"x1", "y1", "x2", "y2", "stops"}]}
 *
 * whenever it is not what those who look on can work out from the one before.
 */
class WorldDesk {
  public:
    /** @param log borrowed. */
    explicit WorldDesk(EventLog* log) : log_(log), problem_(world_.Problem()) {}

    bool is_there() const { return problem_.empty(); }

    /**
     * Arranges the world.
     *
     * @param verb "move", "remove", "sight", "noise", "range", "rate", "seed", "model", "load",
     *        "save".
     * @return the answer for the page; a Failure says what is wrong.
     */
    nlohmann::ordered_json Command(const std::string& verb,
                                   const nlohmann::ordered_json& arguments);

    /** @return where the peer of a measurement was, as seen by the radio of an interface. */
    std::optional<PeerTruth> Of(const std::string& iface, const Measurement& measurement);

    /** Publishes the world when it is time and there is something new. */
    void Tick();

    /** @return the addresses of the tags that are there, for a session with them. */
    std::vector<std::string> Tags();

  private:
    void Load(const nlohmann::ordered_json& arguments);
    void SetModel(const nlohmann::ordered_json& arguments);
    // Reads the world.
    void Look();
    // Where a thing was a moment ago.
    std::optional<Vec3> At(const ThingId& id, int64_t when_ns) const;
    bool IsFollowed(const Truth& truth) const;
    void Publish();

    EventLog* log_;
    VirtualWorld world_;
    const std::string problem_;
    // What was published last.
    std::optional<Truth> told_;
    std::chrono::steady_clock::time_point told_time_;
    // The last two looks, with nothing rearranged between them.
    std::optional<Truth> previous_;
    std::optional<Truth> latest_;
    bool has_changed_ = false;
};

}  // namespace uwbctl
