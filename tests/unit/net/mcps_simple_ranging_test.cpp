// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "../log_capture.h"
#include "net/mcps_utils.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using ::testing::ElementsAre;

class McpsSimpleRangingTest : public ::testing::Test {
  protected:
    McpsSimpleRangingTest() : mcps_(&kernel_) {
        EXPECT_TRUE(mcps_.Start());
        kernel_.calls.clear();
    }

    void Subscribe() {
        mcps_.SubscribeRangingResults(
            [this](const McpsUtils::RangingResult& result) { results_.push_back(result); });
    }
    bool SetRequests(const std::vector<McpsUtils::RangingRequest>& requests) {
        return mcps_.SetRangingRequests(5, requests);
    }
    static Message Report(const std::vector<Attr>& result) {
        return {13, {U32(1, 5), Nest(12, result)}};
    }

    static constexpr int64_t kPeer = 0x1122334455667788;
    ScriptedKernel kernel_;
    McpsUtils mcps_;
    std::vector<McpsUtils::RangingResult> results_;
    LogCapture log_;
};

TEST_F(McpsSimpleRangingTest, NeedsAHandler) {
    EXPECT_FALSE(SetRequests({{1, 2, kPeer}}));
    EXPECT_THAT(kernel_.calls, ElementsAre());
    EXPECT_EQ(log_.lines().back(),
              "W velta.uwb.McpsUtils SetRangingRequests: The ranging result "
              "handler needs to be set first");
}

TEST_F(McpsSimpleRangingTest, SendsRequestsInOrderAndWatchesTheSameSocket) {
    Subscribe();
    EXPECT_TRUE(SetRequests({{1, 2, kPeer}, {-1, -2, -3}}));
    ExpectSent(kernel_,
               {12,
                {U32(1, 5), Nest(0x800B, {Nest(0x8001, {U32(1, 1), U32(2, 2), U64(3, kPeer)}),
                                          Nest(0x8001, {U32(1, 0xFFFFFFFF), U32(2, 0xFFFFFFFE),
                                                        U64(3, 0xFFFFFFFFFFFFFFFD)})})}});
    EXPECT_THAT(kernel_.calls, ElementsAre("2 ack", "2 no auto ack", "2 watch"));
}

TEST_F(McpsSimpleRangingTest, NewListReplacesTheSocketAndAnEmptyOneEnds) {
    Subscribe();
    EXPECT_TRUE(SetRequests({{1, 2, kPeer}}));
    kernel_.calls.clear();
    EXPECT_TRUE(SetRequests({{9, 2, kPeer}}));
    EXPECT_THAT(kernel_.calls, ElementsAre("2 gone", "3 ack", "3 no auto ack", "3 watch"));
    EXPECT_TRUE(kernel_.Notify(Report({U32(1, 1)})));  // Of the list before.
    EXPECT_EQ(results_.size(), 0u);
    EXPECT_TRUE(SetRequests({}));
    EXPECT_EQ(kernel_.calls.back(), "3 gone");
    EXPECT_EQ(log_.lines().back(), "I velta.uwb.McpsUtils SetRangingRequests: requests empty");
}

TEST_F(McpsSimpleRangingTest, FailureLeavesItClosed) {
    Subscribe();
    EXPECT_TRUE(SetRequests({{1, 2, kPeer}}));
    kernel_.Refuse();
    EXPECT_FALSE(SetRequests({{1, 2, kPeer}}));
    EXPECT_FALSE(kernel_.Notify(Report({U32(1, 1)})));
    kernel_.accept_watches = false;
    EXPECT_FALSE(SetRequests({{1, 2, kPeer}}));
    EXPECT_EQ(kernel_.calls.back(), "4 gone");
    kernel_.sockets_left = 0;
    EXPECT_FALSE(SetRequests({{1, 2, kPeer}}));
}

