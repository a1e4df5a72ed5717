// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/station.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/checks.h"
#include "uwbctl/client/country.h"
#include "uwbctl/client/holder.h"
#include "uwbctl/client/json.h"
#include "uwbctl/client/text.h"
#include "uwbctl/locate/locate_activity.h"
#include "uwbctl/ranging/ccc_activity.h"
#include "uwbctl/ranging/simple_activity.h"
#include "uwbctl/serve/note.h"
#include "uwbctl/serve/requests.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLookInterval{1000};
constexpr milliseconds kEndPatience{6000};

std::string Listed(const std::vector<std::string>& names) {
    return Join(names, [](const std::string& name) { return name; });
}

}  // namespace

Station::Station(Events* events, EventLog* log, SessionDefaults defaults, const std::string& folder,
                 Surroundings surroundings)
    : events_(events),
      log_(log),
      surroundings_(std::move(surroundings)),
      defaults_(std::move(defaults)),
      board_(log, folder),
      world_(log, surroundings_.world),
      forms_(DescribeForms(defaults_, world_.is_there())) {
    LookAtService();
    PublishState();
}

Json Station::Command(const std::string& name, const Json& arguments) {
    try {
        if (name.starts_with("world/")) return world_.Command(name, arguments);
        RunVerb(Commands(), name, arguments, this);
    } catch (const std::exception& failure) {
        if (running_.is_empty() && client_ != nullptr) client_->Close();
        Note(Tone::kError, failure.what());
        PublishState();
        throw;
    }
    PublishState();
    return Json::object();
}

const Verbs<Station>& Station::Commands() {
    static const Verbs<Station> commands = {
        {"fira/start", {{"iface", "preset", "members"}, Doing(&Station::StartFira)}},
        {"fira/add", {{"iface", "peers"}, Doing(&Station::ChangeControlees<true>)}},
        {"fira/remove", {{"iface", "peers"}, Doing(&Station::ChangeControlees<false>)}},
        {"locate/start",
         {{"iface", "preset", "members", "tag", "anchors", "sigma", "height", "is_3d"},
          Doing(&Station::StartLocate)}},
        {"ccc/start", {{"iface", "delay_ms", "channel"}, Doing(&Station::StartCcc)}},
        {"simple/start",
         {{"iface", "peers", "role", "address", "pan_id", "channel"},
          Doing(&Station::StartSimple)}},
        {"stop", {{"iface"}, Doing(&Station::StopOn)}},
        {"country", {{"code"}, Doing(&Station::SetCountry)}},
        {"record", {{"iface", "on"}, Doing(&Station::Record)}},
        {"stats/reset", {{}, Doing(&Station::CountAnew)}},
    };
    return commands;
}

// ---- What runs ----

void Station::RequireIdle() const {
    if (!running_.is_empty()) throw Failure(kRefused, "the radio is busy: stop first");
}

std::string Station::NameOf(const Json& arguments) {
    std::string name = TextOf(arguments, "iface", defaults_.iface);
    if (name.empty()) return ifaces_.empty() ? "" : ifaces_.front();
    RequireInterface(name);
    return name;
}

// One that is on its way out may still be in use.
void Station::RequireInterface(const std::string& name) {
    if (running_.On(name) != nullptr) return;
    ifaces_ = surroundings_.ifaces();
    CheckInterface(name, ifaces_);
}

Client* Station::OpenFor(const std::string& iface) {
    running_.CheckFree(iface);
    if (client_ == nullptr) client_ = surroundings_.connect(events_);
    client_->Open();
    return client_.get();
}

void Station::Begin(const std::shared_ptr<Activity>& activity, int64_t block_stride,
                    const std::string& words) {
    // Before its first report can come.
    board_.Begin({.ifaces = activity->ifaces(),
                  .others = running_.Ifaces(),
                  .kind = activity->Describe().at("kind"),
                  .block_stride = block_stride});
    activity->Start(events_);
    running_.Add(activity);
    hardware_ = "ours";
    Note(Tone::kInfo, words);
}

void Station::StartFira(const Json& arguments) {
    const FiraTwrSession session = FiraRequest(arguments, defaults_);
    std::string name = NameOf(arguments);
    const auto controller = OpenFor(name)->GetFira(&name);
    Begin(std::make_shared<FiraActivity>(controller, name, session, Listener()),
          BlockStride(session),
          "ranging on " + name + ", channel " + std::to_string(session.channelNumber) + ", with " +
              Listed(AddressTexts(session.destAddressList)));
}

