// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/requests.h"

#include <algorithm>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"
#include "uwbctl/serve/arguments.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kDefaultChannel = 9;
constexpr int kMaxChannel = 15;

// A number that the radio may be asked for; it knows better which ones it can.
int SmallNumber(const Json& arguments, const char* name, int otherwise, int max) {
    if (!arguments.contains(name)) return otherwise;
    return static_cast<int>(WholeNumberOf(arguments, name, static_cast<uint64_t>(max)));
}

// A number of metres, nothing for null and for what is not there.
std::optional<double> Metres(const Json& arguments, const char* name, double min, double max) {
    const auto found = arguments.find(name);
    if (found == arguments.end() || found->is_null()) return std::nullopt;
    return NumberOf(arguments, name, min, max);
}

// What is thrown names the member that is wrong.
template <typename Read>
auto Named(const std::string& member, Read read) {
    try {
        return read();
    } catch (const Failure& failure) {
        throw Failure(failure.status(), member + ": " + failure.what());
    }
}

std::vector<Anchor> AnchorsOf(
    const Json& arguments, bool has_tag, const std::vector<std::string>& ifaces,
    const std::function<std::optional<Vec3>(const std::string& name)>& place_of) {
    std::vector<std::string> names;
    if (arguments.contains("anchors")) names = TextsOf(arguments, "anchors");
    if (names.empty() && has_tag) names = ifaces;
    return Named("anchors", [&] {
        auto anchors = ResolveAnchors(names, !has_tag, place_of);
        if (anchors.size() < 2) throw Failure(kUsage, "two at least are needed");
        for (const Anchor& anchor : anchors) {
            if (has_tag) CheckInterface(anchor.name, ifaces);
        }
        return anchors;
    });
}

LocateTask TaskOf(const Json& arguments, const std::vector<std::string>& ifaces,
                  const std::function<std::optional<Vec3>(const std::string& name)>& place_of) {
    constexpr double kMinSigma = 0.001;
    constexpr double kMaxSigma = 100;
    const std::string tag = TextOf(arguments, "tag", "");
    LocateTask task{.tag = tag.empty() ? "" : Named("tag", [&tag] { return PeerName(tag); }),
                    .anchors = AnchorsOf(arguments, !tag.empty(), ifaces, place_of),
                    .solver = {}};
    task.solver.sigma =
        Metres(arguments, "sigma", kMinSigma, kMaxSigma).value_or(task.solver.sigma);
    const auto height = Metres(arguments, "height", -Scene::kMaxMetres, Scene::kMaxMetres);
    const bool is_3d = arguments.contains("is_3d") && FlagOf(arguments, "is_3d");
    if (is_3d && height) throw Failure(kUsage, "height: with is_3d it is found, not said");
    if (!is_3d) task.solver.height = height.value_or(AnchorHeight(task.anchors));
    return task;
}

}  // namespace

void CheckInterface(const std::string& name, const std::vector<std::string>& ifaces) {
    if (std::find(ifaces.begin(), ifaces.end(), name) == ifaces.end()) {
        throw Failure(kUsage, "there is no interface " + Shortened(name));
    }
}

FiraTwrSession FiraRequest(const Json& arguments, const SessionDefaults& defaults) {
    FiraTwrSession session = MakeSession(TextOf(arguments, "preset", defaults.preset));
    if (arguments.contains("members")) ApplyJson(arguments.at("members"), "members", &session);
    FillDeviceAddress(&session);
    CheckPeers(AddressTexts(session.destAddressList), AddressText(session.deviceAddress));
    if (session.destAddressList.empty()) {
        throw Failure(kUsage, "range with whom? name at least one peer");
    }
    return session;
}

CccRequest ReadCccRequest(const Json& arguments) {
    constexpr int kMaxDelayMs = 600000;
    return {.delay_ms = SmallNumber(arguments, "delay_ms", 0, kMaxDelayMs),
            .channel = SmallNumber(arguments, "channel", kDefaultChannel, kMaxChannel)};
}

SimpleRanging SimpleRequest(const Json& arguments) {
    constexpr int kMaxPanId = 0xFFFF;
    SimpleRanging ranging;
    ranging.peers = TextsOf(arguments, "peers");
    const std::string role = TextOf(arguments, "role", "initiator");
    ranging.is_responder = role == "responder";
    if (role != "initiator" && role != "responder") {
        RefuseMember(arguments, "role", "initiator or responder");
    }
    ranging.address = TextOf(arguments, "address", ranging.address);
    ranging.pan_id = SmallNumber(arguments, "pan_id", ranging.pan_id, kMaxPanId);
    ranging.channel = SmallNumber(arguments, "channel", ranging.channel, kMaxChannel);
    return ranging;
}

LocateRequest ReadLocateRequest(
    const Json& arguments, const SessionDefaults& defaults, const std::string& own,
    const std::vector<std::string>& ifaces,
    const std::function<std::optional<Vec3>(const std::string& name)>& place_of) {
    LocateRequest request{.task = TaskOf(arguments, ifaces, place_of), .sessions = {}};
    std::vector<std::string> peers = {request.task.tag};
    if (request.task.tag.empty()) {
        peers.clear();
        for (const Anchor& anchor : request.task.anchors) peers.push_back(anchor.name);
    }
    Json of_session = arguments;
    Json& members = of_session["members"];
    if (!members.is_object() && !members.is_null()) RefuseMember(arguments, "members", "an object");
    if (members.contains("destAddressList")) {
        throw Failure(kUsage, "members: destAddressList: the peers are the anchors, or the tag");
    }
    if (!request.task.tag.empty() && members.contains("deviceAddress")) {
        throw Failure(kUsage, "members: deviceAddress: with a tag each radio has its own");
    }
    if (!request.task.tag.empty() && arguments.contains("iface")) {
        throw Failure(kUsage, "iface: with a tag the radios are the anchors");
    }
    members["destAddressList"] = peers;
    request.sessions = SessionsOf(request.task, FiraRequest(of_session, defaults), own);
    return request;
}

}  // namespace uwbctl
