// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/serve/arguments.h"
#include "uwbctl/serve/board.h"
#include "uwbctl/serve/event_log.h"
#include "uwbctl/world/virtual_world.h"
#include "uwbctl/world/world_history.h"

namespace uwbctl {

/**
 * The virtual radio's world, as pages see it and arrange it; where there is none, nothing.
 * Publishes
 *
 *     world   {"t" (ns), "scene", "noise_mm", "range_m", "rate", "blocks", "seed", "model",
 *             "waits", "bodies": [{"id", "x", "y", "z", "vx", "vy", "vz", "heading" (rad), "los",
 *             "lost", "path"}],
 *             "walls": [{"x1", "y1", "x2", "y2", "stops"}]}
 *
 * whenever it is not what those who look on can work out from the one before; and a "note" of what
 * one command changes at once, not of the many that a drag is.
 */
class WorldDesk {
  public:
    /**
     * @param log borrowed.
     * @param folder the virtual radio's, for tests.
     */
    explicit WorldDesk(EventLog* log, const std::string& folder = VirtualWorld::kFolder)
        : log_(log), world_(folder), problem_(world_.Problem()) {}

    bool is_there() const { return problem_.empty(); }

    /**
     * Arranges the world.
     *
     * @param name "world/" and "move", "heading", "remove", "sight", "noise", "range", "rate",
     *             "seed", "model", "load" or "save".
     * @return the answer for the page; a Failure says what is wrong.
     */
    nlohmann::ordered_json Command(const std::string& name,
                                   const nlohmann::ordered_json& arguments);

    /** @return what a radio would have measured of a peer without any error. */
    std::optional<PeerTruth> Of(const ThingId& radio, const ThingId& peer, int64_t when_ns);

    /** @return a thing as it is, nothing for one that is not there. */
    std::optional<TrueBody> Now(const ThingId& id);

    /** @return a thing as it was, nothing where that is not known. */
    std::optional<TrueBody> At(const ThingId& id, int64_t when_ns);

    /** Publishes the world when it is time and there is something new. */
    void Tick();

    /** @return the addresses of the tags that are there, for a session with them. */
    std::vector<std::string> Tags();

  private:
    static const Verbs<WorldDesk>& Commands();
    void Note(const std::string& text);
    void Move(const nlohmann::ordered_json& arguments);
    void SetRate(const nlohmann::ordered_json& arguments);
    void Load(const nlohmann::ordered_json& arguments);
    void SetModel(const nlohmann::ordered_json& arguments);
    bool IsFollowed(const Truth& truth) const;
    void Publish(const Truth& truth);

    EventLog* log_;
    VirtualWorld world_;
    const std::string problem_;
    WorldHistory history_{&world_};
    // What was published last, and the part of it that does not move.
    std::optional<Truth> told_;
    std::string told_settings_;
    std::chrono::steady_clock::time_point told_time_;
    std::chrono::steady_clock::time_point looked_time_;
    bool has_changed_ = false;
};

}  // namespace uwbctl
