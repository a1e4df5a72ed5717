// SPDX-License-Identifier: Apache-2.0
#include "hal/ccc_controller.h"

#include <chrono>
#include <limits>

#include "net/mcps802154.h"
#include "net/nl_attr.h"
#include "net/unique_nl_msg.h"
#include "tests/unit/hal/fake_radio.h"

namespace hardware::velta {
namespace {

int64_t NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

class CccControllerTest : public HalTest {
  protected:
    CccControllerTest() { ccc_->setCallback(SharedRefBase::make<CccClient>(&journal_)); }
    bool Configure(const std::string& offset, const std::string& margin = "") {
        ConfigUtils store;
        store.Set("[HAL]minimum_system_offset_uwbtime0", offset);
        if (!margin.empty()) store.Set("auto_sleep_margin", margin);
        return ccc_->ConsumeProperties(store);
    }
    std::string Start(int64_t delay_ms = 0, int channel = 9) {
        return Trace(ccc_->startSession(0, delay_ms, channel, &uwb_time0_));
    }
    // The radio's word that its session has stopped, as it was asked to.
    void Stop(uint32_t hw) {
        UniqueNlMsg msg;
        nlattr* call = nullptr;
        nlattr* params = nullptr;
        EXPECT_TRUE(ccc_region_.StartCallMessageWithParams(msg.get(), hw, 2, &call, &params));
        AttrWriter put(msg.get());
        put.U8(NFCC_COEX_CALL_ATTR_STOPPED, 1);
        put.U8(NFCC_COEX_CALL_ATTR_WATCHDOG, 0);
        EXPECT_TRUE(ccc_region_.EndCallMessageWithParams(msg.get(), call, params));
        ccc_region_.OnNotification(msg.get());
    }

    int64_t uwb_time0_ = 0;
};

TEST_F(CccControllerTest, KeepsOneTimeBaseWithTheKernel) {
    ASSERT_TRUE(Configure("100"));
    const int64_t before = NowMs();
    EXPECT_EQ(Start(50), "pre-start; ccc-start 3 150000000 9");
    EXPECT_GE(uwb_time0_, before + 150);
    EXPECT_LE(uwb_time0_, NowMs() + 150);
    EXPECT_EQ(log_.Count("I velta.uwb.CccController startSessionUwbTime0 = " +
                         std::to_string(uwb_time0_)),
              1U);
    Start(std::numeric_limits<int64_t>::max());  // A client's nonsense must not be undefined.
    EXPECT_EQ(Start(-1, 99), "!2 Delay cannot be negative");
    EXPECT_EQ(Start(0, 16), "!2 Incorrect channel value 16");
}

TEST_F(CccControllerTest, CountsASessionFromItsStartUntilTheRadioStopped) {
    journal_.failing = {"ccc-start", "ccc-stop"};
    EXPECT_EQ(Start(), "pre-start; ccc-start 3 0 9; changed; !1 Failed to start ccc session");
    EXPECT_EQ(ccc_->SessionCount(), 0);
    journal_.failing.erase("ccc-start");
    EXPECT_EQ(Start(), "pre-start; ccc-start 3 0 9");
    EXPECT_EQ(ccc_->ActiveSessionCount(), 1);
    EXPECT_EQ(Trace(ccc_->stopSession(0)), "ccc-stop 3; changed; !1 Failed to stop ccc session");
    journal_.failing.clear();
    EXPECT_EQ(Trace(ccc_->stopSession(0)), "ccc-stop 3");
    EXPECT_EQ(ccc_->SessionCount(), 1);
    ccc_region_.callback()->OnSessionStopped(kHw, CccRegionCallback::kStopRequested);
    EXPECT_EQ(Trace(), "told ccc-stopped 1; socket-closed; changed");
    EXPECT_EQ(ccc_->SessionCount(), 0);
    EXPECT_EQ(log_.Count("I velta.uwb.CccController OnSessionStopped hw_index: 3 reason: 1"), 1U);
    Start();
    ccc_->setCallback(nullptr);
    ccc_region_.callback()->OnSessionStopped(kHw, CccRegionCallback::kStoppedByRadio);
    EXPECT_EQ(Trace(), "socket-closed; changed");
}

TEST_F(CccControllerTest, KeepsTheRadioAwakeForASession) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(Trace(ccc_->initSession()), "pre-open nfcc_coex; pre-start") << "no margin is known";
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(100));
    EXPECT_EQ(Trace(ccc_->deinitSession()), "");
    ASSERT_TRUE(Configure("0", "70"));
    journal_.failing = {"driver"};
    EXPECT_EQ(Trace(ccc_->initSession()),
              "pre-open nfcc_coex; driver 3 auto_sleep_margin=-1,; pre-start");
    EXPECT_EQ(Trace(ccc_->deinitSession()), "driver 3 auto_sleep_margin=70,");
    for (const char* warning : {"initSessionFailed to disable", "deinitSessionFailed to enable"}) {
        EXPECT_EQ(log_.Count(std::string("W velta.uwb.CccController ") + warning +
                             " deepsleep, continue anyway"),
                  1U);
    }
}

