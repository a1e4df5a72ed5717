// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/estimate.h"

#include <cmath>

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

Json Place(const Vec3& at) {
    return {at.x, at.y, at.z};
}

}  // namespace

// The height only when it was found.
double ErrorOf(const Location& location, const Vec3& truth) {
    const double up = location.height_sigma ? location.at.z - truth.z : 0;
    return std::hypot(location.at.x - truth.x, location.at.y - truth.y, up);
}

Json ToJson(const Estimate& estimate, std::optional<double> error) {
    Json json = {
        {"timestamp_ns", estimate.timestamp_ns}, {"answers", estimate.answers}, {"at_m", nullptr}};
    if (const auto& it = estimate.solution.location) {
        json["at_m"] = Place(it->at);
        if (it->mirror) json["mirror_m"] = Place(*it->mirror);
        json["residual_m"] = it->residual;
        json["dilution"] = it->dilution;
        json["ellipse_m"] = {it->ellipse.major, it->ellipse.minor};
        json["ellipse_rad"] = it->ellipse.angle;
        if (it->height_sigma) json["height_sigma_m"] = *it->height_sigma;
    }
    if (!estimate.solution.problem.empty()) json["problem"] = estimate.solution.problem;
    if (error) json["error_m"] = *error;
    return json;
}

}  // namespace uwbctl
