// SPDX-License-Identifier: Apache-2.0
#include "net/ieee_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>

#include "../log_capture.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using ::testing::ElementsAre;

class IeeeUtilsTest : public ::testing::Test {
  protected:
    IeeeUtilsTest() : ieee_(&kernel_), lo_(if_nametoindex("lo")) {
        EXPECT_TRUE(ieee_.Setup());
        EXPECT_THAT(kernel_.calls, ElementsAre("1 resolve nl802154", "1 gone"));
        kernel_.calls.clear();
    }

    static Message Phy(const std::vector<Attr>& pages) {
        return {3, {U32(1, 4), Nest(24, {Nest(2, pages)})}};
    }

    ScriptedKernel kernel_;
    IeeeUtils ieee_;
    const uint32_t lo_;  // Every host has it, and the scripted kernel does not care what it is.
    LogCapture log_;
};

TEST_F(IeeeUtilsTest, SetupReportsAMissingFamily) {
    kernel_.family = -12;
    EXPECT_FALSE(ieee_.Setup());
    EXPECT_THAT(log_.lines(),
                ElementsAre("E velta.uwb.IeeeUtils Setup Generic netlink nl802154 not found."));
    kernel_.sockets_left = 0;
    EXPECT_FALSE(ieee_.Setup());
}

TEST_F(IeeeUtilsTest, ListsDevicesAndSkipsIncompleteReplies) {
    kernel_.Reply({{7, {U32(1, 2), U32(3, 9), Text(4, "wpan0")}},
                   {7, {U32(1, 2)}},
                   {7, {Text(4, "wpan1")}},
                   {7, {Text(4, "wpan2"), U32(1, 3)}}});
    bool ok = false;
    const std::vector<DevInfo> devices = ieee_.ListDevices(&ok);
    EXPECT_TRUE(ok);
    ExpectSent(kernel_, {.cmd = 5, .flags = 0x300});
    EXPECT_THAT(kernel_.calls, ElementsAre("2 response 7", "2 gone"));
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].name, "wpan0");
    EXPECT_EQ(devices[0].phy_index, 2u);
    EXPECT_EQ(devices[1].name, "wpan2");
    EXPECT_EQ(devices[1].phy_index, 3u);
    EXPECT_EQ(log_.Count("E velta.uwb.IeeeUtils operator(): Incorrect attr in "
                         "NL802154_CMD_GET_INTERFACE dump"),
              2u);
    kernel_.Refuse();
    EXPECT_EQ(ieee_.ListDevices(&ok).size(), 0u);
    EXPECT_FALSE(ok);
}

TEST_F(IeeeUtilsTest, PhyChannelsAreThoseOfPageFour) {
    kernel_.Reply({Phy({Nest(0, {Raw(11, {}), Raw(12, {})}), Nest(0x8004, {Raw(9, {}), Raw(5, {})}),
                        Nest(6, {Raw(7, {})})})});
    PhyInfo info;
    EXPECT_TRUE(ieee_.GetPhyInfo("lo", &info));
    ExpectSent(kernel_, {1, {U32(3, lo_)}});
    EXPECT_EQ(info.phy_index, 4u);
    EXPECT_THAT(info.channels, ElementsAre(9, 5));
    kernel_.Reply({Phy({Nest(4, {Raw(6, {})})})});
    EXPECT_TRUE(ieee_.GetPhyInfo("lo", &info));
    EXPECT_THAT(info.channels, ElementsAre(9, 5, 6));
}

TEST_F(IeeeUtilsTest, PhyWithoutPageFourHasNoChannels) {
    kernel_.Reply({Phy({Nest(0, {Raw(11, {})})})});
    PhyInfo info;
    EXPECT_TRUE(ieee_.GetPhyInfo("lo", &info));
    EXPECT_THAT(info.channels, ElementsAre());
}

