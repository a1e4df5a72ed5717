// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "uwbctl/world/virtual_world.h"

namespace uwbctl {

/**
 * Where things of the virtual world were a moment ago, from what was seen of it: reports tell of
 * times that have passed. It keeps some seconds, or less where reports come fast.
 */
class WorldHistory {
  public:
    /** @param world borrowed. */
    explicit WorldHistory(const VirtualWorld* world) : world_(world) {}

    /** Reads the world; a Failure when that is not possible. @return how it is. */
    const Truth& Look();

    /** The world was rearranged: what was before is no help in knowing what will have been. */
    void Forget() { looks_.clear(); }

    /**
     * @param when_ns of the clock that reports have. What is later than the last look is looked at;
     *        a Failure when that is not possible.
     * @return the thing as it was then, nothing when it was not there, or when that is too long
     *         ago.
     */
    std::optional<TrueBody> At(const ThingId& id, int64_t when_ns);

  private:
    const VirtualWorld* world_;
    // By their times.
    std::deque<Truth> looks_;
};

}  // namespace uwbctl
