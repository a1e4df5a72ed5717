// SPDX-License-Identifier: Apache-2.0

// uwbctl: a command-line client of the UWB service. Data goes to standard output, everything else
// to standard error.
#include "uwbctl/commands/program.h"

int main(int argc, char** argv) {
    uwbctl::RunProgram(argc, argv, /*serve=*/nullptr);
}
