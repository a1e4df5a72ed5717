// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/unit/net/wire.h"

namespace hardware::velta {

/**
 * One step of a course that a fuzzer plays. An input is a list of them: kind, argument, a size of
 * two bytes and so many bytes; any bytes can be read as one.
 */
struct Step {
    uint8_t kind = 0;
    uint8_t argument = 0;
    Bytes bytes;
};
using Steps = std::vector<Step>;

Steps ReadSteps(const uint8_t* data, size_t size);
Bytes WriteSteps(const Steps& steps);

}  // namespace hardware::velta
