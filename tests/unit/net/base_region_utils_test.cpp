// SPDX-License-Identifier: Apache-2.0
#include "net/base_region_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netlink/genl/genl.h>

#include "../log_capture.h"
#include "net/unique_nl_msg.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using ::testing::ElementsAre;

// Region 7 has no name of its own.
class BaseRegionUtilsTest : public ::testing::Test {
  protected:
    BaseRegionUtilsTest() : region_(McpsRegion{7}, &kernel_) { region_.SetMcpsNetId(kFamily); }

    bool Start(const std::string& name) {
        UniqueNlMsg msg;
        nlattr *call = nullptr, *params = nullptr;
        EXPECT_TRUE(region_.StartCallMessageWithParams(msg.get(), 5, 200, &call, &params));
        EXPECT_EQ(nla_put_u32(msg.get(), 1, 0x77), 0);
        EXPECT_TRUE(region_.EndCallMessageWithParams(msg.get(), call, params));
        return region_.StartRangingSession(msg.get(), [this, name](nl_msg* ntf) {
            notes_.push_back(name + " " + std::to_string(genlmsg_hdr(nlmsg_hdr(ntf))->cmd));
            if (close_when_notified_) region_.CloseRangingSocket();
            return NL_STOP;
        });
    }

    ScriptedKernel kernel_;
    BaseRegionUtils region_;
    std::vector<std::string> notes_;
    bool close_when_notified_ = false;
    LogCapture log_;
};

TEST_F(BaseRegionUtilsTest, CallsNeedTheFamily) {
    BaseRegionUtils unresolved(kFiraRegion, &kernel_);
    UniqueNlMsg msg;
    nlattr *call = nullptr, *params = nullptr;
    EXPECT_FALSE(unresolved.StartCallMessageWithParams(msg.get(), 5, 1, &call, &params));
    EXPECT_THAT(log_.lines(), ElementsAre("E velta.uwb.BaseRegionUtils SetMcpsCommand fira: MCPS "
                                          "netlink id is not resolved"));
}

TEST_F(BaseRegionUtilsTest, FullMessageFailsWithALine) {
    UniqueNlMsg msg;
    nlattr* call = nullptr;
    EXPECT_NE(nlmsg_reserve(msg.get(), nlmsg_get_max_size(msg.get()) - 40, 4), nullptr);
    EXPECT_FALSE(region_.StartCallMessage(msg.get(), 5, 1, &call));
    EXPECT_THAT(log_.lines(), ElementsAre("E velta.uwb.BaseRegionUtils StartCallMessage 7 Error "
                                          "creating MCPS message"));
}

TEST_F(BaseRegionUtilsTest, EnvelopeNamesSchedulerRegionAndCall) {
    EXPECT_TRUE(Start("a"));
    ExpectSent(kernel_,
               {7,
                {U32(1, 5), Text(3, "endless"),
                 Nest(8, {U32(1, 0), Text(2, "7"), U32(4, 200), Nest(5, {U32(1, 0x77)})})}});
}

TEST_F(BaseRegionUtilsTest, OneSocketServesAllSessionsUntilClosed) {
    EXPECT_TRUE(Start("first"));
    EXPECT_THAT(kernel_.calls, ElementsAre("1 ack", "1 no auto ack", "1 watch"));
    kernel_.Reply({{.cmd = 9}});  // Arrives before the acknowledgement.
    EXPECT_TRUE(Start("second"));
    kernel_.Notify(Message{.cmd = 8});
    EXPECT_THAT(notes_, ElementsAre("second 9", "first 8"));
    region_.CloseRangingSocket();
    EXPECT_EQ(log_.lines().back(), "I velta.uwb.BaseRegionUtils CloseRangingSocket 7");
    region_.CloseRangingSocket();
    EXPECT_EQ(log_.lines().size(), 1u);
    EXPECT_THAT(kernel_.calls, ElementsAre("1 ack", "1 no auto ack", "1 watch", "1 ack", "1 gone"));
    EXPECT_TRUE(Start("third"));
    EXPECT_EQ(kernel_.calls.back(), "2 watch");
}

TEST_F(BaseRegionUtilsTest, FailedStartDropsANewSocketAndKeepsAHeldOne) {
    kernel_.Refuse();
    EXPECT_FALSE(Start("refused"));
    EXPECT_THAT(kernel_.calls, ElementsAre("1 ack", "1 gone"));
    kernel_.accept_watches = false;
    EXPECT_FALSE(Start("not watched"));
    EXPECT_EQ(kernel_.calls.back(), "2 gone");
    kernel_.accept_watches = true;
    EXPECT_TRUE(Start("good"));
    kernel_.Refuse();
    EXPECT_FALSE(Start("refused"));
    EXPECT_TRUE(kernel_.Notify(Message{.cmd = 8}));
    EXPECT_THAT(notes_, ElementsAre("good 8"));
    region_.CloseRangingSocket();
    kernel_.sockets_left = 0;
    EXPECT_FALSE(Start("none"));
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.BaseRegionUtils StartRangingSession 7: BAD_ALLOC: "
              "cannot allocate NlSocket");
}

