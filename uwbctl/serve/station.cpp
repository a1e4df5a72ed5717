// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/station.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/checks.h"
#include "uwbctl/client/country.h"
#include "uwbctl/client/holder.h"
#include "uwbctl/client/interfaces.h"
#include "uwbctl/client/json.h"
#include "uwbctl/client/text.h"
#include "uwbctl/ranging/ccc_activity.h"
#include "uwbctl/ranging/simple_activity.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLookInterval{1000};
constexpr milliseconds kEndPatience{6000};

const char* ToneText(Tone tone) {
    switch (tone) {
        case Tone::kInfo:
            return "info";
        case Tone::kWarning:
            return "warning";
        case Tone::kError:
            return "error";
    }
    return "";
}

std::vector<std::string> PeersOf(const Json& arguments) {
    return arguments.at("peers").get<std::vector<std::string>>();
}

// A number that the radio may be asked for; it knows better which ones it can.
int SmallNumber(const Json& arguments, const char* name, int otherwise, int max) {
    const auto found = arguments.find(name);
    if (found == arguments.end()) return otherwise;
    const int64_t number = found->is_number_integer() ? found->get<int64_t>() : -1;
    if (number < 0 || number > max) {
        throw Failure(kUsage, std::string(name) + " is a whole number, 0 to " +
                                  std::to_string(max) + ", not " + found->dump());
    }
    return static_cast<int>(number);
}

FiraTwrSession SessionOf(const Json& arguments, const SessionDefaults& defaults) {
    FiraTwrSession session = MakeSession(arguments.value("preset", defaults.preset));
    if (arguments.contains("members")) ApplyJson(arguments.at("members"), "session", &session);
    FillDeviceAddress(&session);
    CheckPeers(AddressTexts(session.destAddressList), AddressText(session.deviceAddress));
    if (session.destAddressList.empty()) {
        throw Failure(kUsage, "range with whom? name at least one peer");
    }
    return session;
}

}  // namespace

Station::Station(Events* events, EventLog* log, std::string iface, SessionDefaults defaults,
                 const std::string& folder)
    : events_(events),
      log_(log),
      wanted_iface_(std::move(iface)),
      defaults_(std::move(defaults)),
      board_(log, folder),
      world_(log),
      forms_(DescribeForms(defaults_, world_.is_there())) {
    LookAtService();
    PublishState();
}

Json Station::Command(const std::string& name, const Json& arguments) {
    constexpr char kWorld[] = "world/";
    try {
        if (name.starts_with(kWorld)) {
            return world_.Command(name.substr(sizeof(kWorld) - 1), arguments);
        }
        if (name == "fira/start") {
            StartFira(arguments);
        } else if (name == "ccc/start") {
            StartCcc(arguments);
        } else if (name == "simple/start") {
            StartSimple(arguments);
        } else if (name == "stop") {
            Stop();
        } else if (name == "fira/add" || name == "fira/remove") {
            ChangeControlees(name == "fira/add", arguments);
        } else if (name == "country") {
            SetCountry(arguments);
        } else if (name == "record") {
            Record(arguments);
        } else {
            throw Failure(kUsage, "there is no command " + name);
        }
    } catch (const std::exception& failure) {  // JSON of another shape as well.
        if (activity_ == nullptr && client_ != nullptr) client_->Close();
        Note(Tone::kError, ReasonOf(failure));
        PublishState();
        throw;
    }
    PublishState();
    return Json::object();
}

void Station::RequireIdle() const {
    if (activity_ != nullptr) throw Failure(kRefused, "the radio is busy: stop first");
}

std::shared_ptr<Client::IUwbIface> Station::OpenIface(const Json& arguments, std::string* name) {
    RequireIdle();
    if (client_ == nullptr) client_ = std::make_unique<Client>(events_);
    *name = arguments.value("iface", wanted_iface_);
    client_->Open();
    return client_->GetIface(name);
}