TEST_F(IeeeUtilsTest, BadPhyRepliesAreNotFound) {
    const struct {
        std::vector<Attr> attrs;
        std::string line;
    } kCases[] = {
        {{Raw(1, {4}), Nest(24, {})}, "Failed to parse CMD_GET_WPAN_PHY"},
        {{U32(1, 4)}, "Incorrect attr in CMD_GET_WPAN_PHY response"},
        {{Nest(24, {})}, "Incorrect attr in CMD_GET_WPAN_PHY response"},
        {{U32(1, 4), Nest(24, {U32(1, 0)})},
         "Incorrect NL802154_CAP_ATTR_CHANNELS in CMD_GET_WPAN_PHY"},
    };
    for (const auto& [attrs, line] : kCases) {
        kernel_.Reply({{3, attrs}});
        PhyInfo info;
        EXPECT_FALSE(ieee_.GetPhyInfo("lo", &info));
        EXPECT_EQ(log_.lines().back(), "E velta.uwb.IeeeUtils operator(): " + line);
    }
    PhyInfo info;
    kernel_.answers.push_back({.ok = false, .messages = {Encode(Phy({}))}});
    EXPECT_FALSE(ieee_.GetPhyInfo("lo", &info));
}

TEST_F(IeeeUtilsTest, SetsChannelsOfPageFourUpToFifteen) {
    for (const int channel : {0, 9, 15}) {
        kernel_.sent.clear();
        EXPECT_TRUE(ieee_.SetChannel("lo", channel));
        ExpectSent(kernel_, {9, {U32(3, lo_), U8(7, 4), U8(8, static_cast<uint8_t>(channel))}});
    }
    kernel_.sent.clear();
    for (const int channel : {16, -1, 256}) EXPECT_FALSE(ieee_.SetChannel("lo", channel));
    EXPECT_THAT(kernel_.sent, ElementsAre());
    EXPECT_EQ(log_.Count("I velta.uwb.IeeeUtils SetChannel: Set channel to -1"), 1u);
}

TEST_F(IeeeUtilsTest, SetsPanIdAndShortAddressInHostOrder) {
    EXPECT_TRUE(ieee_.SetPanId("lo", 0xBEEF));
    ExpectSent(kernel_, {10, {U32(3, lo_), U16(9, 0xBEEF)}});
    EXPECT_EQ(log_.lines().back(), "I velta.uwb.IeeeUtils SetPanId: Set pan id to 48879");
    kernel_.sent.clear();
    EXPECT_TRUE(ieee_.SetShortMacAddress("lo", {0x12, 0x34}));
    ExpectSent(kernel_, {11, {U32(3, lo_), U16(10, 0x1234)}});
}

TEST_F(IeeeUtilsTest, RefusesShortAddressesOfAnotherSize) {
    EXPECT_FALSE(ieee_.SetShortMacAddress("lo", {1, 2, 3}));
    EXPECT_FALSE(ieee_.SetShortMacAddress("lo", {}));
    EXPECT_THAT(kernel_.sent, ElementsAre());
    EXPECT_THAT(log_.lines(),
                ElementsAre("E velta.uwb.IeeeUtils SetShortMacAddress: Incorrect short address, "
                            "size is 3",
                            "E velta.uwb.IeeeUtils SetShortMacAddress: Incorrect short address, "
                            "size is 0"));
}

TEST_F(IeeeUtilsTest, MissingInterfaceFailsEveryOperationWithTheReason) {
    PhyInfo info;
    EXPECT_FALSE(ieee_.GetPhyInfo("uwb_missing", &info));
    EXPECT_FALSE(ieee_.SetChannel("uwb_missing", 5));
    EXPECT_FALSE(ieee_.SetPanId("uwb_missing", 5));
    EXPECT_FALSE(ieee_.SetShortMacAddress("uwb_missing", {1, 2}));
    EXPECT_THAT(kernel_.sent, ElementsAre());
    EXPECT_EQ(log_.Count("E velta.uwb.IeeeUtils SetIeeeCommand: Failed to resolve iface "
                         "uwb_missing: No such device"),
              4u);
}

TEST_F(IeeeUtilsTest, RefusalsAreReported) {
    for (int i = 0; i < 3; i++) kernel_.Refuse();
    EXPECT_FALSE(ieee_.SetChannel("lo", 5));
    EXPECT_FALSE(ieee_.SetPanId("lo", 5));
    EXPECT_FALSE(ieee_.SetShortMacAddress("lo", {1, 2}));
    EXPECT_EQ(kernel_.sent.size(), 3u);
}

}  // namespace
}  // namespace hardware::velta
