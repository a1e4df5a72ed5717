// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/station.h"

#include <aidl/hardware/velta/uwb/ErrorCode.h>
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <sstream>
#include <type_traits>

#include "uwbctl/serve/dispatcher.h"
#include "uwbctl/serve/note.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::ndk::ScopedAStatus;
using ::ndk::SharedRefBase;
using ::testing::HasSubstr;
using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;

const std::vector<std::string> kIfaces = {"wpan0", "wpan1"};

// What the radios do for whom, and what they refuse.
struct Radios {
    bool is_there = false;
    bool is_open = false;
    bool is_others = false;
    std::string refused;
    std::map<std::string, std::shared_ptr<IFiraSessionCallback>> fira;
    int sessions = 0;

    ScopedAStatus Answer(const std::string& call) const {
        if (call.empty() || call != refused) return ScopedAStatus::ok();
        return ScopedAStatus::fromServiceSpecificErrorWithMessage(
            static_cast<int>(ErrorCode::INVALID_STATE), "not now");
    }
};

template <typename T>
ScopedAStatus Give(const std::type_identity_t<T>& value, T* out) {
    *out = value;
    return ScopedAStatus::ok();
}

struct FakeFira : IFiraControllerDefault {
    FakeFira(Radios* its_radios, std::string its_iface)
        : radios(its_radios), iface(std::move(its_iface)) {}
    ScopedAStatus setSessionCallback(const std::shared_ptr<IFiraSessionCallback>& it) override {
        return Give(it, &radios->fira[iface]);
    }
    ScopedAStatus clearSessionCallback() override { return ScopedAStatus::ok(); }
    ScopedAStatus initNewTwrSession(const FiraTwrSession& /*session*/) override {
        return Give(radios->sessions + 1, &radios->sessions);
    }
    ScopedAStatus startRangingSession(int32_t) override { return radios->Answer("start " + iface); }
    ScopedAStatus stopRangingSession(int32_t id) override {
        const bool stops = radios->refused != "stop " + iface;
        return stops ? radios->fira[iface]->onSessionStopped(id, 0)
                     : radios->Answer("stop " + iface);
    }
    ScopedAStatus deinitSession(int32_t) override {
        return Give(radios->sessions - 1, &radios->sessions);
    }
    Radios* radios;
    std::string iface;
};

struct FakeIface : IUwbIfaceDefault {
    explicit FakeIface(std::shared_ptr<IFiraController> its_fira) : fira(std::move(its_fira)) {}
    ScopedAStatus firaController(std::shared_ptr<IFiraController>* out) override {
        return Give(fira, out);
    }
    ScopedAStatus cccController(std::shared_ptr<ICccController>* out) override {
        return Give({}, out);
    }
    std::shared_ptr<IFiraController> fira;
};

struct FakeService : IUwbDefault {
    explicit FakeService(Radios* its_radios) : radios(its_radios) {}
    ScopedAStatus open(const std::shared_ptr<IUwbClientCallback>& /*callback*/) override {
        radios->is_open = !radios->is_others;
        return radios->Answer(radios->is_open ? "" : radios->refused = "open");
    }
    ScopedAStatus close() override { return Give(false, &radios->is_open); }
    ScopedAStatus listIfaceNames(std::vector<std::string>* out) override {
        return Give(radios->is_open || radios->is_others ? kIfaces : std::vector<std::string>(),
                    out);
    }
    ScopedAStatus getIface(const std::string& name, std::shared_ptr<IUwbIface>* out) override {
        *out = SharedRefBase::make<FakeIface>(SharedRefBase::make<FakeFira>(radios, name));
        return ScopedAStatus::ok();
    }
    Radios* radios;
};

class StationTest : public ::testing::Test {
  protected:
    std::unique_ptr<Client> Connect() {
        if (!radios_.is_there) throw Failure(kNoService, "the service is gone");
        return std::make_unique<Client>(SharedRefBase::make<FakeService>(&radios_));
    }

