// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "diagnostics/recent_errors.h"

namespace hardware::velta {

/** What only the process's entry knows of it, for the service's dump. */
struct Diagnostics {
    /** Names and values: versions, and what the integrator chose. */
    std::map<std::string, std::string> about;
    RecentErrors errors;
};

}  // namespace hardware::velta