TEST_F(CccControllerTest, TakesItsKeysAndLeavesTheDriverItsOwn) {
    ConfigUtils store;
    for (const char* key : {"[CCC]a", "b[CCC]", "x[CCC]y", "[CC]", "[HAL]other",
                            "[HAL]minimum_system_offset_uwbtime0", "auto_sleep_margin"}) {
        store.Set(key, "0x10");
    }
    EXPECT_TRUE(ccc_->ConsumeProperties(store));
    std::string left;
    for (const auto& [key, value] : store) left += key + " ";
    EXPECT_EQ(left, "[CC] [HAL]other auto_sleep_margin ");
    EXPECT_FALSE(ccc_->ConsumeProperties(store)) << "the offset has to be there";
    for (const char* bad : {"", "abc", "5 ms"}) EXPECT_FALSE(Configure(bad)) << bad;
    EXPECT_EQ(Start(0), "pre-start; ccc-start 3 16000000 9");
}

TEST_F(CccControllerTest, OffersTheChannelsOfThePhy) {
    CccController::CccCapabilities caps;
    EXPECT_EQ(Trace(ccc_->getCapabilities(&caps)), "phy wpan0");
    EXPECT_EQ(caps.toString(),
              "CccCapabilities{protocolVersions: [0, 1], uwbConfigs: [1], pulseShapeCombinations: "
              "[0, 1, 2], ranMultiplier: 2, chapsPerSlot: [3, 4, 6, 8, 9, 12, 24], syncCodes: [9, "
              "10, 11, 12], supportedChannels: [3, 9], hoppingConfigModes: [0, 1, 2], "
              "hoppingSequences: [0, 1]}");
    journal_.failing = {"phy"};
    EXPECT_EQ(Trace(ccc_->getCapabilities(&caps)),
              "phy wpan0; !1 Failed to get supported channels");
}

TEST_F(CccControllerTest, LeavesNothingBehind) {
    ASSERT_TRUE(Configure("0", "70"));
    EXPECT_TRUE(ccc_->initSession().isOk());
    Start();
    journal_.failing = {"driver"};  // Which stops nothing.
    ccc_->Abandon();
    EXPECT_EQ(Trace(), "ccc-stop 3; socket-closed; driver 3 auto_sleep_margin=70,");
    EXPECT_EQ(log_.lines().back(),
              "W velta.uwb.CccController AbandonFailed to enable deepsleep, continue anyway");
    EXPECT_EQ(ccc_region_.callback(), nullptr);
    EXPECT_EQ(ccc_->SessionCount(), 0);
    // The client may go on calling, without effect: its arguments count first.
    EXPECT_EQ(Trace(ccc_->initSession()), "!3 HAL is closed");
    EXPECT_EQ(Start(-1), "!2 Delay cannot be negative");
    EXPECT_EQ(Trace(ccc_->startSession(0, 0, 16, &uwb_time0_)), "!2 Incorrect channel value 16");
    EXPECT_EQ(Start(), "!3 HAL is closed");
    EXPECT_EQ(Trace(ccc_->stopSession(0)), "!3 HAL is closed");
    EXPECT_EQ(Trace(ccc_->deinitSession()), "") << "OK in every case";
    ccc_.reset();
    EXPECT_EQ(Trace(), "");
}

TEST_F(CccControllerTest, LeavesALaterControllerOfTheRegionAlone) {
    const auto later = Make<CccController>(4, &ieee_, &ccc_region_, &mcps_);
    Start();
    journal_.failing = {"ccc-start"};
    EXPECT_FALSE(later->startSession(0, 0, 9, &uwb_time0_).isOk());
    EXPECT_EQ(ccc_region_.callback(), ccc_.get()) << "a session that did not start has no events";
    journal_.failing.clear();
    EXPECT_TRUE(later->startSession(0, 0, 9, &uwb_time0_).isOk());
    Trace();
    ccc_.reset();
    EXPECT_EQ(ccc_region_.callback(), later.get());
    EXPECT_EQ(Trace(), "ccc-stop 3") << "its own radio stops, the region's socket stays";
}

// One region, one socket, two radios and their clients.
TEST_F(CccControllerTest, TellsTwoRadiosApart) {
    const auto later = Make<CccController>(4, &ieee_, &ccc_region_, &mcps_);
    later->setCallback(SharedRefBase::make<CccClient>(&journal_));
    Start();
    EXPECT_TRUE(later->startSession(0, 0, 9, &uwb_time0_).isOk());
    Trace();
    Stop(kHw);
    EXPECT_EQ(ccc_->SessionCount(), 0);
    EXPECT_EQ(later->SessionCount(), 1);
    EXPECT_EQ(Trace(), "told ccc-stopped 1; changed") << "the socket stays";
    Stop(kHw);
    EXPECT_EQ(later->SessionCount(), 1) << "told twice, it is still the other radio's";
    Trace();
    Stop(4);
    EXPECT_EQ(Trace(), "told ccc-stopped 1; socket-closed");
}

}  // namespace
}  // namespace hardware::velta
