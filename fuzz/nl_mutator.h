// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace hardware::velta {

/**
 * Changes a netlink message that starts at data[offset]: mostly one of its attributes, at any
 * depth, whose lengths and those of what holds it are put right afterwards, so that what is behind
 * the first check is reached as well; now and then any byte.
 *
 * @return the new size, at most max_size.
 */
size_t MutateNetlinkMessage(uint8_t* data, size_t size, size_t max_size, size_t offset,
                            unsigned int seed);

}  // namespace hardware::velta
