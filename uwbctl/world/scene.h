// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/world/model.h"

namespace uwbctl {

/** Metres, or metres a second: x to the right of where a radio looks at first, y ahead, z up. */
struct Vec3 {
    double x = 0;
    double y = 0;
    double z = 0;
};

/** How a peer is seen. */
enum class Sight {
    /** In line of sight, unless a wall is between. */
    kClear,
    /** Something that is no wall of the scene is between. */
    kBlocked,
    /** Not at all: the peer does not answer. */
    kLost,
};

/** A point of a path; what it says of the sight holds until the next one. */
struct Waypoint {
    /** Since the scene was loaded. */
    double seconds = 0;
    Vec3 at;
    Sight sight = Sight::kClear;
};

/** A way through points, in straight lines; a pause is two points at one place. */
struct Path {
    /** Whether it begins anew after its last point; otherwise that is where it ends. */
    bool is_loop = true;
    /** At least one; their times rise. */
    std::vector<Waypoint> points;
};

/** Which thing of the world: a radio of the device by its number, or a tag by its address. */
struct ThingId {
    enum class Kind { kRadio, kTag };
    Kind kind = Kind::kTag;
    uint64_t number = 0;

    // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy takes the comparison with 0 for a pointer.
    auto operator<=>(const ThingId&) const = default;
};

/** @return "radio0", "0x1234": as scenes and the virtual radio write it. */
std::string ToText(const ThingId& id);

/** The other way round; nothing for what is neither. Any number up to 64 bits is an address. */
std::optional<ThingId> ParseThingId(const std::string& word);

/**
 * @return the thing of the world that a client's name for it means: an interface such as "wpan0" is
 *         the radio of its number, for the virtual radio has them in order; anything else is as
 *         ParseThingId() has it.
 */
std::optional<ThingId> ThingOf(const std::string& name);

/** A radio or a tag. */
struct Thing {
    ThingId id;
    Vec3 at;
    Vec3 velocity;
    /** Where a radio looks: degrees from the y axis towards x, -180 to 180. */
    double heading = 0;
    /** Whether nothing but walls is between it and who ranges with it. */
    bool has_line_of_sight = true;
    /** Takes the place of position and velocity. */
    std::optional<Path> path;
    /** Its own errors, in the place of the scene's. */
    std::optional<Model> model;
};

/** A wall from floor to ceiling, seen from above, in metres. What passes it is out of sight. */
struct Wall {
    double x1 = 0;
    double y1 = 0;
    double x2 = 0;
    double y2 = 0;
    /** Nothing passes it: who is behind it does not answer. */
    bool stops = false;
};

/** A world to be: what a scene's file says. docs/scenes.md has the format. */
struct Scene {
    /** What it is called, without blanks; empty for no name. */
    std::string name;
    /** Radios that the scene does not name are at home: radio N at (0, 2N, 0). */
    std::vector<Thing> things;
    std::vector<Wall> walls;
    /** The errors of all that have none of their own; without it there is the noise alone. */
    std::optional<Model> model;
    /** Standard deviation of distances where there is no model, in millimetres. */
    int noise_mm = kDefaultNoiseMm;
    /** How far radios hear, in metres. */
    double range_m = kDefaultRangeM;
    /** What the noise starts from. */
    uint64_t seed = 1;
    /** How many seconds of the world pass in one. */
    double rate = 1;
    /** Whether the radios go along with a world that is faster than life. */
    bool has_fast_blocks = false;
    /** Whether the world stands still until the first measurement. */
    bool waits = false;

    static constexpr int kDefaultNoiseMm = 30;
    static constexpr double kDefaultRangeM = 200;
    /** How far from the origin anything may be, in metres; how fast; when the last point may be. */
    static constexpr double kMaxMetres = 50000;
    static constexpr double kMaxSpeed = 1000;
    static constexpr double kMaxSeconds = 1e6;
    /** The largest range_m, noise_mm and rate. */
    static constexpr double kMaxRange = 200000;
    static constexpr int kMaxNoiseMm = 10000;
    static constexpr double kMaxRate = 3600;
};

/** @return the distance between two places, in metres. */
double Distance(const Vec3& a, const Vec3& b);

/** @return the thing of that name, null when the scene has none. */
const Thing* FindThing(const Scene& scene, const ThingId& id);

/** @return whether a wall is between two places. */
bool IsBetween(const Wall& wall, const Vec3& from, const Vec3& to);

}  // namespace uwbctl
