// SPDX-License-Identifier: Apache-2.0
#include "soak/cycle.h"

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "bench/common/session.h"
#include "bench/device/guest.h"

namespace hardware::velta::soak {
namespace {

using namespace std::chrono_literals;
using namespace ::aidl::hardware::velta::uwb;
using bench::Failure;
using bench::TellRadio;

// All that a session can have.
constexpr int kMaxPeers = 16;

void Require(const ndk::ScopedAStatus& status, const char* what) {
    if (!status.isOk()) throw Failure(std::string(what) + ": " + status.getDescription());
}

void Require(bool is_so, const std::string& what) {
    if (!is_so) throw Failure(what);
}

bool Eventually(const std::function<bool()>& is_done) {
    for (int i = 0; i < 500; i++) {
        if (is_done()) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

struct CccListener : BnCccControllerCallback {
    ndk::ScopedAStatus onSessionStopped(int32_t /*reason*/) override {
        return ndk::ScopedAStatus::ok();
    }
};

struct SimpleListener : BnSimpleRangingCallback {
    ndk::ScopedAStatus onRangingResult(const RangingResult& /*result*/) override {
        return ndk::ScopedAStatus::ok();
    }
};

}  // namespace

Cycle::Cycle(std::shared_ptr<IUwb> uwb, Chance chance, uint64_t reports, Totals* totals)
    : uwb_(std::move(uwb)), chance_(chance), wanted_(reports), totals_(totals) {}

void Cycle::Run() {
    LayOutWorld();
    if (chance_.OneIn(20)) LoseAClient();
    BeginAccount();
    Open();
    ApplyCountry();
    if (chance_.OneIn(4)) RunCcc();
    if (chance_.OneIn(4)) RunSimpleRanging();
    ChooseSessions();
    Range();
    End();
    ExpectRest();
    Account();
    totals_->cycles++;
}

std::vector<std::shared_ptr<IFiraController>> Cycle::controllers() const {
    std::vector<std::shared_ptr<IFiraController>> all;
    for (const Ranging& ranging : rangings_) all.push_back(ranging.controller);
    return all;
}

void Cycle::LayOutWorld() {
    TellRadio("faults", "clear");
    std::string world = "clear";
    for (int i = 0; i < kMaxPeers; i++) {
        world +=
            "\ntag " + std::to_string(bench::kFirstPeer + i) + " 1 " + std::to_string(3 + i) + " 0";
    }
    world += "\nmodel " + std::to_string(bench::kFirstPeer) + " noise 30 loss 10";
    TellRadio("world", world);
}

// uwbctl ranges, and is killed at any moment; what it leaves in sockets is not counted.
void Cycle::LoseAClient() {
    bench::WriteText(bench::kProcessLog, "");
    static_assert(bench::kFirstPeer == 0x1001);
    bench::Process client({"uwbctl", "fira", "range", "-p", "0x1001"}, {});
    std::this_thread::sleep_for(std::chrono::milliseconds(chance_.Below(1000)));
    client.Stop(SIGKILL);
    Require(Eventually([this] { return !ReadServiceCounts(uwb_.get()).is_open; }),
            "still held by a client that was killed");
    ExpectRest();
    totals_->lost_clients++;
}

void Cycle::Open() {
    const auto open = [this] {
        return uwb_->open(ndk::SharedRefBase::make<BnUwbClientCallback>());
    };
    if (!Attempt("open", {"hw_dump", "calibration_get", "scheduler_set"}, open)) return;
    std::vector<std::string> names;
    Require(uwb_->listIfaceNames(&names), "listIfaceNames");
    if (names.size() == 2) return;
    // Opened with a kernel that did not tell of all.
    TellRadio("faults", "clear");
    Require(uwb_->close(), "close");
    Require(open(), "open again");
}

void Cycle::ApplyCountry() {
    country_ = {static_cast<char>('A' + chance_.Below(26)),
                static_cast<char>('A' + chance_.Below(26))};
    if (chance_.OneIn(2)) country_ = chance_.Pick({"FR", "JP", "00", ""});
    Attempt("applyCountryRestriction", {"calibration_set", "calibration_get"},
            [this] { return uwb_->applyCountryRestriction(country_); });
    totals_->countries++;
}

std::shared_ptr<IUwbIface> Cycle::Iface(int radio) {
    std::shared_ptr<IUwbIface> iface;
    Require(uwb_->getIface("wpan" + std::to_string(radio), &iface), "getIface");
    return iface;
}

// With errors where they may be: what counts is that all is at rest afterwards.
void Cycle::RunCcc() {
    const int radio = chance_.Below(2);
    std::shared_ptr<ICccController> ccc;
    Require(Iface(radio)->cccController(&ccc), "cccController");
    ccc->setCallback(ndk::SharedRefBase::make<CccListener>());
    const int channel = (BannedChannels(radio) & 1 << 9) != 0 ? 5 : 9;
    Attempt("CCC initSession", {"scheduler_set"}, [&] { return ccc->initSession(); });
    ArmRequest(radio, chance_.Pick({"ccc.start", "ccc.stop", "region_call"}));
    int64_t time0_ms = 0;
    const bool is_running = ccc->startSession(1, chance_.Between(1, 50), channel, &time0_ms).isOk();
    std::this_thread::sleep_for(std::chrono::milliseconds(chance_.Below(200)));
    if (chance_.OneIn(4) && is_running)
        TellRadio("faults", std::to_string(radio) + " stop ccc 0 1");
    ccc->stopSession(1);
    TellRadio("faults", "clear");
    // Refused as long as it runs, which it does where the stop did not reach the radio.
    if (!ccc->deinitSession().isOk() || KernelSessions() != 0) Reopen();
    totals_->sessions++;
}

void Cycle::RunSimpleRanging() {
    const int radio = chance_.Below(2);
    std::shared_ptr<ISimpleRangingController> simple;
    Require(Iface(radio)->simpleRangingController(&simple), "simpleRangingController");
    simple->setCallback(ndk::SharedRefBase::make<SimpleListener>());
    const int channel = (BannedChannels(radio) & 1 << 9) != 0 ? 5 : 9;
    const UwbAddress self = {.address = {0, 1}};
    Attempt("startInitiatorMode", {"scheduler_set", "hw_query"},
            [&] { return simple->startInitiatorMode(1, self, channel); });
    ArmRequest(radio, "ranging_requests_set");
    simple->setRangings({{.id = 1}, {.id = 2}});
    std::this_thread::sleep_for(std::chrono::milliseconds(chance_.Below(1000)));
    TellRadio("faults", "clear");
    if (!simple->stop().isOk()) Reopen();
    totals_->sessions++;
}

// One radio, or both.
void Cycle::ChooseSessions() {
    const int first = chance_.Below(2);
    const int count = chance_.OneIn(3) ? 2 : 1;
    for (int i = 0; i < count; i++) {
        const int radio = (first + i) % 2;
        const int peers = chance_.OneIn(8) ? kMaxPeers : chance_.Between(1, 4);
        Ranging ranging = {.radio = radio,
                           .session = bench::NewSession(kMaxPeers, chance_.Between(4, 8)),
                           .listener = ndk::SharedRefBase::make<Listener>()};
        ranging.session.id = chance_.Between(1, 1'000'000);
        ranging.session.destAddressList.resize(static_cast<size_t>(peers));
        if ((BannedChannels(radio) & 1 << 9) != 0) ranging.session.channelNumber = 5;
        rangings_.push_back(std::move(ranging));
    }
    for (Ranging& ranging : rangings_) {
        Connect(&ranging);
        SetUp(&ranging);
        Start(&ranging);
    }
}

void Cycle::Connect(Ranging* ranging) {
    Require(Iface(ranging->radio)->firaController(&ranging->controller), "firaController");
    Require(ranging->controller->setSessionCallback(ranging->listener), "setSessionCallback");
}

void Cycle::SetUp(Ranging* ranging) {
    Attempt("initNewTwrSession",
            {"fira.init", "fira.set_params", "fira.new_controlee", "scheduler_set", "region_call"},
            [&] { return ranging->controller->initNewTwrSession(ranging->session); });
    totals_->sessions++;
}

void Cycle::Start(Ranging* ranging) {
    const auto start = [&] {
        return ranging->controller->startRangingSession(ranging->session.id);
    };
    if (chance_.OneIn(3)) {
        ArmRequest(ranging->radio, "fira.start");
        const bool is_ok = start().isOk();
        TellRadio("faults", "clear");
        if (is_ok) return;
        // It may have begun, and the socket that it told of that is closed.
        may_leave_unread_ = true;
        // Where another session holds that socket open, nothing but the radio knows that it runs.
        if (!start().isOk()) Reopen();
        return;
    }
    Require(start(), "startRangingSession");
}

uint64_t Cycle::ReportsSoFar() const {
    uint64_t sum = 0;
    for (const Ranging& ranging : rangings_) sum += ranging.listener->reports();
    return sum;
}

void Cycle::Range() {
    const int legs = chance_.Between(2, 6);
    for (int leg = 1; leg <= legs; leg++) {
        const uint64_t target = wanted_ * static_cast<uint64_t>(leg) / static_cast<uint64_t>(legs);
        const uint64_t sum = ReportsSoFar();
        const uint64_t each = (target > sum ? target - sum : 0) / rangings_.size() + 1;
        for (const Ranging& ranging : rangings_) {
            Require(ranging.listener->WaitForReports(ranging.listener->reports() + each, 10s),
                    "no report comes from radio " + std::to_string(ranging.radio));
        }
        if (leg < legs) Accident();
    }
}

bool Cycle::StopInOrder(Ranging* ranging) {
    const int32_t id = ranging->session.id;
    if (chance_.OneIn(3)) {
        ArmRequest(ranging->radio, "fira.stop");
        ranging->controller->stopRangingSession(id);
        TellRadio("faults", "clear");
        if (ranging->listener->TakeStop(500ms)) return true;
    }
    Require(ranging->controller->stopRangingSession(id), "stopRangingSession");
    return ranging->listener->TakeStop(5s).has_value();
}

void Cycle::ExpectStop(Ranging* ranging, int reason) {
    const std::optional<int> told = ranging->listener->TakeStop(5s);
    Require(told == reason, "a stop for " + std::to_string(reason) + ", but what was told is " +
                                (told ? std::to_string(*told) : "nothing"));
}

void Cycle::End() {
    switch (chance_.Below(6)) {
        case 0:  // While it ranges.
            CutOff();
            break;
        case 1:
            CutOff();
            for (const Ranging& ranging : rangings_) {
                Require(ranging.controller->reset(), "reset");
            }
            break;
        default:
            for (Ranging& ranging : rangings_) {
                Require(StopInOrder(&ranging), "a stop that was not told");
                if (chance_.OneIn(3)) ArmRequest(ranging.radio, "fira.deinit");
                ranging.controller->deinitSession(ranging.session.id);
                TellRadio("faults", "clear");
            }
    }
    Require(uwb_->close(), "close");
}

void Cycle::ExpectRest() {
    Require(Eventually([] { return KernelSessions() == 0; }), "sessions are left in the radio");
}

void Cycle::BeginAccount() {
    radio_before_ = ReadRadioCounts();
    service_before_ = ReadServiceCounts(uwb_.get());
    reports_before_ = ReportsSoFar();
    malformed_ = 0;
    may_leave_unread_ = false;
}

bool Cycle::AllCame() {
    reports_ = ReportsSoFar() - reports_before_;
    const ServiceCounts says = ReadServiceCounts(uwb_.get());
    service_ = {.delivered = says.delivered - service_before_.delivered,
                .dropped = says.dropped - service_before_.dropped,
                .overflows = says.overflows - service_before_.overflows};
    const RadioCounts now = ReadRadioCounts();
    radio_ = {.reports = now.reports - radio_before_.reports,
              .stops = now.stops - radio_before_.stops,
              .refused = now.refused - radio_before_.refused};
    const uint64_t given = radio_.reports + radio_.stops;
    const uint64_t handled = service_.delivered + service_.dropped;
    if (handled > given || reports_ > service_.delivered) return false;
    // Handed on, and on the way to the client; or read, but left in a socket.
    return reports_ + radio_.stops >= service_.delivered &&
           (may_leave_unread_ || (handled == given && service_.dropped == malformed_ &&
                                  reports_ == radio_.reports - malformed_));
}

void Cycle::ExpectAllCame() {
    if (Eventually([this] { return AllCame(); })) return;
    throw Failure("reports are lost: the radio gave " + std::to_string(radio_.reports) +
                  " reports and " + std::to_string(radio_.stops) +
                  " stops; the service handed on " + std::to_string(service_.delivered) +
                  " and dropped " + std::to_string(service_.dropped) + " of " +
                  std::to_string(malformed_) + " malformed; the client got " +
                  std::to_string(reports_) + " reports" +
                  (may_leave_unread_ ? " (a session was cut off)" : ""));
}

void Cycle::CutOff() {
    if (!may_leave_unread_) {
        // What has not come when nothing new does is lost.
        for (const int radio : {0, 1}) {
            TellRadio("faults", std::to_string(radio) + " fira.report silence always");
        }
        ExpectAllCame();
        TellRadio("faults", "clear");
    }
    may_leave_unread_ = true;
}

void Cycle::Account() {
    ExpectAllCame();
    const uint64_t given = radio_.reports + radio_.stops;
    totals_->reports += reports_;
    totals_->given += given;
    const uint64_t malformed = std::min(service_.dropped, malformed_);
    totals_->malformed += malformed;
    totals_->unread += given - service_.delivered - malformed;
    totals_->refused += radio_.refused;
    totals_->overflows += service_.overflows;
}

bool Cycle::Attempt(const char* what, Events events, const Operation& run) {
    const bool was_armed = chance_.OneIn(3);
    if (was_armed) {
        for (const int radio : {0, 1}) ArmRequest(radio, chance_.Pick(events));
        const bool is_ok = run().isOk();
        TellRadio("faults", "clear");
        if (is_ok) return true;
    }
    Require(run(), what);
    return !was_armed;
}

void Cycle::ArmRequest(int radio, const std::string& event) {
    // A dump's answers are one stream: none of it can be kept back.
    const bool is_dump = event == "hw_dump";
    const std::string action = chance_.Pick(
        {"errno " + std::to_string(chance_.Pick({1, 2, 5, 11, 12, 16, 22, 95, 105, 110})),
         std::string("silence"), std::string(is_dump ? "silence" : "noack"),
         "late " + std::to_string(chance_.Between(1, 900))});
    Arm(std::to_string(radio) + " " + event + " " + action + " times " +
        std::to_string(chance_.Between(1, 2)));
}

void Cycle::Arm(const std::string& line) {
    TellRadio("faults", line);
    totals_->faults++;
}

void Cycle::Reopen() {
    CutOff();
    totals_->reopened++;
    TellRadio("faults", "clear");
    Require(uwb_->close(), "close");
    ExpectRest();
    Account();
    BeginAccount();
    Require(uwb_->open(ndk::SharedRefBase::make<BnUwbClientCallback>()), "open again");
    for (Ranging& ranging : rangings_) {
        while (ranging.listener->TakeStop(0ms)) {
        }
        Connect(&ranging);
        Require(ranging.controller->initNewTwrSession(ranging.session), "init again");
        Require(ranging.controller->startRangingSession(ranging.session.id), "start again");
    }
}

}  // namespace hardware::velta::soak
