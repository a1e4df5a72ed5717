// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/world/scene.h"

namespace uwbctl {

/** Where a thing of the virtual world is, and where it is going. */
struct TrueBody {
    ThingId id;
    Vec3 at;
    /** As the clock of reports has it: the world's rate is in it. */
    Vec3 velocity;
    /** Where a radio looks: degrees from the y axis towards x, -180 to 180. */
    double heading = 0;
    bool has_line_of_sight = true;
    /** It does not answer just now. */
    bool is_lost = false;
    bool is_on_path = false;
};

/** The virtual world at one moment. */
struct Truth {
    /** Of the clock that reports have. */
    int64_t time_ns = 0;
    /** The scene that is loaded, empty for none. */
    std::string scene;
    int noise_mm = 0;
    double range_m = 0;
    uint64_t seed = 0;
    double rate = 1;
    /** The radios go along with a world that is faster than life. */
    bool has_fast_blocks = false;
    /** It stands still until the first measurement. */
    bool waits = false;
    std::vector<TrueBody> bodies;
    std::vector<Wall> walls;
    std::optional<Model> model;

    /** @return how many seconds pass on the clock that reports have in one of ours. */
    double RadioPace() const;
    /** @return how many seconds of the world pass in one of the clock that reports have. */
    double WorldPace() const;
    /** @return the body of that name, null when there is none. */
    const TrueBody* Find(const ThingId& id) const;
    /** @return where a body was or will be at another time, on the straight line it is on. */
    static Vec3 At(const TrueBody& body, int64_t from_ns, int64_t when_ns);
};

/**
 * The world of the virtual radio, through its files in debugfs. Needs root. What the radio refuses
 * is a Failure that names the thing.
 */
class VirtualWorld {
  public:
    /** @param folder the virtual radio's, for tests. */
    explicit VirtualWorld(std::string folder = kFolder) : folder_(std::move(folder)) {}

    /** @return why there is no virtual radio here that can be used; empty when there is one. */
    std::string Problem() const;

    /** Throws a Failure with the problem when there is one. */
    void Require() const;

    /** @return how many radios there are. */
    unsigned CountRadios() const;

    /** @return everything at one moment. */
    Truth Read() const;

    /** Puts the scene in the place of all there is. */
    void Load(const Scene& scene) const;

    /** @return the world as a scene: everything where it is now, paths from their beginnings. */
    Scene Save() const;

    /** Puts a thing there and gives it a velocity; a tag that is not there comes. A path ends. */
    void Move(const ThingId& id, const Vec3& at, const Vec3& velocity = {}) const;

    /** Turns a radio. @param degrees from the y axis towards x, -180 to 180. */
    void SetHeading(const ThingId& radio, double degrees) const;

    void Remove(const ThingId& tag) const;
    void SetLineOfSight(const ThingId& tag, bool has_line_of_sight) const;
    /** @param mm standard deviation of distances, for all that have no model of their own. */
    void SetNoise(int mm) const;
    void SetRange(double metres) const;
    void SetSeed(uint64_t seed) const;
    /**
     * @param rate how many seconds of the world pass in one; 0 has it stand still.
     * @param has_fast_blocks whether the radios go along with a world that is faster than life.
     */
    void SetRate(double rate, bool has_fast_blocks) const;
    /** @param id whose, nothing for all that have none of their own; no model takes it away. */
    void SetModel(const std::optional<ThingId>& id, const std::optional<Model>& model) const;

    static constexpr char kFolder[] = "/sys/kernel/debug/mcps802154_sim";

  private:
    void Write(const std::string& lines, const std::string& thing) const;

    std::string folder_;
};

}  // namespace uwbctl
