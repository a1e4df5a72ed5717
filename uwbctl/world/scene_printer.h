// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "uwbctl/world/scene.h"

namespace uwbctl {

/** @return a number as scenes have it: to a millionth, without zeros at its end. */
std::string NumberText(double number);

/** @return "X Y Z". */
std::string PlaceText(const Vec3& place);

/** @return "X1 Y1 X2 Y2", and "stops" for a wall that nothing passes. */
std::string WallText(const Wall& wall);

/** @return "60", and "blocks" where the radios go along. */
std::string RateText(double rate, bool has_fast_blocks);

/** @return every key of a model that is not without effect, with its value; empty for none. */
std::string ModelText(const Model& model);

/** @return " nlos", " lost", or nothing for what is in sight. */
std::string SightText(Sight sight);

}  // namespace uwbctl
