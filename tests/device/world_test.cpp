// SPDX-License-Identifier: Apache-2.0

// What the simulated radios cannot do, as no radio could; and the scenes that arrange their world.
#include <algorithm>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

using WorldTest = OpenTest;

// Slot in RSTU (1200 are 1 ms), slots, block in ms, controlees; and whether a radio can do it.
TEST_F(WorldTest, RefusesTimingThatNoRadioCouldKeep) {
    FiraClient fira(hal, 0);
    const struct {
        int slot, slots, block, controlees;
        bool possible;
    } cases[] = {
        {2400, 20, 1, 1, false},  {2400, 20, 39, 1, false},     {2400, 20, 40, 1, true},
        {2401, 20, 40, 1, false}, {65535, 255, 13927, 1, true}, {65535, 255, 13926, 1, false},
        {239, 10, 50, 1, false},  {240, 10, 50, 1, true},       {2400, 1, 50, 1, false},
        {2400, 2, 50, 1, true},   {2400, 4, 50, 4, false},      {2400, 5, 50, 4, true},
    };
    for (const auto& it : cases) {
        FiraTwrSession session = ControllerSession();
        session.slotDurationRstu = it.slot;
        session.slotsPerRangingRound = it.slots;
        session.rangingBlockDurationMs = it.block;
        for (int i = 1; i < it.controlees; i++) {
            session.destAddressList.push_back(Short(static_cast<uint16_t>(0x100 + i)));
        }
        EXPECT_EQ(fira.Init(session), it.possible ? "OK" : "1: Unsupported operation")
            << it.slot << " x " << it.slots << " in " << it.block << " for " << it.controlees;
        if (it.possible) EXPECT_EQ(fira.Start(), "OK");
        EXPECT_EQ(fira.Reset(), "OK");
    }
    // Nor can a running one take more than it has slots for: ten, and the first is its own.
    fira.Run();
    Addresses more;
    for (int i = 1; i <= 9; i++) more.push_back(Short(static_cast<uint16_t>(0x100 + i)));
    EXPECT_EQ(fira.Add(kSession, more), "OK");
    EXPECT_THAT(fira.Event(), StartsWith("add failed 42"));
    more.pop_back();
    EXPECT_EQ(fira.Add(kSession, more), "OK");
    EXPECT_THAT(fira.Event(), StartsWith("added 42"));
}

TEST_F(WorldTest, WhoIsOutOfRangeDoesNotAnswer) {
    const struct {
        const char* world;
        bool answers;
    } cases[] = {
        {"tag 0x1234 0 199.9 0", true},
        {"tag 0x1234 0 200.1 0", false},
        {"tag 0x1234 120 120 120", false},
        {"tag 0x1234 0 40000 0", false},
        {"tag 0x1234 0 40000 0\nrange 40000.1", true},
        {"range 5.5\ntag 0x1234 0 0 5.4", true},
        {"range 5.5\ntag 0x1234 0 0 -5.6", false},
    };
    FiraClient fira(hal, 0);
    fira.Run();
    for (const auto& [world, answers] : cases) {
        LayOut("noise 0\n"s + world);
        EXPECT_EQ(fira.Fresh().measurements.at(0).status, answers ? 0 : 0x21) << world;
    }
}

TEST_F(WorldTest, ScenesBeginFromNothingAndPathsEnd) {
    const auto bodies = [] {
        const std::string world = ReadText("/sys/kernel/debug/mcps802154_sim/world");
        return std::count(world.begin(), world.end(), '\n') - 1;
    };
    WriteText("/tmp/one.scene", "path 0x1234 0 0 1 0 0.1 1 1 0\ntag 0x5678 0 3 0 1 0 0\n");
    WriteText("/tmp/none.scene", "# The radios alone.\n");
    Shell("scene /tmp/one.scene");
    EXPECT_EQ(bodies(), 4);
    Shell("scene /tmp/none.scene; sleep 0.3");
    EXPECT_EQ(bodies(), 2) << ReadText("/sys/kernel/debug/mcps802154_sim/world");
}

TEST_F(WorldTest, AMistakeInASceneLeavesTheWorldAlone) {
    LayOut("tag 0x1234 0 3 0");
    // There are two radios here, which the scene's text alone does not say.
    WriteText("/tmp/bad.scene", "# A comment\nnoise 0\nradio 2 0 0 0\n");
    EXPECT_THAT(Shell("scene /tmp/bad.scene 2>&1 || true"),
                StartsWith("uwbctl: /tmp/bad.scene:3: 2: no such radio"));
    EXPECT_THAT(ReadText("/sys/kernel/debug/mcps802154_sim/world"), HasSubstr("tag 0x1234 "));
}

}  // namespace
}  // namespace hardware::velta::device
