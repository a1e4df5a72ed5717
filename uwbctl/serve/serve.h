// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "uwbctl/client/client.h"

namespace uwbctl {

/** What "uwbctl serve" was asked for. */
struct ServeOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    /** Address of this machine to listen on. */
    std::string listen = "127.0.0.1";
    int port = 8765;
    /** "HOST:PORT" by which browsers reach it from elsewhere; empty for the address above. */
    std::string link;
    std::string preset;
    /** Short addresses of the peers, as text; none for the tags of the virtual world. */
    std::vector<std::string> peers;
    /** Whether to begin to range at once. */
    bool starts = false;
};

/** How "uwbctl serve" is run. */
using ServeFunction = ExitStatus (*)(Events*, const ServeOptions&);

/**
 * Serves the live page until the user ends it. The link that may command goes to standard output.
 *
 * @return kDone, or throws a Failure.
 */
ExitStatus Serve(Events* events, const ServeOptions& options);

}  // namespace uwbctl
