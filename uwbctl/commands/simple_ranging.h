// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "uwbctl/client/client.h"

namespace uwbctl {

/** What "uwbctl simple" was asked for. */
struct SimpleOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    bool is_responder = false;
    /** Addresses of the peers; requests are numbered from 1 in this order. */
    std::vector<uint64_t> peers;
    /** This device's address, as text: 2 to 8 bytes. */
    std::string address = "0x0001";
    int pan_id = 0xCAFE;
    int channel = 9;
    /** Second value of each request, which the driver interprets. */
    int param = 0;
    /** Results after which it ends by itself, 0 for none. */
    uint64_t count = 0;
};

/**
 * Runs simple ranging and prints a line for each result, until there were enough, the user
 * interrupts or nobody reads the output.
 *
 * @return kDone, or throws a Failure.
 */
ExitStatus RunSimple(Events* events, const SimpleOptions& options);

}  // namespace uwbctl
