// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <optional>

#include "uwbctl/locate/locator.h"

namespace uwbctl {

/** @return how far a place is from the true one, as far as it was looked for, in metres. */
double ErrorOf(const Location& location, const Vec3& truth);

/**
 * @return "timestamp_ns", "answers", "at_m" (null for nowhere), and where they are known
 *         "mirror_m", "residual_m", "dilution", "ellipse_m", "ellipse_rad", "height_sigma_m",
 *         "problem" and "error_m".
 */
nlohmann::ordered_json ToJson(const Estimate& estimate, std::optional<double> error);

}  // namespace uwbctl