void Station::StartLocate(const Json& arguments) {
    const std::string own = NameOf(arguments);
    LocateRequest request =
        ReadLocateRequest(arguments, defaults_, own, ifaces_,
                          [this](const std::string& name) { return PlaceOf(name, std::nullopt); });
    const std::string what = request.task.tag.empty() ? own : request.task.tag;
    const std::string anchors =
        Join(request.task.anchors, [](const Anchor& anchor) { return anchor.name; });
    const auto activity = std::make_shared<LocateActivity>(
        request.task,
        [this, what](const Estimate& estimate) {
            board_.AddPlace(what, estimate, PlaceOf(what, estimate.timestamp_ns));
        },
        [this](const std::string& name, int64_t when_ns) { return PlaceOf(name, when_ns); },
        Listener());
    for (auto& [iface, session] : request.sessions) {
        activity->Add(iface, OpenFor(iface)->GetFira(&iface), session);
    }
    Begin(activity, BlockStride(request.sessions.front().second),
          "locating " + what + " by " + anchors);
}

void Station::StartCcc(const Json& arguments) {
    const CccRequest request = ReadCccRequest(arguments);
    std::string name = NameOf(arguments);
    const auto controller = OpenFor(name)->GetCcc(&name);
    Begin(std::make_shared<CccActivity>(controller, name, request.delay_ms, request.channel),
          /*block_stride=*/1,
          "CCC session on " + name + "; its ranging is between key and car alone");
}

void Station::StartSimple(const Json& arguments) {
    const SimpleRanging ranging = SimpleRequest(arguments);
    std::string name = NameOf(arguments);
    const auto controller = OpenFor(name)->GetSimpleRanging(&name);
    Begin(std::make_shared<SimpleActivity>(
              controller, name, ranging,
              [this, name](const auto& /*same*/, const Measurement& measurement) {
                  OnMeasurements(name, {measurement});
              }),
          /*block_stride=*/1, "simple ranging on " + name);
}

template <bool kAdds>
void Station::ChangeControlees(const Json& arguments) {
    Activity* activity = running_.On(NameOf(arguments));
    if (activity == nullptr) throw Failure(kRefused, "no FiRa session is ranging");
    const auto peers = TextsOf(arguments, "peers");
    if (peers.empty()) throw Failure(kUsage, "peers: name at least one");
    activity->ChangeControlees(kAdds, peers);
}

void Station::StopOn(const Json& arguments) {
    const std::string iface = TextOf(arguments, "iface", "");
    // Nothing to stop on one that is there: somebody was faster.
    if (!iface.empty()) RequireInterface(iface);
    Stop(iface);
}

void Station::Stop(const std::string& iface) {
    try {
        running_.Stop(iface);
    } catch (const Failure&) {
        FinishActivities();
        throw;
    }
    FinishActivities();
}

void Station::FinishActivities() {
    const Running::List ended = running_.TakeEnded();
    if (ended.empty()) return;
    for (const auto& activity : ended) {
        const ActivityEnd& end = *activity->end();
        EndBoard(*activity, end.tone == Tone::kInfo ? "quit" : end.reason);
        Note(end.tone,
             ifaces_.size() > 1 ? Listed(activity->ifaces()) + ": " + end.reason : end.reason);
    }
    if (running_.is_empty() && client_ != nullptr) client_->Close();
    LookAtService();
}

void Station::EndBoard(const Activity& activity, const std::string& reason) {
    try {
        for (const std::string& iface : activity.ifaces()) board_.End(iface, reason);
    } catch (const Failure& failure) {
        Note(Tone::kError, failure.what());
    }
}

// ---- The country, recordings, numbers ----

void Station::SetCountry(const Json& arguments) {
    RequireIdle();
    const std::string code = CheckCountry(TextOf(arguments, "code"));
    if (client_ == nullptr) client_ = surroundings_.connect(events_);
    client_->Open();
    const std::string text = ApplyCountry(client_->service(), code);
    client_->Close();
    LookAtService();
    Note(Tone::kInfo, text);
}

void Station::Record(const Json& arguments) {
    if (!FlagOf(arguments, "on")) {
        StopRecording(TextOf(arguments, "iface", ""));
        return;
    }
    const std::string name = NameOf(arguments);
    const FiraTwrSession* session = running_.SessionOn(name);
    if (session == nullptr) {
        throw Failure(kRefused, "nothing to record: no FiRa session is ranging on " + name);
    }
    board_.StartRecording(name, *session);
}

// Whichever it is of, where none is named.
void Station::StopRecording(const std::string& iface) {
    if (!iface.empty()) {
        RequireInterface(iface);
        if (board_.is_recording() && iface != board_.recorded_iface()) {
            throw Failure(kRefused, iface + " is not recorded: " + board_.recorded_iface() + " is");
        }
    }
    board_.StopRecording("quit");
}

