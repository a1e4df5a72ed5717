// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tests/unit/net/wire.h"

namespace hardware::velta {

/**
 * @param scenes the folder of the virtual device's scenes.
 * @return what the virtual radio's fuzzer starts from: what the service sends, as its own classes
 *         encode it, in the order in which it does; every command of the radio's files; the scenes.
 */
std::vector<Bytes> RadioSeeds(const std::string& scenes);

}  // namespace hardware::velta
