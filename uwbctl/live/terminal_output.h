// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "uwbctl/client/events.h"
#include "uwbctl/client/output.h"

namespace uwbctl {

/** Forms of output. */
enum class Format {
    /** kTable in the foreground of a terminal that can show it, kPlain elsewhere. */
    kAuto,
    /** A live table with a row for each peer. */
    kTable,
    /** An aligned line for each measurement. */
    kPlain,
    /** A JSON object on each line: what a recording has. */
    kJson,
    /** Comma-separated values with a header line. */
    kCsv,
};

/** @return an output to standard output; events must outlive it. */
std::unique_ptr<Output> MakeOutput(Format format, Events* events);

}  // namespace uwbctl
