// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <exception>

namespace hardware::velta::bench {

/** What main() does: runs a program's body; what that throws is one line, and status 1. */
inline int RunMain(int (*run)(int, char**), int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        fprintf(stderr, "error: %s\n", error.what());
        return 1;
    }
}

}  // namespace hardware::velta::bench
