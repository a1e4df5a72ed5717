// SPDX-License-Identifier: Apache-2.0

// FiRa sessions: what they measure, how they live, what is refused.
#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

class FiraTest : public OpenTest {
  protected:
    void SetUp() override {
        OpenTest::SetUp();
        fira = FiraClient(hal, 0);
        other = FiraClient(hal, 1);
    }

    FiraClient fira, other;
};

// ---- Measurements ----

TEST_F(FiraTest, ControllerMeasuresItsMovingControlees) {
    LayOut(
        "noise 5\nradio 0 1 0 0.5\ntag 0x1234 -3 2 0 4 0 0\ntag 0x5678 1 2 0.5 0 2.5 0\n"
        "los 0x5678 0");
    FiraTwrSession session = ControllerSession();
    session.destAddressList.push_back(Short(0x5678));
    fira.Run(session);
    int64_t last_ns = 0;
    for (int block = 0; block < 12; block++) {
        const auto [data, measurements] = fira.Next();
        EXPECT_EQ(data.sessionId, kSession);
        EXPECT_EQ(data.blockIndex, block);
        ASSERT_EQ(measurements.size(), 2U);
        EXPECT_EQ(measurements[0].peerAddress, Short(0x1234));
        EXPECT_EQ(measurements[1].peerAddress, Short(0x5678));
        EXPECT_EQ(measurements[0].lineOfSight, 1);
        EXPECT_EQ(measurements[1].lineOfSight, 0);
        ExpectTruth(measurements[0], 0, "tag 0x1234");
        ExpectTruth(measurements[1], 0, "tag 0x5678");
        if (block > 0) EXPECT_EQ(measurements[0].timestampNs - last_ns, 50'000'000);
        last_ns = measurements[0].timestampNs;
    }
}

TEST_F(FiraTest, TwoRadiosRangeWithEachOther) {
    LayOut("noise 5\nradio 0 0 0 0\nradio 1 1.5 4 0 -1 0 0");
    fira.Run();
    const FiraTwrMeasurement alone = fira.Next().measurements.at(0);
    EXPECT_EQ(alone.status, 0x21) << "nobody is there to answer yet";
    EXPECT_EQ(alone.distance, 0);
    EXPECT_EQ(alone.lineOfSight, 255);
    other.Run(ControleeSession());
    for (int i = 0; i < 3; i++) {
        const FiraTwrMeasurement controller = other.Fresh().measurements.at(0);
        EXPECT_EQ(controller.peerAddress, Short(0x0001));
        ExpectTruth(controller, 1, "radio 0");
        const FiraTwrMeasurement controlee = fira.Fresh().measurements.at(0);
        EXPECT_EQ(controlee.peerAddress, Short(0x1234));
        ExpectTruth(controlee, 0, "radio 1");
    }
    other.Halt();
    EXPECT_EQ(fira.Fresh().measurements.at(0).status, 0x21);
    EXPECT_TRUE(fira.events->events.Empty()) << "the other end's stop is not its own";
    EXPECT_TRUE(other.GoesQuiet());
}

TEST_F(FiraTest, RadiosRunSessionsOfTheirOwnAtOnce) {
    LayOut("tag 0x1234 0 3 0");
    fira.Run();
    other.Run(ControllerSession(43, 5));
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(fira.Next().data.sessionId, kSession);
        EXPECT_EQ(other.Next().data.sessionId, 43);
    }
    fira.Halt();
    EXPECT_EQ(Radio(0, "interface"), "down");
    EXPECT_EQ(Radio(1, "interface"), "up");
    EXPECT_TRUE(fira.GoesQuiet());
    EXPECT_EQ(other.Fresh().data.sessionId, 43);
}

