// SPDX-License-Identifier: Apache-2.0

// CCC sessions. Where notifications are polled the service reads the socket of one for a second at
// a time, so that every call may take a second.
#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

class CccTest : public CalibratedTest {
  protected:
    void SetUp() override {
        CalibratedTest::SetUp();
        ASSERT_EQ(ApplyKeys("auto_sleep_margin = 30000\n"), "OK");
        Connect();
    }
    void Connect() {
        ccc = hal.Get(0, &IUwbIface::cccController);
        ASSERT_EQ(Said(ccc->setCallback(events)), "OK");
    }
    std::string Init() { return Said(ccc->initSession()); }
    std::string Start(int64_t delay_ms = 0, int channel = 9) {
        return Said(ccc->startSession(1, delay_ms, channel, &time0_ms));
    }
    std::string Stop() { return Said(ccc->stopSession(1)); }
    std::string Deinit() { return Said(ccc->deinitSession()); }
    void Run() {
        ASSERT_EQ(Init(), "OK");
        ASSERT_EQ(Start(), "OK");
    }

    std::shared_ptr<ICccController> ccc;
    std::shared_ptr<CccEvents> events = SharedRefBase::make<CccEvents>();
    int64_t time0_ms = 0;
};

int64_t NowMs() {
    using std::chrono::system_clock;
    return std::chrono::duration_cast<Milliseconds>(system_clock::now().time_since_epoch()).count();
}

bool IsDown() {
    return Radio(0, "interface") == "down";
}

TEST_F(CccTest, RunsFromInitToDeinit) {
    EXPECT_EQ(Radio(0, "deep_sleep"), "on");
    ASSERT_EQ(Init(), "OK");
    EXPECT_EQ(Radio(0, "deep_sleep"), "off");
    EXPECT_EQ(Radio(0, "interface"), "up");
    EXPECT_EQ(Radio(0, "scheduler"), "endless");
    EXPECT_EQ(Radio(0, "region 0"), "nfcc_coex");
    const int64_t before_ms = NowMs();
    ASSERT_EQ(Start(50, 5), "OK");
    EXPECT_GE(time0_ms, before_ms + 150);
    EXPECT_LE(time0_ms, NowMs() + 150);
    EXPECT_THAT(Radio(0, "ccc state running"), HasSubstr(" time0_ns 150000000 channel 5"));
    ASSERT_EQ(Stop(), "OK");
    EXPECT_EQ(events->stops.Take(), 1);
    ASSERT_EQ(Deinit(), "OK");
    EXPECT_TRUE(IsDown());
    EXPECT_EQ(Radio(0, "deep_sleep"), "on");
    EXPECT_THAT(CalibrationKey(0, "auto_sleep_margin"), StartsWith("30000 "));
}

TEST_F(CccTest, KernelEndsSessions) {
    for (const auto& [stop, reason] : {std::pair{"0 stop ccc 0 1", 0}, {"0 stop ccc 1 1", 1}}) {
        Run();
        Fault(stop);
        EXPECT_EQ(events->stops.Take(), reason);
        EXPECT_TRUE(Eventually(IsDown));
    }
}

// With a FiRa session in its books the service touches neither interface nor region.
TEST_F(CccTest, FiraSessionsThatComeAndGoLeaveItRunning) {
    FiraClient fira(hal, 0);
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    Run();
    EXPECT_EQ(fira.Init(ControllerSession(43)), "1: Unsupported operation");
    EXPECT_EQ(fira.Deinit(), "1: Unsupported operation") << "the radio dropped it for CCC";
    EXPECT_FALSE(IsDown());
    EXPECT_THAT(Radio(0, "ccc"), StartsWith("state running"));
    EXPECT_EQ(Stop(), "OK");
    EXPECT_EQ(events->stops.Take(), 1);
    EXPECT_TRUE(Eventually(IsDown));
}

TEST_F(CccTest, RunsBesideAnotherRadiosFiraSession) {
    FiraClient fira(hal, 1);
    FiraTwrSession session = ControllerSession();
    session.rangingBlockDurationMs = 250;
    fira.Run(session);
    Run();
    EXPECT_EQ(fira.Fresh().data.sessionId, kSession);
    Fault("0 stop ccc 0 1");
    EXPECT_EQ(events->stops.Take(), 0);
    EXPECT_EQ(fira.Fresh().data.sessionId, kSession);
    EXPECT_EQ(Radio(1, "interface"), "up");
}

}  // namespace
}  // namespace hardware::velta::device
