// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "uwbctl/client/client.h"

namespace uwbctl {

/** What "uwbctl monitor" was asked for. */
struct MonitorOptions {
    /** Seconds after which it ends by itself, 0 for never. */
    int seconds = 0;
    /** JSON lines in place of text. */
    bool is_json = false;
};

/**
 * Watches without taking the hardware: whether the service is there, whether a client holds it, and
 * which interfaces are up. Prints a line for each change until the time is over or the user ends
 * it.
 *
 * @return kDone.
 */
ExitStatus Monitor(Events* events, const MonitorOptions& options);

}  // namespace uwbctl
