// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <optional>

#include "uwbctl/serve/gate.h"

namespace uwbctl {

/**
 * @return why a request is refused, nothing for one that may pass: it can be understood in one way
 *         only, is no larger than ours are, and the gate lets it in.
 */
std::optional<Refusal> CheckRequest(const Gate& gate, const httplib::Request& request);

}  // namespace uwbctl
