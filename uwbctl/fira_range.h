// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "uwbctl/client.h"

namespace uwbctl {

/** What "uwbctl fira range" was asked for. */
struct FiraRangeOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    /** Short addresses of the peers, as text. */
    std::vector<std::string> peers;
    /** This device's short address, as text; empty for the role's usual one. */
    std::string address;
    bool is_controlee = false;
    uint32_t session_id = 42;
    int channel = 9;
    int block_duration_ms = 200;
    /** "none", "azimuth", "elevation" or "both". */
    std::string angles = "azimuth";
    /** Reports after which it ends by itself, 0 for none. */
    uint64_t count = 0;
};

/**
 * Runs one FiRa session and prints a line for each measurement, until there were enough reports,
 * the user interrupts or nobody reads the output. Leaves no session behind.
 *
 * @return kDone, or throws a Failure.
 */
ExitStatus FiraRange(Events* events, const FiraRangeOptions& options);

}  // namespace uwbctl
