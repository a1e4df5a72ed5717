// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace hardware::velta {

/** Configuration is at most this many bytes; more is no configuration. */
inline constexpr size_t kMaxConfigSize = size_t{1024} * 1024;

/**
 * Reads all of a file, which must be a regular one of at most kMaxConfigSize bytes: never a FIFO or
 * device that would block or never end.
 *
 * @param error what is wrong with it, such as ", not a regular file"; empty when it cannot be
 * opened.
 */
std::optional<std::string> ReadRegularFile(const std::string& path, std::string* error);

}  // namespace hardware::velta