    // A page's command, or what the radios do; @return what is said against it.
    std::string Do(const std::string& what, const Json& arguments) {
        std::string failure;
        const auto peer = UwbAddress{.address = {0x12, 0x34}};
        if (what == "refuse") {
            radios_.refused = arguments;
            radios_.is_there = true;
            radios_.is_others = arguments == "all";
        } else if (what == "report") {
            radios_.fira[arguments]->onTwrResult({}, {{.peerAddress = peer, .distance = 3000}});
        } else if (what == "give up") {
            radios_.fira[arguments]->onSessionStopped(0, 1);
        } else {
            try {
                station_.Command(what, arguments);
            } catch (const Failure& thrown) {
                failure = thrown.what();
            }
        }
        events_.Wait(milliseconds(0));
        station_.Tick();
        return failure;
    }
    // Who has the hardware, what is on which interface, and whether it is recorded.
    std::string Seen() {
        std::istringstream lines(log_.Read(&place_, milliseconds(0)).value_or(""));
        for (std::string line, event; std::getline(lines, line);) {
            if (line.starts_with("event: ")) event = line.substr(7);
            if (line.starts_with("data: ")) told_[event] = Json::parse(line.substr(6));
        }
        const Json& state = told_["state"];
        std::string seen = state["hardware"];
        for (const Json& it : state["activities"]) {
            seen += " " + std::string(it["kind"]);
            for (const std::string iface : it["ifaces"]) seen += " " + iface;
        }
        if (state["recording"] != "none") seen += " recording " + std::string(state["recording"]);
        return seen;
    }

    TemporaryDir folder_;
    Radios radios_;
    Events events_;
    EventLog log_{"run", 1 << 20};
    Station station_{&events_,
                     &log_,
                     {.preset = "fast"},
                     folder_.path,
                     {.connect = [this](Events*) { return Connect(); },
                      .ifaces = [] { return kIfaces; },
                      .world = folder_.path}};
    uint64_t place_ = 0;
    std::map<std::string, Json> told_;
};

Json Fira(const char* iface) {
    return {{"iface", iface}, {"members", {{"destAddressList", {"0x1234"}}}}};
}