TEST_F(McpsSimpleRangingTest, ReportGoesToTheFirstRequestOfItsId) {
    Subscribe();
    SetRequests({{1, 0, 100}, {7, 0, kPeer}, {7, 0, 300}});
    kernel_.Notify(Report({U32(1, 7), U32(2, 1234), U32(3, 0), U32(4, 1000)}));
    ASSERT_EQ(results_.size(), 1u);
    EXPECT_EQ(results_[0].id, 7);
    EXPECT_EQ(results_[0].peer, kPeer);
    EXPECT_EQ(results_[0].value, 1234);
    EXPECT_EQ(results_[0].angle1, 0.0F);
    EXPECT_NEAR(results_[0].angle2, 0.17313136, 1e-6);
    kernel_.Notify(Report({U32(1, 8)}));
    EXPECT_EQ(results_.size(), 1u);
    EXPECT_EQ(log_.lines().back(),
              "W velta.uwb.McpsUtils OnRangingResult: Received result for unknown request");
}

TEST_F(McpsSimpleRangingTest, AbsentFieldsHaveTheirMarks) {
    Subscribe();
    SetRequests({{1, 0, kPeer}});
    kernel_.Notify(Report({U32(1, 1)}));
    ASSERT_EQ(results_.size(), 1u);
    EXPECT_EQ(results_[0].value, std::numeric_limits<int32_t>::min());
    EXPECT_TRUE(std::isnan(results_[0].angle1));
    EXPECT_TRUE(std::isnan(results_[0].angle2));
}

TEST_F(McpsSimpleRangingTest, PhasesBecomeAnglesWithinAQuarterTurn) {
    Subscribe();
    SetRequests({{1, 0, kPeer}});
    const auto angle = [this](int32_t phase) {
        kernel_.Notify(Report({U32(1, 1), U32(3, static_cast<uint32_t>(phase))}));
        return results_.back().angle1;
    };
    const float right = static_cast<float>(std::numbers::pi / 2);
    EXPECT_FLOAT_EQ(angle(-32767), -right);
    EXPECT_FLOAT_EQ(angle(32767), right);
    EXPECT_FLOAT_EQ(angle(std::numeric_limits<int32_t>::max()), right);
    EXPECT_TRUE(std::isnan(angle(-32768)));
    EXPECT_TRUE(std::isnan(angle(std::numeric_limits<int32_t>::min())));
    EXPECT_NEAR(angle(-1000), -0.17313136, 1e-6);
    EXPECT_NEAR(angle(5800), 1.52963, 1e-4);
    EXPECT_LT(angle(5800), right);
}

TEST_F(McpsSimpleRangingTest, ForeignAndIncompleteReportsAreDropped) {
    Subscribe();
    SetRequests({{1, 0, kPeer}});
    const struct {
        Message message;
        std::string line;
    } kCases[] = {
        {{7, {U32(1, 5)}}, "W velta.uwb.McpsUtils OnRangingResult: Incorrect command received: 7"},
        {{13, {U32(1, 5)}}, "W velta.uwb.McpsUtils OnRangingResult: Missing HW or RANGING_RESULT"},
        {{13, {Nest(12, {U32(1, 1)})}},
         "W velta.uwb.McpsUtils OnRangingResult: Missing HW or RANGING_RESULT"},
        {{13, {U8(1, 5), Nest(12, {U32(1, 1)})}},
         "W velta.uwb.McpsUtils OnRangingResult: Failed to parse attr"},
        {Report({U32(1, 1), U8(3, 5)}),
         "W velta.uwb.McpsUtils OnRangingResult: Failed to parse nested attr"},
        {Report({U32(2, 1)}), "I velta.uwb.McpsUtils OnRangingResult"},  // No id: no word.
    };
    for (const auto& [message, line] : kCases) {
        kernel_.Notify(message);
        EXPECT_EQ(log_.lines().back(), line);
    }
    EXPECT_EQ(results_.size(), 0u);
}

TEST_F(McpsSimpleRangingTest, HandlerMayEndRangingFromInsideAReport) {
    int calls = 0;
    mcps_.SubscribeRangingResults([&, text = std::string(40, 'x')](const auto&) {
        mcps_.UnsubscribeRangingResults();
        calls += text.size() == 40;  // What the handler holds is still there.
    });
    SetRequests({{1, 0, kPeer}});
    EXPECT_TRUE(kernel_.Notify(Report({U32(1, 1)})));
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(kernel_.Notify(Report({U32(1, 1)})));
    EXPECT_FALSE(SetRequests({{1, 0, kPeer}}));
}

}  // namespace
}  // namespace hardware::velta
