// SPDX-License-Identifier: Apache-2.0

// uwbctl-serve: uwbctl with its web server.
#include "uwbctl/commands/program.h"
#include "uwbctl/serve/serve.h"

int main(int argc, char** argv) {
    uwbctl::RunProgram(argc, argv, uwbctl::Serve);
}
