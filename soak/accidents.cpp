// SPDX-License-Identifier: Apache-2.0

// Cycle: what happens to a session while it ranges.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "bench/common/session.h"
#include "bench/device/guest.h"
#include "soak/cycle.h"

namespace hardware::velta::soak {
namespace {

using namespace std::chrono_literals;
using namespace ::aidl::hardware::velta::uwb;
using bench::Failure;
using bench::ReadText;
using bench::TellRadio;

constexpr int kInterfaceDown = 128;
constexpr int kNotificationsLost = 256;
// Beside those that a session has from the beginning.
constexpr int kAnotherPeer = bench::kFirstPeer + 20;

}  // namespace

void Cycle::Accident() {
    using Kind = void (Cycle::*)(Ranging*);
    // As likely as they are often here.
    static constexpr Kind kKinds[] = {&Cycle::Malformed,
                                      &Cycle::Malformed,
                                      &Cycle::Malformed,
                                      &Cycle::PartlyMalformed,
                                      &Cycle::Withheld,
                                      &Cycle::Withheld,
                                      &Cycle::Storm,
                                      &Cycle::Restart,
                                      &Cycle::Restart,
                                      &Cycle::ChangeControlees,
                                      &Cycle::ChangeStride,
                                      &Cycle::RadioStops,
                                      &Cycle::InterfaceDown,
                                      &Cycle::StopNeverTold,
                                      &Cycle::CountryWhileRanging,
                                      &Cycle::OddCalls,
                                      &Cycle::MoveTag};
    const Kind kind = chance_.Pick(kKinds);
    (this->*kind)(
        &rangings_[static_cast<size_t>(chance_.Below(static_cast<int>(rangings_.size())))]);
}

void Cycle::AwaitUse() {
    for (int i = 0; i < 1000; i++) {
        if (ReadText("/sys/kernel/debug/mcps802154_sim/faults").empty()) return;
        std::this_thread::sleep_for(5ms);
    }
    throw Failure("a fault was not used: no report came");
}

void Cycle::Malformed(Ranging* ranging) {
    const int times = chance_.Between(1, 5);
    Arm(std::to_string(ranging->radio) + " fira.report " +
        chance_.Pick(
            {"drop 8.5.4", "set 1 07000000", "resize 8.4 2", "cut 10000", "drop 8", "cmd 9"}) +
        " times " + std::to_string(times));
    AwaitUse();
    malformed_ += static_cast<uint64_t>(times);
}

void Cycle::PartlyMalformed(Ranging* ranging) {
    Arm(std::to_string(ranging->radio) + " fira.report " +
        chance_.Pick({"drop 8.5.4.5.1.7", "drop 8.5.4.5.*.9.4", "set 8.5.4.5.1.3 22",
                      "append 8.5.4.5.1 2 -", "resize 8.5.4.5.1.7 2"}));
    AwaitUse();
}

void Cycle::Withheld(Ranging* ranging) {
    constexpr int kMostMs = 100;
    const std::string late = "late " + std::to_string(chance_.Between(1, kMostMs));
    Arm(std::to_string(ranging->radio) + " fira.report " +
        chance_.Pick({std::string("silence"), late}) + " times " +
        std::to_string(chance_.Between(1, 20)));
    AwaitUse();
    // When the session has stopped they would be for nobody.
    std::this_thread::sleep_for(std::chrono::milliseconds(2 * kMostMs));
}

// The service keeps up, or says that it has lost some.
void Cycle::Storm(Ranging* ranging) {
    Arm(std::to_string(ranging->radio) + " fira.report repeat " +
        std::to_string(chance_.Between(10, 2000)));
    AwaitUse();
    const std::optional<int> stop = ranging->listener->TakeStop(300ms);
    if (!stop) return;
    if (stop != kNotificationsLost) throw Failure("a stop in a storm: " + std::to_string(*stop));
    may_leave_unread_ = true;
    for (Ranging& each : rangings_) {
        if (&each != ranging) ExpectStop(&each, kNotificationsLost);
    }
    for (Ranging& each : rangings_) Start(&each);
}

void Cycle::ChangeControlees(Ranging* ranging) {
    const UwbAddress address = {
        .address = {static_cast<uint8_t>(kAnotherPeer >> 8), static_cast<uint8_t>(kAnotherPeer)}};
    const int32_t id = ranging->session.id;
    if (chance_.OneIn(2)) {
        ArmRequest(ranging->radio, chance_.Pick({"fira.new_controlee", "fira.del_controlee"}));
    }
    // The answer comes to the listener.
    ranging->controller->addControlees(id, {address}, {});
    ranging->controller->removeControlees(id, {address});
    TellRadio("faults", "clear");
}

void Cycle::ChangeStride(Ranging* ranging) {
    if (chance_.OneIn(2)) ArmRequest(ranging->radio, "fira.set_params");
    ranging->controller->updateTwoWayRangingBlockStriding(ranging->session.id, chance_.Below(3));
    TellRadio("faults", "clear");
}

void Cycle::Restart(Ranging* ranging) {
    if (!StopInOrder(ranging)) throw Failure("a stop that was not told");
    Start(ranging);
}

void Cycle::RadioStops(Ranging* ranging) {
    const int reason = chance_.Between(1, 100);
    Arm(std::to_string(ranging->radio) + " stop fira " + std::to_string(ranging->session.id) + " " +
        std::to_string(reason));
    ExpectStop(ranging, reason);
    Start(ranging);
}

void Cycle::InterfaceDown(Ranging* ranging) {
    const std::string command = "ip link set wpan" + std::to_string(ranging->radio) + " down";
    if (std::system(command.c_str()) != 0) throw Failure(command);  // NOLINT(cert-env33-c)
    ExpectStop(ranging, kInterfaceDown);
    Start(ranging);
}

// It takes every interface down.
void Cycle::CountryWhileRanging(Ranging* /*ranging*/) {
    if (!uwb_->applyCountryRestriction(country_).isOk()) throw Failure("country while ranging");
    totals_->countries++;
    for (Ranging& each : rangings_) ExpectStop(&each, kInterfaceDown);
    for (Ranging& each : rangings_) Start(&each);
}

// What has stopped without a word is the service's until it is closed.
void Cycle::StopNeverTold(Ranging* ranging) {
    Arm(std::to_string(ranging->radio) + " fira.stopped silence");
    if (!ranging->controller->stopRangingSession(ranging->session.id).isOk()) {
        throw Failure("stopRangingSession");
    }
    AwaitUse();
    Reopen();
}

// Refused, each, and nothing else.
void Cycle::OddCalls(Ranging* ranging) {
    IFiraController& controller = *ranging->controller;
    const int32_t id = ranging->session.id;
    if (controller.initNewTwrSession(ranging->session).isOk() ||
        controller.startRangingSession(id).isOk() || controller.deinitSession(id).isOk() ||
        controller.stopRangingSession(id + 1).isOk() || uwb_->open(nullptr).isOk()) {
        throw Failure("what has to be refused was done");
    }
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) throw Failure("no pipe");
    // Nobody reads it.
    AIBinder_dump(uwb_->asBinder().get(), pipe[1], nullptr, 0);
    close(pipe[0]);
    close(pipe[1]);
}

void Cycle::MoveTag(Ranging* /*ranging*/) {
    TellRadio("world", "tag " + std::to_string(bench::kFirstPeer + chance_.Below(4)) + " " +
                           std::to_string(chance_.Between(-50, 50)) + " " +
                           std::to_string(chance_.Between(-50, 50)) + " 0");
}

}  // namespace hardware::velta::soak
