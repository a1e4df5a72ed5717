// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "uwbctl/serve/serve.h"

namespace uwbctl {

/**
 * The program: parses the command line, runs the command and ends the process.
 *
 * @param serve what "serve" does; null has uwbctl-serve do it.
 */
[[noreturn]] void RunProgram(int argc, char** argv, ServeFunction serve);

}  // namespace uwbctl
