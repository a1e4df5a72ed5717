// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/session.h"
#include "uwbctl/locate/anchors.h"
#include "uwbctl/ranging/simple_activity.h"
#include "uwbctl/serve/forms.h"

namespace uwbctl {

// What pages ask for, read from the arguments of their commands. Each throws a Failure for
// what is no such request.

/** Throws a Failure for a name that is none of the interfaces that there are. */
void CheckInterface(const std::string& name, const std::vector<std::string>& ifaces);

/** "preset" and "members": a FiRa session with one peer at least. */
FiraTwrSession FiraRequest(const nlohmann::ordered_json& arguments,
                           const SessionDefaults& defaults);

/** A CCC session. */
struct CccRequest {
    int delay_ms = 0;
    int channel = 0;
};

/** "delay_ms" and "channel". */
CccRequest ReadCccRequest(const nlohmann::ordered_json& arguments);

/** "peers", "role", "address", "pan_id" and "channel". */
SimpleRanging SimpleRequest(const nlohmann::ordered_json& arguments);

/** What is to be located, and what ranges for that. */
struct LocateRequest {
    LocateTask task;
    std::vector<SessionOnIface> sessions;
};

/**
 * "tag", "anchors", "height", "is_3d", "sigma"; "preset" and "members" of the sessions.
 * With a tag there is no "iface", and the peers are never among the members.
 *
 * @param own the interface that is located where no tag is.
 * @param ifaces all there are: the anchors where none is named.
 * @param place_of where an anchor is whose place is not said.
 */
LocateRequest ReadLocateRequest(
    const nlohmann::ordered_json& arguments, const SessionDefaults& defaults,
    const std::string& own, const std::vector<std::string>& ifaces,
    const std::function<std::optional<Vec3>(const std::string& name)>& place_of);

}  // namespace uwbctl