TEST_F(BaseRegionUtilsTest, SocketMayBeClosedFromItsOwnNotification) {
    close_when_notified_ = true;
    EXPECT_TRUE(Start("a"));
    EXPECT_TRUE(kernel_.Notify(Message{.cmd = 8}));
    EXPECT_FALSE(kernel_.Notify(Message{.cmd = 8}));
    EXPECT_TRUE(Start("b"));
    kernel_.Reply({{.cmd = 9}});  // And while a later start waits for its acknowledgement.
    EXPECT_TRUE(Start("c"));
    EXPECT_TRUE(kernel_.Notify(Message{.cmd = 8}));  // What has started still reports.
    EXPECT_FALSE(kernel_.Notify(Message{.cmd = 8}));
    EXPECT_THAT(notes_, ElementsAre("a 8", "c 9", "b 8"));
}

TEST_F(BaseRegionUtilsTest, DestructionClosesTheSocket) {
    {
        BaseRegionUtils other(kFiraRegion, &kernel_);
        other.SetMcpsNetId(kFamily);
        UniqueNlMsg msg;
        nlattr* call = nullptr;
        EXPECT_TRUE(other.StartCallMessage(msg.get(), 5, 1, &call) &&
                    other.EndCallMessage(msg.get(), call));
        EXPECT_TRUE(other.StartRangingSession(msg.get(), [](nl_msg*) { return NL_STOP; }));
    }
    EXPECT_EQ(kernel_.calls.back(), "1 gone");
}

TEST_F(BaseRegionUtilsTest, UnpacksCallsOfItsRegionOnly) {
    const Attr name = Text(2, "7"), call = U32(4, 0x108), params = Nest(5, {U32(1, 3)});
    constexpr uint32_t kUnset = 99;
    const struct {
        Message message;
        uint32_t hw_index, call_id;
        std::string line;
    } kCases[] = {
        {{7, {U32(1, 5), Nest(8, {name, call, params})}}, 5, 8, ""},
        {{7, {Nest(0x8008, {params, call, name}), U32(1, 6)}}, 6, 8, ""},
        {{6, {U32(1, 5)}}, kUnset, kUnset, "W: Incorrect command received: 6"},
        {{7, {U16(1, 5), Nest(8, {name, call, params})}},
         kUnset,
         kUnset,
         "E: Message doesn't respect policy"},
        {{7, {U32(1, 5)}},
         kUnset,
         kUnset,
         "E: Missing MCPS802154_ATTR_HW or MCPS802154_ATTR_SCHEDULER_REGION_CALL"},
        {{7, {Nest(8, {name, call, params})}},
         kUnset,
         kUnset,
         "E: Missing MCPS802154_ATTR_HW or MCPS802154_ATTR_SCHEDULER_REGION_CALL"},
        {{7, {U32(1, 5), Nest(8, {name, U16(4, 1), params})}},
         5,
         kUnset,
         "E: Incorrect MCPS802154_ATTR_SCHEDULER_REGION_CALL nested message"},
        {{7, {U32(1, 5), Nest(8, {Text(2, "twenty_characters_ab"), call, params})}},
         5,
         kUnset,
         "E: Incorrect MCPS802154_ATTR_SCHEDULER_REGION_CALL nested message"},
        {{7, {U32(1, 5), Nest(8, {call, params})}},
         5,
         kUnset,
         "E: Missing region name in mcps message"},
        {{7, {U32(1, 5), Nest(8, {Text(2, "77"), call, params})}},
         5,
         kUnset,
         "E: Missing region name in mcps message"},
        {{7, {U32(1, 5), Nest(8, {Raw(2, {'7', 0, 'x', 0}), call, params})}},
         5,
         kUnset,
         "E: Missing region name in mcps message"},
        {{7, {U32(1, 5), Nest(8, {name, params})}},
         5,
         kUnset,
         "E: Missing region call in mcps message"},
        {{7, {U32(1, 5), Nest(8, {name, call})}},
         5,
         8,
         "E: Missing region call params in mcps message"},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.line);
        const NlMsg msg = ToNlMsg(test.message);
        uint32_t hw_index = kUnset;
        uint8_t call_id = kUnset;
        nlattr* content = region_.GetCallContent(msg.get(), &hw_index, &call_id);
        EXPECT_EQ(hw_index, test.hw_index);
        EXPECT_EQ(call_id, test.call_id);
        if (test.line.empty()) {
            ASSERT_NE(content, nullptr);
            const auto* data = static_cast<const uint8_t*>(nla_data(content));
            EXPECT_THAT(Tokens({data, data + nla_len(content)}), ElementsAre("1=03000000"));
        } else {
            EXPECT_EQ(content, nullptr);
            EXPECT_EQ(log_.lines().back(), test.line.substr(0, 1) +
                                               " velta.uwb.BaseRegionUtils GetCallContent 7" +
                                               test.line.substr(1));
        }
    }
}

}  // namespace
}  // namespace hardware::velta
