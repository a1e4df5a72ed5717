// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>

namespace hardware::velta::soak {

/** What happens by chance in one cycle: the same for the same seed and cycle, whatever came before.
 */
class Chance {
  public:
    Chance(uint32_t seed, uint32_t cycle) : generator_(Seeded({seed, cycle})) {}

    /** @return 0 to n - 1. Without a distribution of the library's, which may be another one. */
    int Below(int n) { return static_cast<int>(generator_() % static_cast<uint32_t>(n)); }
    bool OneIn(int n) { return Below(n) == 0; }
    /** @return low to high. */
    int Between(int low, int high) { return low + Below(high - low + 1); }

    template <typename T>
    T Pick(std::initializer_list<T> from) {
        return from.begin()[Below(static_cast<int>(from.size()))];
    }
    template <typename T, size_t kSize>
    const T& Pick(const T (&from)[kSize]) {
        return from[Below(kSize)];
    }

  private:
    static std::mt19937 Seeded(std::seed_seq seeds) { return std::mt19937(seeds); }

    std::mt19937 generator_;
};

}  // namespace hardware::velta::soak