template <typename SomeActivity>
void Station::Begin(const std::shared_ptr<SomeActivity>& activity, const std::string& iface,
                    int64_t block_stride) {
    // Before its first report can come.
    iface_ = iface;
    board_.Begin(block_stride);
    log_->Keep("begin", Json{{"iface", iface}, {"kind", activity->Describe().at("kind")}}.dump());
    activity->Start(events_);
    activity_ = activity;
    hardware_ = "ours";
}

void Station::StartFira(const Json& arguments) {
    const FiraTwrSession session = SessionOf(arguments, defaults_);
    std::string name;
    const auto iface = OpenIface(arguments, &name);
    std::shared_ptr<FiraActivity::IFiraController> controller;
    Check(iface->firaController(&controller), "get the FiRa controller");
    if (controller == nullptr) throw Failure(kRefused, "interface " + name + " has no FiRa");
    const auto fira = std::make_shared<FiraActivity>(controller, name, session, Listener());
    Begin(fira, name, BlockStride(session));
    fira_ = fira;
    Note(Tone::kInfo, "ranging on " + name + ", channel " + std::to_string(session.channelNumber) +
                          ", with " +
                          Join(AddressTexts(session.destAddressList),
                               [](const std::string& peer) { return peer; }));
}

void Station::StartCcc(const Json& arguments) {
    constexpr int kMaxDelayMs = 600000;
    constexpr int kMaxChannel = 15;
    const int delay_ms = SmallNumber(arguments, "delay_ms", 0, kMaxDelayMs);
    const int channel = SmallNumber(arguments, "channel", 9, kMaxChannel);
    std::string name;
    const auto iface = OpenIface(arguments, &name);
    std::shared_ptr<CccActivity::ICccController> controller;
    Check(iface->cccController(&controller), "get the CCC controller");
    if (controller == nullptr) throw Failure(kRefused, "interface " + name + " has no CCC");
    Begin(std::make_shared<CccActivity>(controller, name, delay_ms, channel), name,
          /*block_stride=*/1);
    Note(Tone::kInfo, "CCC session on " + name + "; its ranging is between key and car alone");
}

void Station::StartSimple(const Json& arguments) {
    constexpr int kMaxPanId = 0xFFFF;
    constexpr int kMaxChannel = 15;
    SimpleRanging ranging;
    ranging.peers = PeersOf(arguments);
    ranging.is_responder = arguments.value("role", "initiator") == "responder";
    ranging.address = arguments.value("address", ranging.address);
    ranging.pan_id = SmallNumber(arguments, "pan_id", ranging.pan_id, kMaxPanId);
    ranging.channel = SmallNumber(arguments, "channel", ranging.channel, kMaxChannel);
    std::string name;
    const auto iface = OpenIface(arguments, &name);
    std::shared_ptr<SimpleActivity::ISimpleRangingController> controller;
    Check(iface->simpleRangingController(&controller), "get the simple ranging controller");
    Begin(std::make_shared<SimpleActivity>(controller, name, ranging, Listener()), name,
          /*block_stride=*/1);
    Note(Tone::kInfo, "simple ranging on " + name);
}

void Station::ChangeControlees(bool add, const Json& arguments) {
    if (fira_ == nullptr) throw Failure(kRefused, "no FiRa session is ranging");
    fira_->ChangeControlees(add, PeersOf(arguments));
}

void Station::SetCountry(const Json& arguments) {
    RequireIdle();
    const std::string code = CheckCountry(arguments.at("code").get<std::string>());
    if (client_ == nullptr) client_ = std::make_unique<Client>(events_);
    client_->Open();
    const std::string text = ApplyCountry(client_->service(), code);
    client_->Close();
    LookAtService();
    Note(Tone::kInfo, text);
}

void Station::Record(const Json& arguments) {
    if (!arguments.at("on").get<bool>()) {
        board_.StopRecording("quit");
        return;
    }
    if (fira_ == nullptr) throw Failure(kRefused, "nothing to record: no FiRa session is ranging");
    board_.StartRecording(fira_->iface(), fira_->session());
}

