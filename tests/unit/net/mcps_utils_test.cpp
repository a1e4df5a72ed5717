// SPDX-License-Identifier: Apache-2.0
#include "net/mcps_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../log_capture.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using ::testing::ElementsAre;

constexpr uint32_t kNotGiven = 0xFFFFFFFF;

class McpsUtilsTest : public ::testing::Test {
  protected:
    McpsUtilsTest() : mcps_(&kernel_) {
        EXPECT_TRUE(mcps_.Start());
        kernel_.calls.clear();
    }

    ScriptedKernel kernel_;
    McpsUtils mcps_;
    LogCapture log_;
};

Message HwReply(uint32_t index, const std::string& phy, std::vector<Attr> more = {}) {
    more.insert(more.begin(), {U32(1, index), Text(2, phy)});
    return {.cmd = 2, .attrs = more};
}

TEST_F(McpsUtilsTest, StartResolvesTheFamilyAndKeepsTheOldOneOnFailure) {
    EXPECT_EQ(mcps_.GetNetId(), kFamily);
    kernel_.family = -12;
    EXPECT_FALSE(mcps_.Start());
    EXPECT_EQ(mcps_.GetNetId(), kFamily);
    EXPECT_THAT(kernel_.calls, ElementsAre("2 resolve mcps802154", "2 gone"));
    EXPECT_THAT(log_.lines(), ElementsAre("E velta.uwb.McpsUtils Start: Generic netlink mcps802154 "
                                          "not found."));
    kernel_.sockets_left = 0;
    EXPECT_FALSE(mcps_.Start());
    EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(McpsUtilsTest, ListsHardwareInOrderAndDropsForeignPhyNames) {
    kernel_.Reply({HwReply(3, "phy12", {Text(3, "endless")}),
                   HwReply(4, "wpan0"),
                   HwReply(5, "ph"),
                   {.cmd = 2, .attrs = {U32(1, 6)}},
                   HwReply(7, "phy0x")});
    bool ok = false;
    const std::vector<McpsHwInfo> hardware = mcps_.ListHardware(&ok);
    EXPECT_TRUE(ok);
    ExpectSent(kernel_, {.cmd = 1, .flags = 0x300});
    ASSERT_EQ(hardware.size(), 2u);
    EXPECT_EQ(hardware[0].hw_index, 3u);
    EXPECT_EQ(hardware[0].phy_index, 12u);
    EXPECT_EQ(hardware[0].scheduler, "endless");
    EXPECT_EQ(hardware[1].hw_index, 7u);
    EXPECT_EQ(hardware[1].phy_index, 0u);
    EXPECT_EQ(hardware[1].scheduler, "default");
    EXPECT_EQ(log_.Count("W velta.uwb.McpsUtils ParseHwInfo: Missing mcps attribute"), 1u);
}

TEST_F(McpsUtilsTest, ListReturnsWhatCameBeforeAFailure) {
    kernel_.answers.push_back({.ok = false, .messages = {Encode(HwReply(3, "phy1"))}});
    bool ok = true;
    EXPECT_EQ(mcps_.ListHardware(&ok).size(), 1u);
    EXPECT_FALSE(ok);
}

TEST_F(McpsUtilsTest, HardwareInfoIsPartlyFilledFromAnOddReply) {
    kernel_.Reply({HwReply(9, "wpan0", {Text(3, "on_demand")})});
    bool ok = false;
    const McpsHwInfo info = mcps_.GetHardwareInfo(9, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(info.hw_index, 9u);
    EXPECT_EQ(info.phy_index, 0u);
    EXPECT_EQ(info.scheduler, "on_demand");
    ExpectSent(kernel_, {.cmd = 1, .attrs = {U32(1, 9)}});
    EXPECT_THAT(kernel_.calls, ElementsAre("2 response 2", "2 gone"));
}

TEST_F(McpsUtilsTest, SendsSchedulersByName) {
    const struct {
        uint8_t scheduler;
        uint32_t slot_duration, node_type;
        bool set_params;
        Message expected;
    } kCases[] = {
        {0, kNotGiven, kNotGiven, false, {3, {U32(1, 5), Text(3, "default")}}},
        {1, kNotGiven, kNotGiven, false, {3, {U32(1, 5), Text(3, "simple-ranging")}}},
        {2, kNotGiven, kNotGiven, true, {4, {U32(1, 5), Text(3, "endless")}}},
        {3, kNotGiven, kNotGiven, false, {3, {U32(1, 5), Text(3, "on_demand")}}},
        {7, kNotGiven, kNotGiven, false, {3, {U32(1, 5), Text(3, "7")}}},
        {0, 5, kNotGiven, true, {4, {U32(1, 5), Text(3, "default"), Nest(0x8004, {U32(1, 5)})}}},
        {0, kNotGiven, 0, false, {3, {U32(1, 5), Text(3, "default"), Nest(0x8004, {U32(2, 0)})}}},
        {0, 6, 1, true, {4, {U32(1, 5), Text(3, "default"), Nest(0x8004, {U32(1, 6), U32(2, 1)})}}},
    };
    for (const auto& test : kCases) {
        kernel_.sent.clear();
        EXPECT_TRUE(mcps_.SetScheduler(5, static_cast<McpsScheduler>(test.scheduler),
                                       static_cast<McpsUtils::SlotDuration>(test.slot_duration),
                                       static_cast<McpsUtils::NodeType>(test.node_type),
                                       test.set_params));
        ExpectSent(kernel_, test.expected);
    }
}

TEST_F(McpsUtilsTest, SetRegionSelectsEndlessWithOneRegion) {
    for (const auto& [id, name] : {std::pair(0, "fira"), std::pair(1, "nfcc_coex"),
                                   std::pair(2, "simple_ranging"), std::pair(9, "9")}) {
        kernel_.sent.clear();
        EXPECT_TRUE(mcps_.SetRegion(5, McpsRegion{static_cast<uint8_t>(id)}));
        ExpectSent(
            kernel_,
            {3, {U32(1, 5), Text(3, "endless"), Nest(5, {Nest(1, {U32(1, 0), Text(2, name)})})}});
    }
}

TEST_F(McpsUtilsTest, SetAllRegionsSendsOneListOfTwo) {
    EXPECT_TRUE(mcps_.SetAllRegions(5));
    ExpectSent(kernel_, {3,
                         {U32(1, 5), Text(3, "on_demand"),
                          Nest(5, {Nest(1, {U32(1, 1), Text(2, "fira")}),
                                   Nest(2, {U32(1, 0), Text(2, "nfcc_coex")})})}});
}

TEST_F(McpsUtilsTest, RefusalsAreReported) {
    for (int i = 0; i < 5; i++) kernel_.Refuse();
    bool ok = true;
    McpsUtils::SpiPids pids = {1, 1};
    EXPECT_FALSE(mcps_.SetScheduler(0, McpsScheduler::kDefault, {}, {}, false));
    EXPECT_FALSE(mcps_.SetRegion(0, kFiraRegion));
    EXPECT_FALSE(mcps_.SetAllRegions(0));
    EXPECT_FALSE(mcps_.GetSpiPids(0, pids));
    EXPECT_EQ(pids.spi_pid + pids.kt7100_pid, 0u);
    EXPECT_EQ(mcps_.GetHardwareInfo(0, &ok).scheduler, "");
    EXPECT_FALSE(ok);
}

TEST_F(McpsUtilsTest, AsksForBothSpiPids) {
    McpsUtils::SpiPids pids = {};
    EXPECT_FALSE(mcps_.GetSpiPids(5, pids));  // The script has no reply.
    ExpectSent(kernel_, {9,
                         {U32(1, 5), Nest(0x800A, {Nest(0x8001, {Text(1, "spi_pid")}),
                                                   Nest(0x8001, {Text(1, "kt7100_pid")})})}});
    EXPECT_THAT(kernel_.calls, ElementsAre("2 response 9", "2 gone"));
}

TEST_F(McpsUtilsTest, ReadsSpiPidsUntilAnElementWithoutAKey) {
    const Attr spi = Nest(0x8001, {Text(1, "spi_pid"), U32(2, 77)});
    const Attr kt7100 = Nest(0x8001, {Text(1, "kt7100_pid"), U32(2, 88)});
    const struct {
        std::vector<Attr> elements;
        uint32_t spi_pid, kt7100_pid;
    } kCases[] = {
        {{}, 0, 0},
        {{spi, kt7100}, 77, 88},
        {{kt7100, Nest(1, {Text(1, "other"), U32(2, 9)}), spi}, 77, 88},
        {{Nest(1, {Text(1, "spi_pid"), U32(3, 0)}), kt7100}, 0, 88},
        {{spi, Nest(1, {U32(2, 9)}), kt7100}, 77, 0},
    };
    for (const auto& test : kCases) {
        kernel_.Reply({{.cmd = 9, .attrs = {U32(1, 5), Nest(0x800A, test.elements)}}});
        McpsUtils::SpiPids pids = {1, 1};
        EXPECT_TRUE(mcps_.GetSpiPids(5, pids));
        EXPECT_EQ(pids.spi_pid, test.spi_pid);
        EXPECT_EQ(pids.kt7100_pid, test.kt7100_pid);
    }
}

}  // namespace
}  // namespace hardware::velta
