// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/anchors.h"

#include <android-base/parsedouble.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>

#include <algorithm>
#include <cmath>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"
#include "uwbctl/world/scene.h"

namespace uwbctl {
namespace {

using android::base::StringPrintf;

// Neither endless nor no number.
bool IsNear(double metres) {
    return std::abs(metres) <= Scene::kMaxMetres;
}

Vec3 ParsePlace(const std::string& text) {
    const std::vector<std::string> words = android::base::Split(text, ",");
    Vec3 place;
    if (words.size() == 3 && android::base::ParseDouble(words[0], &place.x) &&
        android::base::ParseDouble(words[1], &place.y) &&
        android::base::ParseDouble(words[2], &place.z) && IsNear(place.x) && IsNear(place.y) &&
        IsNear(place.z)) {
        return place;
    }
    throw Failure(kUsage, StringPrintf("not a place: %s (expected X,Y,Z in metres, %.0f at most)",
                                       Shortened(text).c_str(), Scene::kMaxMetres));
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
        std::string name = text.substr(0, equals);
        if (name.empty()) throw Failure(kUsage, "an anchor without a name: " + Shortened(text));
        const bool is_said = equals != text.npos;
        const auto at =
            is_said ? std::optional(ParsePlace(text.substr(equals + 1))) : place_of(name);
        if (!at) {
            name = Shortened(name);
            throw Failure(kUsage, "where is anchor " + name + "? Name it as " + name +
                                      "=X,Y,Z, or have a scene that says it");
        }
        if (are_peers) name = PeerName(name);
        if (std::any_of(anchors.begin(), anchors.end(),
                        [&name](const Anchor& other) { return other.name == name; })) {
            throw Failure(kUsage, "anchor " + Shortened(name) + " is there twice");
        }
        anchors.push_back({.name = name, .at = *at, .is_place_said = is_said});
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
            text = StringPrintf("0x%04zx", ++address);
        } while (text == task.tag);
        of_anchor.deviceAddress = ParsePeers({text}).front();
        sessions.emplace_back(anchor.name, of_anchor);
    }
    return sessions;
}

}  // namespace uwbctl
