// SPDX-License-Identifier: Apache-2.0

// What the service sets in the kernel as another program, iwpan, sees it; and the conversations
// that no HAL operation holds, held by the service's own classes.
#include <regex>

#include "net/fira_region_utils.h"
#include "net/ieee_utils.h"
#include "net/interface_tool.h"
#include "net/mcps_utils.h"
#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

// What iwpan shows behind a key, of "dev wpan0" for example.
std::string Iwpan(const std::string& what, const std::string& key) {
    const std::string text = Shell("iwpan " + what + " info");
    std::smatch match;
    EXPECT_TRUE(std::regex_search(text, match, std::regex(key + ":? +([^\\s,]+)"))) << text;
    return match[1];
}

using WitnessTest = OpenTest;

TEST_F(WitnessTest, SeesTheChannelOfTheSession) {
    FiraClient fira(hal, 1);
    for (const int channel : {5, 9}) {
        ASSERT_EQ(fira.Init(ControllerSession(channel, channel)), "OK");
        EXPECT_EQ(Iwpan("phy " + Radio(1, "phy"), "current_page"), "4");
        EXPECT_EQ(Iwpan("phy " + Radio(1, "phy"), "current_channel"), std::to_string(channel));
        ASSERT_EQ(fira.Reset(), "OK");
    }
}

TEST_F(WitnessTest, SeesPanIdAddressAndChannelOfSimpleRanging) {
    const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
    const UwbAddress extended = {.address = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}};
    ASSERT_EQ(Said(simple->startInitiatorMode(0x1BEEF, extended, 5)), "OK");
    EXPECT_EQ(Iwpan("dev wpan0", "pan_id"), "0xbeef") << "16 bits of it count";
    EXPECT_EQ(Iwpan("dev wpan0", "extended_addr"), "0x8877665544332211");
    EXPECT_EQ(Iwpan("phy " + Radio(0, "phy"), "current_channel"), "5");
    EXPECT_THAT(Shell("ip link show wpan0"), HasSubstr("UP"));
    ASSERT_EQ(Said(simple->startResponderMode(1, Short(0x1234), 9)), "OK");
    EXPECT_EQ(Iwpan("dev wpan0", "pan_id"), "0x0001");
    EXPECT_EQ(Iwpan("dev wpan0", "extended_addr"), "0x0000000000003412");
    EXPECT_EQ(Iwpan("phy " + Radio(0, "phy"), "current_channel"), "9");
}

class KernelTest : public DeviceTest {
  protected:
    NlSocketFactory factory{nullptr};
    McpsUtils mcps{&factory};
};

TEST_F(KernelTest, ShortAddressIsSetAndFactoryAddressRead) {
    IeeeUtils ieee(&factory);
    ASSERT_TRUE(ieee.Setup());
    for (const std::string seen : {"0x1234", "0xbeef"}) {
        const auto value = static_cast<uint16_t>(std::stoi(seen, nullptr, 16));
        EXPECT_TRUE(ieee.SetShortMacAddress("wpan0", Short(value).address));
        EXPECT_EQ(Iwpan("dev wpan0", "short_addr"), seen);
    }
    EXPECT_FALSE(ieee.SetShortMacAddress("wpan0", {1, 2, 3}));
    EXPECT_FALSE(ieee.SetShortMacAddress("wpan7", {1, 2}));
    EXPECT_THAT(InterfaceTool().GetFactoryMacAddress("wpan1"),
                ElementsAre(0x02, 0x55, 0x57, 0x42, 0, 0, 0, 2));
    EXPECT_THAT(InterfaceTool().GetFactoryMacAddress("lo"), Each(0));
}

TEST_F(KernelTest, SchedulersTakeRegionsAndParameters) {
    constexpr auto kSimple = McpsScheduler::kSimpleRanging;
    constexpr McpsUtils::SlotDuration kSlot{24};
    constexpr auto kResponder = McpsUtils::NodeType::kResponder;
    ASSERT_TRUE(mcps.Start());
    EXPECT_TRUE(mcps.SetAllRegions(0));
    EXPECT_EQ(Radio(0, "scheduler"), "on_demand");
    EXPECT_EQ(Radio(0, "region 1"), "fira");
    EXPECT_EQ(Radio(0, "region 0"), "nfcc_coex");
    EXPECT_TRUE(mcps.SetScheduler(0, kSimple, McpsUtils::SlotDuration{16}, kResponder, false));
    EXPECT_TRUE(mcps.SetScheduler(0, kSimple, kSlot, McpsUtils::NodeType::kNotGiven, true));
    EXPECT_EQ(Radio(0, "scheduler"), "simple-ranging");
    EXPECT_EQ(Radio(0, "scheduler_param slot_duration"), "24");
    EXPECT_EQ(Radio(0, "scheduler_param node_type"), "1");
    EXPECT_FALSE(mcps.SetScheduler(0, McpsScheduler{7}, kSlot, kResponder, false));
    EXPECT_FALSE(mcps.SetScheduler(7, kSimple, kSlot, kResponder, false));
    InterfaceTool().SetUpState("wpan0", true);
    EXPECT_FALSE(mcps.SetRegion(0, kFiraRegion)) << "the interface is up";
    InterfaceTool().SetUpState("wpan0", false);
    EXPECT_TRUE(mcps.SetRegion(0, kSimpleRangingRegion));
    EXPECT_EQ(Radio(0, "region 0"), "simple_ranging");
}

TEST_F(KernelTest, BlockStrideOfASessionChanges) {
    FiraRegionUtils fira(&factory);
    ASSERT_TRUE(mcps.Start());
    fira.SetMcpsNetId(static_cast<uint32_t>(mcps.GetNetId()));
    ASSERT_TRUE(mcps.SetRegion(0, kFiraRegion));
    ASSERT_TRUE(fira.InitSession(0, kSession) && fira.ConfigTwrSession(0, ControllerSession()));
    EXPECT_TRUE(fira.UpdateBlockStriding(0, kSession, 7));
    EXPECT_THAT(RadioSessionDetails(0, kSession), HasSubstr(",11 7,"));
    EXPECT_TRUE(fira.DeinitSession(0, kSession));
}

}  // namespace
}  // namespace hardware::velta::device
