// SPDX-License-Identifier: Apache-2.0
#include "net/ccc_region_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../log_capture.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using ::testing::ElementsAre;

class CccRegionUtilsTest : public ::testing::Test, public CccRegionCallback {
  protected:
    CccRegionUtilsTest() : ccc_(&kernel_) {
        ccc_.SetMcpsNetId(kFamily);
        ccc_.SetCallback(this);
    }

    void OnSessionStopped(uint32_t hw_index, Reason reason) override {
        stops_.push_back(std::to_string(hw_index) + " reason " + std::to_string(reason));
        if (close_when_stopped_) ccc_.CloseRangingSocket();
    }
    static Message Call(const std::vector<Attr>& params, uint32_t call = 2) {
        return {7, {U32(1, 5), Nest(8, {Text(2, "nfcc_coex"), U32(4, call), Nest(5, params)})}};
    }

    ScriptedKernel kernel_;
    CccRegionUtils ccc_;
    std::vector<std::string> stops_;
    bool close_when_stopped_ = false;
    LogCapture log_;
};

TEST_F(CccRegionUtilsTest, StartNeedsACallback) {
    ccc_.SetCallback(nullptr);
    EXPECT_FALSE(ccc_.StartCccSession(5, 1, 9));
    EXPECT_THAT(kernel_.calls, ElementsAre());
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.CccRegionUtils StartCccSession: callback is not set");
}

TEST_F(CccRegionUtilsTest, StartsOnAWatchedSocketAndStopsOnAnother) {
    EXPECT_TRUE(ccc_.StartCccSession(5, 0x1122334455667788, 9));
    ExpectSent(kernel_, {7,
                         {U32(1, 5), Text(3, "endless"),
                          Nest(8, {U32(1, 0), Text(2, "nfcc_coex"), U32(4, 0),
                                   Nest(5, {Nest(1, {U64(1, 0x1122334455667788), U8(2, 9)})})})}});
    kernel_.sent.clear();
    EXPECT_TRUE(ccc_.StopCccSession(5));
    ExpectSent(kernel_, {7,
                         {U32(1, 5), Text(3, "endless"),
                          Nest(8, {U32(1, 0), Text(2, "nfcc_coex"), U32(4, 1)})}});
    EXPECT_THAT(kernel_.calls, ElementsAre("1 ack", "1 no auto ack", "1 watch", "2 ack", "2 gone"));
}

TEST_F(CccRegionUtilsTest, FailuresAreReported) {
    kernel_.Refuse();
    EXPECT_FALSE(ccc_.StartCccSession(5, 1, 9));
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.CccRegionUtils StartCccSession: failed to start ranging");
    kernel_.Refuse();
    EXPECT_FALSE(ccc_.StopCccSession(5));
    kernel_.sockets_left = 0;
    EXPECT_FALSE(ccc_.StopCccSession(5));
    CccRegionUtils unresolved(&kernel_);
    unresolved.SetCallback(this);
    EXPECT_FALSE(unresolved.StartCccSession(5, 1, 9));
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.CccRegionUtils StartCccSession: failed to fill netlink message start");
    EXPECT_FALSE(unresolved.StopCccSession(5));
    EXPECT_EQ(kernel_.sent.size(), 2u);
}

TEST_F(CccRegionUtilsTest, NotificationsTellWhyTheSessionStopped) {
    ASSERT_TRUE(ccc_.StartCccSession(5, 1, 9));
    const struct {
        Message message;
        std::string stop, line;
    } kCases[] = {
        {Call({U8(2, 1), U8(3, 1)}), "5 reason 1", ""},
        {Call({U8(2, 200), U8(3, 0)}), "5 reason 1", ""},
        {Call({U8(2, 0), U8(3, 1)}), "5 reason 0", ""},
        {Call({U8(2, 0), U8(3, 0)}), "", ""},
        {Call({U8(2, 1), U8(3, 1)}, 1), "",
         "I OnNotification: Not a ranging notification message."},
        {Call({U8(2, 1)}), "", "W OnNotification: Missing session ntf call attrs"},
        {Call({U8(3, 1)}), "", "W OnNotification: Missing session ntf call attrs"},
        {Call({U8(2, 1), Raw(3, {})}), "",
         "W OnNotification: Failed to parse session ntf call attr"},
    };
    for (const auto& test : kCases) {
        stops_.clear();
        const size_t lines = log_.lines().size();
        EXPECT_TRUE(kernel_.Notify(test.message));
        EXPECT_EQ(stops_, test.stop.empty() ? std::vector<std::string>() : std::vector{test.stop});
        ASSERT_EQ(log_.lines().size(), lines + !test.line.empty());
        if (!test.line.empty()) {
            EXPECT_EQ(log_.lines().back(),
                      test.line.substr(0, 2) + "velta.uwb.CccRegionUtils " + test.line.substr(2));
        }
    }
}

TEST_F(CccRegionUtilsTest, CallbackMayCloseTheSocketOrBeGone) {
    ASSERT_TRUE(ccc_.StartCccSession(5, 1, 9));
    ccc_.SetCallback(nullptr);
    EXPECT_TRUE(kernel_.Notify(Call({U8(2, 1), U8(3, 0)})));
    ccc_.SetCallback(this);
    close_when_stopped_ = true;
    EXPECT_TRUE(kernel_.Notify(Call({U8(2, 1), U8(3, 0)})));
    EXPECT_FALSE(kernel_.Notify(Call({U8(2, 1), U8(3, 0)})));
    EXPECT_THAT(stops_, ElementsAre("5 reason 1"));
}

TEST_F(CccRegionUtilsTest, CapabilitiesAreFixed) {
    CccRegionUtils::CccCapabilities caps;
    EXPECT_TRUE(ccc_.GetCapabilities(caps));
    EXPECT_EQ(caps.toString(),
              "CccCapabilities{protocolVersions: [0, 1], uwbConfigs: [1], "
              "pulseShapeCombinations: [0, 1, 2], ranMultiplier: 2, chapsPerSlot: [3, 4, 6, 8, 9, "
              "12, 24], syncCodes: [9, 10, 11, 12], supportedChannels: [5, 9], "
              "hoppingConfigModes: [0, 1, 2], hoppingSequences: [0, 1]}");
}

}  // namespace
}  // namespace hardware::velta
