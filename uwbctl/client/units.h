// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace uwbctl {

/** The radio's clock counts nanoseconds. */
inline constexpr double kNanosecondsPerSecond = 1e9;

/** Distances are reported in millimetres and shown in metres. */
inline constexpr double kMillimetresPerMetre = 1000;

}  // namespace uwbctl
