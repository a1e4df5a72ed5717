// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/replay.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "uwbctl/client/client.h"
#include "uwbctl/client/units.h"

namespace uwbctl {
namespace {

constexpr double kMmPerMetre = 1000;
constexpr double kShortestLeg = 1e-3;

// Where a radio at the origin, which looks along y, has seen the peer.
Vec3 PlaceOf(const Measurement& measurement) {
    const double metres = static_cast<double>(*measurement.distance_mm) / kMmPerMetre;
    const double azimuth = measurement.azimuth ? measurement.azimuth->radians : 0;
    const double elevation = measurement.elevation ? measurement.elevation->radians : 0;
    return {.x = metres * std::cos(elevation) * std::sin(azimuth),
            .y = metres * std::cos(elevation) * std::cos(azimuth),
            .z = metres * std::sin(elevation)};
}

// Where nobody can be, as a radio may measure it all the same.
bool IsPossible(const Waypoint& point, const Path& path) {
    const Vec3& at = point.at;
    if (!std::isfinite(at.x + at.y + at.z)) return false;
    if (std::max({std::abs(at.x), std::abs(at.y), std::abs(at.z)}) > Scene::kMaxMetres)
        return false;
    if (point.seconds < 0 || point.seconds > Scene::kMaxSeconds) return false;
    if (path.points.empty()) return true;
    const double takes = point.seconds - path.points.back().seconds;
    return takes >= kShortestLeg && Distance(path.points.back().at, at) < Scene::kMaxSpeed * takes;
}

void AddPoint(const Measurement& measurement, double seconds, Path* path) {
    Waypoint point{.seconds = seconds};
    if (measurement.status == 0 && measurement.distance_mm) {
        point.at = PlaceOf(measurement);
        if (!measurement.line_of_sight.value_or(true)) point.sight = Sight::kBlocked;
    } else {
        // Whoever was never there has no place to be lost at.
        if (path->points.empty()) return;
        point.at = path->points.back().at;
        point.sight = Sight::kLost;
    }
    if (!IsPossible(point, *path)) return;
    if (path->points.empty() && seconds >= kShortestLeg) {
        path->points.push_back({.seconds = 0, .at = point.at, .sight = Sight::kLost});
    }
    path->points.push_back(point);
}

}  // namespace

Scene ReplayScene(const Recording& recording) {
    std::map<ThingId, Path> paths;
    const int64_t begin =
        recording.measurements.empty() ? 0 : recording.measurements.front().timestamp_ns;
    for (const Measurement& measurement : recording.measurements) {
        const auto id = ParseThingId(measurement.peer);
        if (!id || id->kind != ThingId::Kind::kTag) continue;
        const double seconds =
            static_cast<double>(measurement.timestamp_ns - begin) / kNanosecondsPerSecond;
        AddPoint(measurement, seconds, &paths[*id]);
    }
    Scene scene{.noise_mm = 0, .waits = true};
    for (auto& [id, path] : paths) {
        if (path.points.empty()) continue;
        path.is_loop = false;
        Thing& thing = scene.things.emplace_back();
        thing.id = id;
        thing.at = path.points.front().at;
        thing.path = std::move(path);
    }
    if (scene.things.empty()) throw Failure(kUsage, "nobody has answered in this recording");
    return scene;
}

}  // namespace uwbctl
