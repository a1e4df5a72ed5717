// SPDX-License-Identifier: Apache-2.0

// Nobody waits, nothing is lost unheard, and a thread that hangs ends: in both ways of reading
// notifications, unless one is named.
#include <csignal>
#include <thread>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

class NotificationsTest : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        LayOut("tag 0x1234 0 3 0");
        ASSERT_EQ(hal.Open(), "OK");
    }
    static FiraTwrSession Every(int block_ms, int id = kSession) {
        FiraTwrSession session = ControllerSession(id);
        session.rangingBlockDurationMs = block_ms;
        return session;
    }
};

// More reports at once than a socket's buffer holds: the stop may have been among them.
TEST_F(NotificationsTest, SessionsWhoseReportsWereLostAreStoppedAndToldSo) {
    FiraClient fira(hal, 0);
    FiraClient other(hal, 1);
    other.Run(Every(200));
    Fault("0 fira.report repeat 10000");
    fira.Run();
    EXPECT_EQ(fira.Event(), "stopped 42 256");
    EXPECT_EQ(other.Event(), "stopped 42 256") << "the radios share the region's socket";
    EXPECT_THAT(NewLog(), HasSubstr("Notifications fira: lost"));
    for (const int radio : {0, 1}) {
        EXPECT_TRUE(Eventually([radio] { return RadioSession(radio, kSession) == "idle"; }));
    }
    EXPECT_EQ(fira.Deinit(), "OK");
    fira.Run();
    EXPECT_EQ(other.Start(), "OK");
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_EQ(other.Fresh().measurements.size(), 1U);
}

// Each report that is read could be followed by the acknowledgement, but it never is.
TEST_F(NotificationsTest, GivesUpAnAcknowledgementThatReportsKeepAwayFor) {
    FiraClient fira(hal, 0);
    fira.Run(Every(50));
    ASSERT_EQ(fira.Init(ControllerSession(43)), "OK");
    Fault("0 fira.start noack");
    EXPECT_EQ(fira.Start(43), "1: Unsupported operation");
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U) << "the first one ranges on";
    EXPECT_EQ(fira.Count(), 2);
    // It may run in the radio, where it was never counted: its end must not count for the others.
    Fault("0 fira.report repeat 10000");
    EXPECT_EQ(fira.Event(), "stopped 42 256");
    EXPECT_EQ(fira.Start(), "OK");
}

// By event: a hundred calls take no longer than a few blocks, whatever is quiet meanwhile. Polled,
// each would wait for the next report, or a second for the session that has none.
TEST_F(NotificationsTest, CallsAndReportsDoNotWaitForQuietSessions) {
    if (NotificationsMode() != "event") return;
    FiraClient fira(hal, 0);
    const auto ccc = hal.Get(1, &IUwbIface::cccController);
    int64_t time0 = 0;
    ASSERT_EQ(Said(ccc->initSession()), "OK");
    ASSERT_EQ(Said(ccc->startSession(1, 0, 9, &time0)), "OK");
    fira.Run(Every(1000));
    const int first = fira.Fresh().data.blockIndex;
    for (int i = 0; i < 100; i++) EXPECT_EQ(fira.Count(), 1);
    EXPECT_LT(fira.Fresh().data.blockIndex - first, 50);
    EXPECT_EQ(Said(ccc->stopSession(1)), "OK");
}

// A process that is stopped in the middle of a call, and with it the service that asks it back.
TEST_F(NotificationsTest, AThreadThatHangsForGoodEndsTheService) {
    ASSERT_EQ(Said(hal->close()), "OK");
    const std::string properties = "/tmp/stall.prop";
    WriteText(properties, "ro.vendor.uwb.hal.stall_limit_s=3\n");
    RestartService(properties);
    hal = Hal();
    ClientProcess client("callbacks");
    ASSERT_EQ(client.said, "OK");
    std::vector<std::string> names;
    bool has_died = false;
    for (int i = 0; i < 200 && !has_died; i++) {
        std::this_thread::sleep_for(10ms);  // For it to get going.
        kill(client.pid(), SIGSTOP);
        has_died = !hal->listIfaceNames(&names).isOk();
        kill(client.pid(), SIGCONT);
    }
    EXPECT_TRUE(has_died);
    EXPECT_THAT(NewLog(), HasSubstr("Stalled: the callback of descriptor "));
    RestartService();
    hal = Hal();
}

TEST_F(NotificationsTest, RefusesToStartWithOptionsThatItCannotTake) {
    std::vector<std::pair<std::string, std::string>> cases = {
        {"", "Properties file: /tmp/bad.prop: No such file"},
        {"nonsense", "Properties file: /tmp/bad.prop:1: not a \"key=value\" line: nonsense"}};
    for (const char* option :
         {"notifications=often", "stall_limit_s=-1", "stall_limit_s=2", "log_level=LOUD"}) {
        const std::string line = "ro.vendor.uwb.hal."s + option;
        cases.emplace_back(line, line.substr(0, line.find('=')) + ": \"");
    }
    for (const auto& [line, says] : cases) {
        Shell("rm -f /tmp/bad.prop");
        if (!line.empty()) WriteText("/tmp/bad.prop", line + "\n");
        const std::string ended = Shell(
            "{ VELTA_UWB_PROPERTIES=/tmp/bad.prop hardware.velta.uwb-service; echo status $?;}");
        EXPECT_THAT(ended, HasSubstr("status 1"));
        EXPECT_THAT(ended, HasSubstr(says));
    }
}

}  // namespace
}  // namespace hardware::velta::device
