// SPDX-License-Identifier: Apache-2.0

// CCC sessions.
#include "conformance/check.h"

namespace hardware::velta::conformance {
namespace {

class CccCheck : public OpenCheck {
  protected:
    void SetUp() override {
        OpenCheck::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        ccc = hal.Get(0, &IUwbIface::cccController);
        ASSERT_EQ(Said(ccc->setCallback(events)), "OK");
    }
    std::string Init() { return Said(ccc->initSession()); }
    std::string Start(int64_t delay_ms, int channel) {
        return Said(ccc->startSession(1, delay_ms, channel, &time0_ms));
    }
    std::string Stop() { return Said(ccc->stopSession(1)); }
    void Run() {
        ASSERT_EQ(Init(), "OK");
        ASSERT_EQ(Start(kDelayMs, TheTarget().channel), "OK");
    }

    static constexpr int64_t kDelayMs = 50;
    std::shared_ptr<ICccController> ccc;
    std::shared_ptr<CccEvents> events = SharedRefBase::make<CccEvents>();
    int64_t time0_ms = 0;
};

int64_t NowMs() {
    using std::chrono::system_clock;
    return std::chrono::duration_cast<Milliseconds>(system_clock::now().time_since_epoch()).count();
}

CONFORMANCE_CHECK(CccCheck, RunsFromInitToDeinit, NEEDS(),
                  "a CCC session is started for a time to come, and stopped",
                  "region nfcc_coex: CCC_SESSION_START with TIME0_NS from now on; CCC_SESSION_STOP "
                  "acknowledged at once and followed by a notification with STOPPED and WATCHDOG, "
                  "1 and 0; several times in a row") {
    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(Init(), "OK");
        EXPECT_TRUE(IsUp(0));
        const int64_t before_ms = NowMs();
        ASSERT_EQ(Start(kDelayMs, TheTarget().channel), "OK");
        EXPECT_GE(time0_ms, before_ms + kDelayMs);
        EXPECT_LE(time0_ms, NowMs() + 10'000) << "who waits so long for a key?";
        ASSERT_EQ(Stop(), "OK");
        EXPECT_EQ(events->stops.Take(), 1);
        ASSERT_EQ(Said(ccc->deinitSession()), "OK");
        EXPECT_TRUE(Eventually([] { return !IsUp(0); }));
    }
}

CONFORMANCE_CHECK(
    CccCheck, RefusesBadStartsAndStops, NEEDS(),
    "a session that cannot be is refused, and does no harm to the next",
    "CCC_SESSION_START refused while one runs, and as long as the region is not there; "
    "CCC_SESSION_STOP refused when none runs") {
    const int channel = TheTarget().channel;
    EXPECT_EQ(Start(0, channel), "1: Failed to start ccc session") << "not initialised";
    ASSERT_EQ(Init(), "OK");
    EXPECT_EQ(Start(-1, 99), "2: Delay cannot be negative");
    EXPECT_EQ(Start(0, 16), "2: Incorrect channel value 16");
    EXPECT_EQ(Start(0, -1), "2: Incorrect channel value -1");
    EXPECT_EQ(Stop(), "1: Failed to stop ccc session");
    EXPECT_FALSE(IsUp(0));
    Run();
    EXPECT_EQ(Start(0, channel), "1: Failed to start ccc session") << "it is running";
    EXPECT_EQ(Stop(), "OK");
    EXPECT_EQ(events->stops.Take(), 1);
}

CONFORMANCE_CHECK(CccCheck, TheFirstFiraSessionTakesTheRadioOver, NEEDS(),
                  "a key in the pocket does not keep the radio from FiRa, and the client is told",
                  "a running CCC session whose region is dropped by SCHEDULER_SET, or whose "
                  "interface goes down, ends with a notification: STOPPED 0, WATCHDOG 1") {
    FiraClient fira(hal, 0);
    Run();
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(events->stops.Take(), 0) << "the radio gave up";
    ASSERT_EQ(fira.Start(), "OK");
    EXPECT_EQ(fira.Next().data.sessionId, kSession);
}

CONFORMANCE_CHECK(CccCheck, RunsOnTwoRadiosAtOnce, NEEDS(Need::kSecondRadio),
                  "two keys at two radios, each told of its own end",
                  "CCC sessions for each hardware, which HW names in requests and notifications") {
    const auto other = hal.Get(1, &IUwbIface::cccController);
    const auto other_events = SharedRefBase::make<CccEvents>();
    ASSERT_EQ(Said(other->setCallback(other_events)), "OK");
    Run();
    ASSERT_EQ(Said(other->initSession()), "OK");
    ASSERT_EQ(Said(other->startSession(2, 0, TheTarget().channel, &time0_ms)), "OK");
    ASSERT_EQ(Stop(), "OK");
    EXPECT_EQ(events->stops.Take(), 1);
    EXPECT_TRUE(Eventually([] { return !IsUp(0); }));
    EXPECT_TRUE(IsUp(1));
    EXPECT_TRUE(other_events->stops.Empty());
    ASSERT_EQ(Said(other->stopSession(2)), "OK");
    EXPECT_EQ(other_events->stops.Take(), 1) << "its stop is not lost with the first one's";
}

CONFORMANCE_CHECK(CccCheck, TellsItsCapabilities, NEEDS(),
                  "a car can be offered what the radio can do",
                  "channel page 4 of the PHY with the channels that the chip has") {
    CccCapabilities caps;
    ASSERT_EQ(Said(ccc->getCapabilities(&caps)), "OK");
    EXPECT_THAT(caps.supportedChannels, ::testing::Contains(TheTarget().channel));
    EXPECT_THAT(caps.chapsPerSlot, ElementsAre(3, 4, 6, 8, 9, 12, 24));
}

}  // namespace
}  // namespace hardware::velta::conformance
