// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "uwbctl/client/client.h"

namespace uwbctl {

/** What "uwbctl ccc" was asked for. */
struct CccOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    int64_t delay_ms = 0;
    int channel = 9;
    /** Seconds after which it ends by itself, 0 for never. */
    int seconds = 0;
};

/**
 * Runs a CCC session until the time is over or the user interrupts, and prints its events.
 *
 * @return kDone, or throws a Failure.
 */
ExitStatus RunCcc(Events* events, const CccOptions& options);

}  // namespace uwbctl
