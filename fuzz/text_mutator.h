// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fuzz/nl_mutator.h"

namespace hardware::velta {

/**
 * Changes a text of lines of words: a word changes, goes, is repeated, takes another one's place; a
 * line comes twice, goes, becomes very long; a number becomes one at an edge.
 */
void MutateText(Bytes* text, Chance* chance);

}  // namespace hardware::velta
