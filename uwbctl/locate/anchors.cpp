// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/anchors.h"

#include <android-base/parsedouble.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>

#include <cmath>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

Vec3 ParsePlace(const std::string& text) {
    const std::vector<std::string> words = android::base::Split(text, ",");
    Vec3 place;
    if (words.size() == 3 && android::base::ParseDouble(words[0], &place.x) &&
        android::base::ParseDouble(words[1], &place.y) &&
        android::base::ParseDouble(words[2], &place.z) &&
        std::isfinite(place.x + place.y + place.z)) {
        return place;
    }
    throw Failure(kUsage, "not a place: " + text + " (expected X,Y,Z in metres)");
}

}  // namespace

std::string PeerName(const std::string& text) {
    return AddressText(ParsePeers({text}).front());
}

std::vector<Anchor> ResolveAnchors(
    const std::vector<std::string>& texts, bool are_peers,
    const std::function<std::optional<Vec3>(const std::string& name)>& place_of) {
    std::vector<Anchor> anchors;
    for (const std::string& text : texts) {
        const size_t equals = text.find('=');
        const std::string name = text.substr(0, equals);
        const bool is_said = equals != text.npos;
        const auto at =
            is_said ? std::optional(ParsePlace(text.substr(equals + 1))) : place_of(name);
        if (!at) {
            throw Failure(kUsage, "where is anchor " + name + "? Name it as " + name +
                                      "=X,Y,Z, or have a scene that says it");
        }
        anchors.push_back(
            {.name = are_peers ? PeerName(name) : name, .at = *at, .is_place_said = is_said});
    }
    return anchors;
}

std::vector<SessionOnIface> SessionsOf(const LocateTask& task, const FiraTwrSession& session,
                                       const std::string& own) {
    if (task.tag.empty()) return {{own, session}};
    std::vector<SessionOnIface> sessions;
    size_t address = 0;
    for (const Anchor& anchor : task.anchors) {
        FiraTwrSession of_anchor = session;
        of_anchor.id += static_cast<int32_t>(sessions.size());
        std::string text;
        do {
            text = android::base::StringPrintf("0x%04zx", ++address);
        } while (text == task.tag);
        of_anchor.deviceAddress = ParsePeers({text}).front();
        sessions.emplace_back(anchor.name, of_anchor);
    }
    return sessions;
}

}  // namespace uwbctl