TEST_F(StationTest, EachRadioDoesOneThingAndTheHardwareIsHeldAsLongAsOneDoes) {
    const Json none = Json::object();
    const Json anchors = {{"tag", "0x1234"}, {"anchors", {"wpan0=0,0,1", "wpan1=4,0,1"}}};
    const struct {
        const char* what;
        Json arguments;
        const char* failure;
        const char* seen;
    } steps[] = {
        {"fira/start", Fira("wpan0"), "the service is gone", ""},
        {"refuse", "", "", ""},
        {"fira/start", Fira("wpan0"), "", "ours fira wpan0"},
        {"fira/start", Fira("wpan0"), "wpan0 is busy", "ours fira wpan0"},
        {"fira/start", Fira("wpan1"), "", "ours fira wpan0 fira wpan1"},
        {"country", {{"code", "FR"}}, "the radio is busy", "ours fira wpan0 fira wpan1"},
        {"record", {{"on", 5}}, "on is true or false, not 5", "ours fira wpan0 fira wpan1"},
        {"fira/add", {{"peers", "0x5678"}}, "peers is a list", "ours fira wpan0 fira wpan1"},
        {"fira/add", {{"peers", Json::array()}}, "name at least one", "ours fira wpan0 fira wpan1"},
        {"fira/add",
         {{"iface", "wpan7"}, {"peers", {"0x5678"}}},
         "there is no interface wpan7",
         "ours fira wpan0 fira wpan1"},
        {"fira/start", Fira("wpan7"), "there is no interface wpan7", "ours fira wpan0 fira wpan1"},
        {"record",
         {{"on", true}, {"iface", "wpan7"}},
         "there is no interface wpan7",
         "ours fira wpan0 fira wpan1"},
        {"stop", {{"ifaces", 1}}, "there is no member ifaces", "ours fira wpan0 fira wpan1"},
        // A disk that is full ends the recording and nothing else.
        {"record", {{"on", true}}, "No space left", "ours fira wpan0 fira wpan1 recording there"},
        {"report", "wpan0", "", "ours fira wpan0 fira wpan1 recording there"},
        {"record", {{"on", true}}, "", "ours fira wpan0 fira wpan1 recording on"},
        {"report", "wpan0", "", "ours fira wpan0 fira wpan1 recording on"},
        {"record",
         {{"on", false}, {"iface", "wpan1"}},
         "wpan1 is not recorded: wpan0 is",
         "ours fira wpan0 fira wpan1 recording on"},
        {"stats/reset", none, "", "ours fira wpan0 fira wpan1 recording on"},
        {"give up", "wpan0", "", "ours fira wpan1 recording there"},
        {"record", {{"on", true}}, "nothing to record", "ours fira wpan1 recording there"},
        {"fira/start", Fira("wpan0"), "", "ours fira wpan1 fira wpan0 recording there"},
        // One that does not stop keeps no other from it.
        {"refuse", "stop wpan1", "", "ours fira wpan1 fira wpan0 recording there"},
        {"stop", none, "cannot stop ranging", "ours fira wpan1 recording there"},
        {"give up", "wpan1", "", "free recording there"},
        {"ccc/start", none, "wpan0 has no CCC", "free recording there"},
        // What could not begin leaves nothing: on the other radio it had begun already.
        {"refuse", "start wpan1", "", "free recording there"},
        {"locate/start", anchors, "", "free recording there"},
        {"refuse", "", "", "free recording there"},
        {"locate/start", anchors, "", "ours locate wpan0 wpan1 recording there"},
        {"fira/start", Fira("wpan1"), "wpan1 is busy", "ours locate wpan0 wpan1 recording there"},
        {"stop", {{"iface", "wpan1"}}, "", "free recording there"},
        {"refuse", "all", "", "free recording there"},
        {"fira/start", Fira("wpan0"), "another client holds the hardware", "free recording there"},
    };
    ASSERT_EQ(symlink("/dev/full", (std::string(folder_.path) + "/walk-1.jsonl").c_str()), 0);
    for (const auto& [what, arguments, failure, seen] : steps) {
        const std::string said = Do(what, arguments);
        EXPECT_THAT(said, HasSubstr(failure)) << what << arguments;
        if (*failure == '\0') EXPECT_EQ(said, "");
        EXPECT_EQ(Seen(), seen) << "after " << what << arguments;
        EXPECT_EQ(radios_.is_open, std::string(seen).starts_with("ours")) << what << arguments;
        if (what == std::string("stats/reset")) EXPECT_EQ(told_["stats"]["peers"], Json::array());
    }
    EXPECT_EQ(radios_.sessions, 0);
    Dispatcher closed(&events_, &station_);
    closed.Close();
    EXPECT_THROW(closed.Command("fira/start", Fira("wpan0")), Failure);
    EXPECT_EQ(events_.Wait(milliseconds(0)), Events::Wake::kTimeout) << "nor later";
    Do("refuse", "");
    station_.Command("fira/start", Fira("wpan0"));
    station_.Command("stop", none);
    EXPECT_EQ(Do("fira/start", Fira("wpan0")), "wpan0 is still stopping");
    EXPECT_THAT(Do(std::string("x\0", 2), {}), HasSubstr("x\\x00"));
    // Everybody reads it.
    PublishNote(&log_, Tone::kError, std::string(100'000, 'x'));
    Seen();
    EXPECT_LT(std::string(told_["note"]["text"]).size(), 1100U);
    EXPECT_EQ(told_["report"]["m"][0]["d"], 3000);
    std::string recording;
    ASSERT_TRUE(android::base::ReadFileToString(station_.recording(), &recording));
    EXPECT_THAT(recording, HasSubstr("\"distance_mm\":3000"));
    EXPECT_THAT(recording, HasSubstr("\"reason\":\"the radio stopped the session (reason 1)\""));
}

}  // namespace
}  // namespace uwbctl
