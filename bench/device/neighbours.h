// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "bench/device/sides.h"

namespace hardware::velta::bench {

/** What goes on in radio 1 while radio 0 is measured; destroying it ends that. */
class Neighbour {
  public:
    virtual ~Neighbour() = default;
};

/** @return a running CCC session. */
std::unique_ptr<Neighbour> NewCccNeighbour(const Service& service);
/** @return simple ranging with one peer. */
std::unique_ptr<Neighbour> NewSimpleRangingNeighbour(const Service& service);

}  // namespace hardware::velta::bench
