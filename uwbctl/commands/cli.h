// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "uwbctl/commands/command.h"

namespace uwbctl {

/** @return uwbctl's command line; it must not be moved, its parser writes into it. */
std::unique_ptr<CommandLine> MakeCommandLine();

}  // namespace uwbctl
