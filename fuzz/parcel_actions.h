// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/** What a round of the parcels' fuzzer does: the byte that its input begins with. */
enum Action : uint8_t {
    kParcels,
    kFira,
    kFiraStep,
    kCccStep,
    kSimpleStep,
    kReport,
    kMessage,
    kLoop,
    kDeath,
    kOpenOrClose,
    kCountry,
    kLost,
    kKernel,
    kActions,
};