void Station::Stop() {
    if (activity_ == nullptr) return;  // Somebody else was faster.
    activity_->Stop();
    FinishActivity();
}

void Station::OnMeasurements(const std::vector<Measurement>& measurements) {
    try {
        board_.Add(measurements, [this](const Measurement& measurement) {
            return world_.Of(iface_, measurement);
        });
    } catch (const Failure& failure) {
        // Such as a disk that is full: the recording is over, ranging goes on.
        Note(Tone::kError, failure.what());
    }
}

void Station::OnControlees(const std::string& event, const std::vector<std::string>& peers,
                           const std::string& words) {
    try {
        board_.OnControlees(event, peers);
    } catch (const Failure& failure) {
        Note(Tone::kError, failure.what());
    }
    Note(event.ends_with("failed") ? Tone::kWarning : Tone::kInfo, words);
    PublishState();
}

void Station::FinishActivity() {
    if (activity_ == nullptr || !activity_->end()) return;
    const ActivityEnd end = *activity_->end();
    activity_.reset();
    fira_.reset();
    EndBoard(end.tone == Tone::kInfo ? "quit" : end.reason);
    if (client_ != nullptr) client_->Close();
    LookAtService();
    Note(end.tone, end.reason);
}

void Station::EndBoard(const std::string& reason) {
    try {
        board_.End(reason);
    } catch (const Failure& failure) {
        Note(Tone::kError, failure.what());
    }
}

void Station::Tick() {
    if (activity_ != nullptr) activity_->Tick();
    FinishActivity();
    board_.Tick();
    world_.Tick();
    if (steady_clock::now() - looked_ >= kLookInterval) LookAtService();
    PublishState();
}

void Station::LookAtService() {
    looked_ = steady_clock::now();
    ifaces_ = Ieee802154Interfaces();
    country_ = InForceText();
    try {
        if (client_ == nullptr) {
            client_ = std::make_unique<Client>(events_);
            if (!service_.empty()) Note(Tone::kInfo, "the service is back");
        }
        client_->CheckAlive();
        service_ = "there";
        std::vector<std::string> names;
        const bool is_held = client_->service()->listIfaceNames(&names).isOk() && !names.empty();
        const std::string holder = is_held && activity_ == nullptr ? HolderText() : "";
        hardware_ = activity_ != nullptr ? "ours"
                    : !is_held           ? "free"
                    : holder.empty()     ? "held by another client"
                                         : "held by " + holder;
    } catch (const Failure& failure) {
        // Told once; the next look may find it again.
        if (service_ != failure.what()) Note(Tone::kError, failure.what());
        service_ = failure.what();
        hardware_ = "";
        client_.reset();
        if (activity_ == nullptr) return;
        activity_.reset();
        fira_.reset();
        EndBoard("the service has died");
    }
}

void Station::Note(Tone tone, const std::string& text) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    log_->Publish("note", Json{{"tone", ToneText(tone)},
                               {"text", text},
                               {"time_ms", std::chrono::duration_cast<milliseconds>(now).count()}}
                              .dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Station::PublishState() {
    const Json json = {{"service", service_},
                       {"hardware", hardware_},
                       {"ifaces", ifaces_},
                       {"country", country_},
                       {"activity", activity_ == nullptr ? Json(nullptr) : activity_->Describe()},
                       {"recording", board_.is_recording()        ? "on"
                                     : board_.recording().empty() ? "none"
                                                                  : "there"}};
    std::string state = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (state == published_state_) return;
    log_->Keep("state", state);
    published_state_ = std::move(state);
}

void Station::End() {
    const auto deadline = steady_clock::now() + kEndPatience;
    Stop();
    while (activity_ != nullptr && steady_clock::now() < deadline) {
        constexpr milliseconds kSlice{100};
        // A closed output wakes at once, every time.
        if (events_->Wait(kSlice) == Events::Wake::kOutputClosed) {
            std::this_thread::sleep_for(milliseconds(10));
        }
        Tick();
    }
}

}  // namespace uwbctl
