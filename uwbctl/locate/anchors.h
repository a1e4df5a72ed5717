// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/client/session.h"
#include "uwbctl/locate/locator.h"

namespace uwbctl {

/** What is to be located, and by whom. */
struct LocateTask {
    /** A peer, as measurements name it; empty for the radio that ranges with the anchors. */
    std::string tag;
    /** Peers; with a tag, interfaces of this device. */
    std::vector<Anchor> anchors;
    SolverOptions solver;
};

/** @return a peer in the spelling that measurements have; a Failure for what is no address. */
std::string PeerName(const std::string& text);

/**
 * Reads anchors from "NAME" or "NAME=X,Y,Z", in metres.
 *
 * @param are_peers whether they are peers; otherwise interfaces.
 * @param place_of where an anchor is whose place is not said, nothing where that is not known.
 * @return the anchors; a Failure names a bad one, or one that nobody knows the place of.
 */
std::vector<Anchor> ResolveAnchors(
    const std::vector<std::string>& texts, bool are_peers,
    const std::function<std::optional<Vec3>(const std::string& name)>& place_of);

/** A session and the interface that it is for. */
using SessionOnIface = std::pair<std::string, FiraTwrSession>;

/**
 * @param session with the tag, or else with all anchors.
 * @param own the interface to be located, where there is no tag.
 * @return the sessions that a task wants: one with all anchors, or one with the tag on each
 *         interface, with numbers and addresses of their own.
 */
std::vector<SessionOnIface> SessionsOf(const LocateTask& task, const FiraTwrSession& session,
                                       const std::string& own);

}  // namespace uwbctl
