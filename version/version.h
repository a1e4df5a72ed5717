// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace hardware::velta {

/** The release that this is, or that comes next; CMake and the packages take it from here. */
inline constexpr char kVersion[] = "1.0.0";

/**
 * The commit that was built, twelve digits; "-dirty" follows when the sources were changed since.
 * "unknown" where neither git nor a source archive tells, as in a build by Soong.
 */
const char* Commit();

}  // namespace hardware::velta
