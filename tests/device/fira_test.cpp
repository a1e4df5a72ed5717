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

// ---- Life of a session ----

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
    EXPECT_EQ(Radio(0, "scheduler"), "endless");
    EXPECT_EQ(Radio(0, "region 0"), "fira");
    EXPECT_EQ(RadioSessionDetails(0, kSession),
              "1 1,2 1,3 2,4 1,5 1,7 0,8 2400,9 50,10 10,15 50,19 1,20 9,21 10,22 3,23 0,25 2,"
              "26 1,27 0,32 0,34 1,36 0,38 0102030405060708,41 0,43 1,44 1,45 1,46 1,47 1,"
              "controlee 0x1234");
}

// ---- Refusals ----

using S = FiraTwrSession;
using Change = void (*)(S&);

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

}  // namespace
}  // namespace hardware::velta::device
