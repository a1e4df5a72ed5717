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

// Whatever it was doing for its client, which has to find it out.
TEST_F(RootTest, AKilledServiceLeavesACleanRadioToTheNext) {
    for (const char* step : {"open", "fira-initialised", "fira-running", "fira-stopping",
                             "ccc-initialised", "ccc-running", "simple-running"}) {
        const ClientProcess client(step);
        ASSERT_EQ(client.said, "OK") << step;
        RestartService("", "KILL");
        std::vector<std::string> names;
        EXPECT_EQ(hal->listIfaceNames(&names).getStatus(), STATUS_DEAD_OBJECT) << step;
        hal = Hal();
        ASSERT_EQ(hal.Open(), "OK");
        EXPECT_EQ(RadioUnrest(0), "") << step;
        EXPECT_EQ(Radio(0, "scheduler"), "default") << step;
        FiraClient fira(hal, 0);
        fira.Run();
        EXPECT_EQ(fira.Next().data.blockIndex, 0) << step;
        ASSERT_EQ(Said(hal->close()), "OK") << step;
    }
}

}  // namespace
}  // namespace hardware::velta::device
