// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/output.h"

#include <cstdio>

#include "uwbctl/client/text.h"

namespace uwbctl {

void Output::Event(const std::string& event, const std::vector<std::string>& peers) {
    const std::string list = Join(peers, [](const std::string& peer) { return peer; });
    fprintf(stderr, "%s: %s\n", event.c_str(), list.c_str());
}

}  // namespace uwbctl
