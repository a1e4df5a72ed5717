// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace hardware::velta {

/** What the bytes of a kind of step are. */
enum class Content : uint8_t { kNothing, kMessages, kText };

/**
 * Changes a course: a step comes, goes, is repeated or moved, its argument or its content changes,
 * which is done by what it holds; now and then any byte.
 *
 * @param kinds what each kind holds; kinds are counted modulo their number.
 * @return the new size, at most max_size.
 */
size_t MutateSteps(uint8_t* data, size_t size, size_t max_size, unsigned int seed,
                   const std::vector<Content>& kinds);

/** Makes a course of the beginning of one and the end of another, or of the content of both. */
size_t CrossSteps(const uint8_t* data1, size_t size1, const uint8_t* data2, size_t size2,
                  uint8_t* out, size_t max_size, unsigned int seed,
                  const std::vector<Content>& kinds);

}  // namespace hardware::velta
