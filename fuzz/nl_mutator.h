// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

#include "tests/unit/net/wire.h"

namespace hardware::velta {

/** Each mutation's own, seeded by libFuzzer: the same seed, the same campaign. */
class Chance {
  public:
    explicit Chance(unsigned int seed) : engine_(seed) {}
    /** @return a number below limit, which is not 0. */
    size_t Below(size_t limit) { return engine_() % limit; }
    bool OneIn(size_t many) { return Below(many) == 0; }

  private:
    std::minstd_rand engine_;
};

/** @return whether $FUZZ_MUTATOR is "bytes": nothing is changed by its structure then, to compare.
 */
bool MutatesBytesOnly();

/** Changes any of the bytes, as libFuzzer does by itself; at most so many come. */
void MutateBytes(Bytes* bytes, size_t growth);

/**
 * Changes the netlink messages of a datagram: attributes at any depth (their values, types and
 * order; doubled, lost, nested), flags, types, commands and codes, messages that come twice, are
 * lost or change places, acknowledgements, errors and ends of lists that come in. Lengths are put
 * right afterwards, so that what is behind the first check is reached as well; now and then one
 * lies, or any byte changes.
 */
void MutateMessages(Bytes* datagram, Chance* chance);

/** Puts an attribute or a whole message of another datagram into this one. */
void GraftMessages(Bytes* datagram, const Bytes& from, Chance* chance);

}  // namespace hardware::velta