TEST_F(FiraTest, AddsAndRemovesControleesWhileRanging) {
    LayOut("tag 0x1234 0 3 0\ntag 0x5678 0 4 0\ntag 0x9abc 0 5 0");
    fira.Run();
    const auto add = [this](const Addresses& who, std::vector<int32_t> sub_sessions) {
        EXPECT_EQ(fira.Add(kSession, who, sub_sessions), "OK");
        return fira.Event();
    };
    const auto remove = [this](const Addresses& who) {
        EXPECT_EQ(fira.Remove(kSession, who), "OK");
        return fira.Event();
    };
    const UwbAddress extended = {.address = {1, 2, 3, 4, 5, 6, 7, 8}};
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_EQ(add({Short(0x5678), Short(0x9abc)}, {7, -1}), "added 42 5678,9abc");
    EXPECT_EQ(fira.Fresh().measurements.size(), 3U);
    EXPECT_EQ(add({Short(0x5678)}, {1}), "add failed 42 5678 0") << "it is there already";
    EXPECT_EQ(add({}, {}), "add failed 42 0");
    EXPECT_EQ(add({extended}, {1}), "add failed 42 0102030405060708 0");
    EXPECT_THAT(RadioSessionDetails(0, kSession),
                HasSubstr(",controlee 0x1234,controlee 0x5678 sub_session 7,"
                          "controlee 0x9abc sub_session 4294967295"));
    EXPECT_EQ(remove({Short(0x1234), Short(0x5678)}), "removed 42 1234,5678");
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_EQ(remove({Short(0x1234)}), "remove failed 42 1234 0");
    EXPECT_EQ(remove({}), "remove failed 42 0");
    EXPECT_THAT((std::vector{fira.Add(kSession, {Short(2)}, {{}}),
                             fira.Add(kSession, {Short(2)}, {{1, 2}})}),
                Each("2: Controlees size and sub-session id size do not match"));
    EXPECT_EQ(fira.Add(kSession, {Short(2)}), "OK") << "without any";
    EXPECT_EQ(fira.Event(), "added 42 0002");
}

// ---- Life of a session ----

TEST_F(FiraTest, StopsAndStartsAgain) {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(Radio(0, "interface"), "down");
        ASSERT_EQ(fira.Start(), "OK");
        EXPECT_EQ(Radio(0, "interface"), "up");
        EXPECT_EQ(fira.Next().data.blockIndex, 0);
        fira.Halt();
        EXPECT_EQ(fira.Count(), 1);
        EXPECT_TRUE(fira.GoesQuiet());
    }
    EXPECT_EQ(Radio(0, "scheduler"), "endless");
    EXPECT_EQ(Radio(0, "region 0"), "fira");
    EXPECT_EQ(fira.Deinit(), "OK");
    EXPECT_EQ(fira.Count(), 0);
    EXPECT_EQ(RadioSession(0, kSession), "none");
}

// What the kernel does by itself counts, and so does its reason.
TEST_F(FiraTest, KernelEndsSessions) {
    FiraTwrSession impatient = ControllerSession();
    impatient.maxRangingRoundRetries = 2;
    fira.Run();
    Fault("0 stop fira 42 130");
    EXPECT_EQ(fira.Event(), "stopped 42 130");
    EXPECT_EQ(fira.Stop(), "3: The session isn't started.");
    EXPECT_EQ(fira.Deinit(), "OK");
    fira.Run(impatient);
    EXPECT_EQ(fira.Event(), "stopped 42 1") << "nobody answered twice";
    LayOut("tag 0x1234 0 3 0");
    ASSERT_EQ(fira.Start(), "OK");
    Shell("ip link set wpan0 down");
    EXPECT_EQ(fira.Event(), "stopped 42 128");
    EXPECT_EQ(fira.Deinit(), "OK");
}

TEST_F(FiraTest, InterfaceStaysUpUntilTheLastSessionStops) {
    fira.Run(ControllerSession(1));
    fira.Run(ControllerSession(2));
    fira.Halt(1);
    EXPECT_EQ(Radio(0, "interface"), "up");
    EXPECT_EQ(fira.Fresh().data.sessionId, 2);
    fira.Halt(2);
    EXPECT_EQ(Radio(0, "interface"), "down");
}

TEST_F(FiraTest, ResetForgetsEverythingAtOnce) {
    fira.Run();
    fira.Next();
    EXPECT_EQ(fira.Reset(), "OK");
    EXPECT_EQ(fira.Count(), 0);
    EXPECT_THAT(fira.Capabilities().supportedChannels, ElementsAre(5, 9));
    EXPECT_TRUE(fira.GoesQuiet());
    EXPECT_TRUE(fira.events->events.Empty()) << "a reset is no stop";
    fira.Run();
    EXPECT_EQ(fira.Next().data.blockIndex, 0);
}

TEST_F(FiraTest, CallbackMayBeReplacedOrClearedWhileRanging) {
    fira.Run();
    const auto second = SharedRefBase::make<FiraEvents>();
    EXPECT_EQ(Said(fira.fira->setSessionCallback(second)), "OK");
    EXPECT_EQ(second->reports.Take().data.sessionId, kSession);
    EXPECT_TRUE(fira.GoesQuiet());
    EXPECT_EQ(Said(fira.fira->clearSessionCallback()), "OK");
    EXPECT_TRUE(second->reports.GoesQuiet(120ms));
    EXPECT_EQ(fira.Stop(), "OK");
    EXPECT_TRUE(Eventually([this] { return fira.Deinit() == "OK"; })) << "nobody hears of the end";
    EXPECT_EQ(Radio(0, "interface"), "down");
}

