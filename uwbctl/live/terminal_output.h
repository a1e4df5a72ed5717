// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "uwbctl/client/output.h"

namespace uwbctl {

/** Forms of output. */
enum class Format {
    /** kTable on a terminal, kPlain elsewhere. */
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

/** @return an output to standard output. */
std::unique_ptr<Output> MakeOutput(Format format);

}  // namespace uwbctl
