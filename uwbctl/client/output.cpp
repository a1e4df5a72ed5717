// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/output.h"

#include <cstdio>

namespace uwbctl {

void Output::Note(const std::string& text) {
    fprintf(stderr, "uwbctl: %s\n", text.c_str());
}

}  // namespace uwbctl
