// SPDX-License-Identifier: Apache-2.0

// Who may hold the hardware, what it consists of, and what objects do when it is closed.
#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

using RootTest = DeviceTest;

TEST_F(RootTest, ListsHardwareBeforeAnyoneHasOpened) {
    RestartService();
    hal = Hal();
    std::vector<int64_t> indexes;
    EXPECT_EQ(Said(hal->listHardwareIndex(&indexes)), "OK");
    EXPECT_THAT(indexes, ElementsAre(0, 1));
}

// The kernel lists the newest device first: what belongs together is not a matter of places.
TEST_F(RootTest, PairsEachInterfaceWithItsOwnHardware) {
    ASSERT_EQ(hal.Open(), "OK");
    for (const int radio : {0, 1}) {
        EXPECT_EQ(FiraClient(hal, radio).Init(ControllerSession(100 + radio)), "OK");
        EXPECT_EQ(RadioSession(radio, 100 + radio), "idle");
        EXPECT_EQ(RadioSession(1 - radio, 100 + radio), "none");
    }
}

TEST_F(RootTest, OpeningAndClosingKeepsNoDescriptor) {
    const auto once = [this] {
        ASSERT_EQ(hal.Open(), "OK");
        FiraClient(hal, 0).Run();
        ASSERT_EQ(Said(hal->close()), "OK");
    };
    once();
    const auto before = ServiceDescriptors();
    for (int i = 0; i < 5; i++) once();
    EXPECT_EQ(ServiceDescriptors(), before);
}

TEST_F(RootTest, RadioComesToRestWhenTheServiceIsKilled) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    fira.Run();
    RestartService("", "KILL");
    EXPECT_EQ(fira.fira->stopRangingSession(kSession).getStatus(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(RadioSession(0, kSession), "idle");
    hal = Hal();
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_EQ(RadioUnrest(0), "") << "the next service puts the interface down as well";
    EXPECT_EQ(Radio(0, "scheduler"), "default");
}

}  // namespace
}  // namespace hardware::velta::device
