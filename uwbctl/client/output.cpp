// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/output.h"

#include <cerrno>
#include <cstdio>

namespace uwbctl {

void Output::Note(const std::string& text) {
    fprintf(stderr, "uwbctl: %s\n", text.c_str());
}

int FlushStandardOutput() {
    // What is lost stays lost, even if a later write went well.
    static int first_error = 0;
    if (first_error == 0) {
        errno = 0;
        const bool is_good = fflush(stdout) == 0 && ferror(stdout) == 0;
        if (!is_good) first_error = errno != 0 ? errno : EIO;
    }
    return first_error == EPIPE ? 0 : first_error;
}

}  // namespace uwbctl
