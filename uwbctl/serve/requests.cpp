// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/requests.h"

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

LocateTask TaskOf(const Json& arguments, const std::vector<std::string>& ifaces,
                  const std::function<std::optional<Vec3>(const std::string& name)>& place_of) {
    constexpr double kMinSigma = 0.001;
    constexpr double kMaxSigma = 100;
    const std::string tag = TextOf(arguments, "tag", "");
    LocateTask task{.tag = tag.empty() ? "" : PeerName(tag), .anchors = {}, .solver = {}};
    std::vector<std::string> names;
    if (arguments.contains("anchors")) names = TextsOf(arguments, "anchors");
    if (names.empty() && !tag.empty()) names = ifaces;
    task.anchors = ResolveAnchors(names, tag.empty(), place_of);
    if (task.anchors.size() < 2) throw Failure(kUsage, "two anchors at least are needed");
    task.solver.sigma =
        Metres(arguments, "sigma", kMinSigma, kMaxSigma).value_or(task.solver.sigma);
    if (!arguments.contains("is_3d") || !FlagOf(arguments, "is_3d")) {
        task.solver.height = Metres(arguments, "height", -Scene::kMaxMetres, Scene::kMaxMetres)
                                 .value_or(AnchorHeight(task.anchors));
    }
    return task;
}

}  // namespace

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
    members["destAddressList"] = peers;
    request.sessions = SessionsOf(request.task, FiraRequest(of_session, defaults), own);
    return request;
}

}  // namespace uwbctl