void Station::CountAnew(const Json& /*arguments*/) {
    board_.CountAnew();
    Note(Tone::kInfo, "the numbers are counted anew");
}

// ---- What is measured ----

std::optional<Vec3> Station::PlaceOf(const std::string& name, std::optional<int64_t> when_ns) {
    const auto thing = ThingOf(name);
    if (!thing) return std::nullopt;
    const auto body = when_ns ? world_.At(*thing, *when_ns) : world_.Now(*thing);
    return body ? std::optional(body->at) : std::nullopt;
}

std::optional<PeerTruth> Station::TruthOf(const std::string& iface,
                                          const Measurement& measurement) {
    if (!measurement.distance_mm) return std::nullopt;
    const auto radio = ThingOf(iface);
    const auto peer = running_.ThingOfPeer(iface, measurement.peer);
    return radio && peer ? world_.Of(*radio, *peer, measurement.timestamp_ns) : std::nullopt;
}

void Station::OnMeasurements(const std::string& iface,
                             const std::vector<Measurement>& measurements) {
    try {
        board_.Add(iface, measurements, [this, &iface](const Measurement& measurement) {
            return TruthOf(iface, measurement);
        });
    } catch (const Failure& failure) {
        // Such as a disk that is full: the recording is over, ranging goes on.
        Note(Tone::kError, failure.what());
    }
}

void Station::OnControlees(const std::string& iface, const std::string& event,
                           const std::vector<std::string>& peers, const std::string& words) {
    try {
        board_.OnControlees(iface, event, peers);
    } catch (const Failure& failure) {
        Note(Tone::kError, failure.what());
    }
    Note(event.ends_with("failed") ? Tone::kWarning : Tone::kInfo, words);
    PublishState();
}

// ---- Time, the service ----

void Station::Tick() {
    running_.Tick();
    FinishActivities();
    board_.Tick();
    world_.Tick();
    if (steady_clock::now() - looked_ >= kLookInterval) LookAtService();
    PublishState();
}

void Station::LookAtService() {
    looked_ = steady_clock::now();
    ifaces_ = surroundings_.ifaces();
    country_ = InForceText();
    try {
        if (client_ == nullptr) {
            client_ = surroundings_.connect(events_);
            if (!service_.empty()) Note(Tone::kInfo, "the service is back");
        }
        client_->CheckAlive();
        service_ = "there";
        LookForHolder();
    } catch (const Failure& failure) {
        // Told once; the next look may find it again.
        if (service_ != failure.what()) Note(Tone::kError, failure.what());
        service_ = failure.what();
        hardware_ = "";
        client_.reset();
        for (const auto& activity : running_.TakeAll()) EndBoard(*activity, "the service has died");
    }
}

void Station::LookForHolder() {
    std::vector<std::string> names;
    const bool is_held = client_->service()->listIfaceNames(&names).isOk() && !names.empty();
    const bool is_ours = !running_.is_empty();
    const std::string holder = is_held && !is_ours ? HolderText() : "";
    hardware_ = is_ours          ? "ours"
                : !is_held       ? "free"
                : holder.empty() ? "held by another client"
                                 : "held by " + holder;
}

void Station::Note(Tone tone, const std::string& text) {
    PublishNote(log_, tone, text);
}

void Station::PublishState() {
    Json ifaces = Json::array();
    for (const std::string& name : ifaces_) {
        const auto thing = ThingOf(name);
        ifaces.push_back({{"name", name}, {"thing", thing ? ToText(*thing) : ""}});
    }
    const Json json = {{"service", service_},
                       {"hardware", hardware_},
                       {"ifaces", std::move(ifaces)},
                       {"country", country_},
                       {"activities", running_.Describe()},
                       {"recording", board_.is_recording()        ? "on"
                                     : board_.recording().empty() ? "none"
                                                                  : "there"},
                       {"recorded", board_.recorded_iface()}};
    std::string state = JsonText(json);
    if (state == published_state_) return;
    log_->Keep("state", state);
    published_state_ = std::move(state);
}

void Station::End() {
    const auto deadline = steady_clock::now() + kEndPatience;
    try {
        Stop(/*iface=*/"");
    } catch (const Failure& failure) {
        Note(Tone::kError, failure.what());
    }
    while (!running_.is_empty() && steady_clock::now() < deadline) {
        constexpr milliseconds kSlice{100};
        // A closed output wakes at once, every time.
        if (events_->Wait(kSlice) == Events::Wake::kOutputClosed) {
            std::this_thread::sleep_for(milliseconds(10));
        }
        Tick();
    }
    board_.RemoveRecording();
}

}  // namespace uwbctl
