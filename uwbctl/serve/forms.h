// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace uwbctl {

/** How a session that nobody has described is to begin. */
struct SessionDefaults {
    std::string preset;
    /** Interface, empty for the first one. */
    std::string iface;
    /** Short addresses of the peers, as text. */
    std::vector<std::string> peers;
};

/**
 * @return what a page builds its forms from: "presets" with their sessions, "members" of a session
 *         (name, kind, limits, choices; secret ones have no value anywhere), "defaults", "scenes"
 *         and "models" of the virtual world, "has_world".
 */
nlohmann::ordered_json DescribeForms(const SessionDefaults& defaults, bool has_world);

}  // namespace uwbctl