TEST_F(FiraTest, UpdateDescribesAnIdleSessionAnew) {
    FiraTwrSession session = ControllerSession();
    ASSERT_EQ(fira.Init(session), "OK");
    session.sessionPriority = 101;
    EXPECT_EQ(fira.Update(session), "1: Unsupported operation") << "only the radio checks here";
    session.sessionPriority = 99;
    session.channelNumber = 5;
    EXPECT_EQ(fira.Update(session), "OK") << "no channel rule either";
    EXPECT_THAT(RadioSessionDetails(0, kSession), HasSubstr(",15 99,19 1,20 5,"));
    EXPECT_EQ(fira.Start(), "OK");
    EXPECT_EQ(fira.Update(session), "3: Running session cannot be updated");
}

// What a radio is told of a session, and what it is not told because it assumes so.
TEST_F(FiraTest, RadioGetsTheParametersOfTheSession) {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(RadioSessionDetails(0, kSession),
              "1 1,2 1,3 2,4 1,5 1,7 0,8 2400,9 50,10 10,15 50,19 1,20 9,21 10,22 3,23 0,25 2,"
              "26 1,27 0,32 0,34 1,36 0,38 0102030405060708,41 0,43 1,44 1,45 1,46 1,47 1,"
              "controlee 0x1234");
}

TEST_F(FiraTest, OneChannelForAllSessionsUntilTheLastStop) {
    EXPECT_THAT(fira.Capabilities().supportedChannels, ElementsAre(5, 9));
    fira.Run();
    EXPECT_THAT(fira.Capabilities().supportedChannels, ElementsAre(9));
    EXPECT_EQ(fira.Init(ControllerSession(43, 5)), "2: Requested channel 5 is restricted");
    fira.Halt();
    EXPECT_EQ(fira.Init(ControllerSession(43, 5)), "OK");
}

// ---- Refusals ----

using S = FiraTwrSession;
using Change = void (*)(S&);

// What is looked at by the service, and the first of it before the radio is asked.
TEST_F(FiraTest, RefusesInvalidSessions) {
    const std::pair<Change, const char*> cases[] = {
        {[](S& s) { s.initiationTimeMs = s.slotDurationRstu = -1; },
         "initiationTimeMs cannot be negative."},
        {[](S& s) { s.aoaType = AoaType{2}; }, "Unsupported AoaType: AZIMUTH_AND_ELEVATION"},
        {[](S& s) { s.sessionPriority = 101, s.sfdId = 5; }, "Incorrect sessionPriority value 101"},
        {[](S& s) { s.channelNumber = 15; }, "Requested channel 15 is restricted"},
    };
    for (const auto& [spoil, message] : cases) {
        FiraTwrSession session = ControllerSession();
        spoil(session);
        EXPECT_EQ(fira.Init(session), "2: "s + message);
    }
    EXPECT_EQ(fira.Count(), 0);
    EXPECT_EQ(Radio(0, "scheduler"), "default") << "the radio was not bothered";
}

TEST_F(FiraTest, RefusesWhatCannotBeEncodedAndWhatTheRadioRefuses) {
    for (const Change spoil : {Change([](S& s) { s.rangingRoundUsage = RangingRoundUsage::OWR; }),
                               Change([](S& s) { s.preambleCodeIndex = 8; }),
                               Change([](S& s) { s.destAddressList.push_back(Short(0x1234)); })}) {
        FiraTwrSession session = ControllerSession();
        spoil(session);
        EXPECT_EQ(fira.Init(session), "1: Unsupported operation") << session.toString();
        EXPECT_EQ(fira.Count(), 0);
    }
    fira.Run();  // What they left behind is in nobody's way.
}

TEST_F(FiraTest, RefusesWhatTheStateForbids) {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(fira.Init(ControllerSession()), "2: Session with id 42 already exist");
    EXPECT_EQ(fira.Start(-1), "2: Unknown session id 4294967295");
    EXPECT_EQ(other.Start(), "2: Unknown session id 42") << "it is the other radio's";
    EXPECT_EQ(fira.Stop(), "3: The session isn't started.");
    EXPECT_EQ(Said(fira.fira->setSessionCallback(nullptr)), "OK");
    EXPECT_EQ(fira.Start(), "3: You need to register callbacks on the controller first.");
    EXPECT_EQ(Said(fira.fira->setSessionCallback(fira.events)), "OK");
    ASSERT_EQ(fira.Start(), "OK");
    EXPECT_EQ(fira.Deinit(), "3: The session is started, call stop first.");
    EXPECT_EQ(RadioSession(0, kSession), "running");
}

}  // namespace
}  // namespace hardware::velta::device
