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

TEST_F(RootTest, ListsInterfacesWhileOpen) {
    EXPECT_EQ(Said(hal->close()), "OK") << "whether it was open or not";
    EXPECT_EQ(Said(hal->open(nullptr)), "2: null client callback");
    EXPECT_EQ(hal.Ifaces(), "");
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_EQ(hal.Ifaces(), "wpan0 wpan1 ");
    EXPECT_EQ(Said(hal->close()), "OK");
    EXPECT_EQ(hal.Ifaces(), "");
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

TEST_F(RootTest, RefusesASecondClientAndLeavesTheFirstAlone) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    EXPECT_EQ(hal.Open(), "3: HAL is already open");
    EXPECT_EQ(ClientProcess("open").said, "3: HAL is already open");
    EXPECT_EQ(fira.Init(ControllerSession()), "OK");
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

// All that a client may keep, and every call on it, while the next client ranges.
TEST_F(RootTest, ObjectsKeptAfterCloseAreOfNoConsequence) {
    LayOut("tag 0x1234 0 3 0");
    ASSERT_EQ(hal.Open(), "OK");
    const auto iface = hal.Iface(0);
    FiraClient old(hal, 0);
    const auto ccc = hal.Get(0, &IUwbIface::cccController);
    const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
    old.Run();
    old.Next();
    ASSERT_EQ(Said(hal->close()), "OK");
    EXPECT_TRUE(old.GoesQuiet());
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    fira.Run();

    std::shared_ptr<IFiraController> no_fira;
    int64_t time0 = 0;
    EXPECT_THAT(
        (std::vector{Said(iface->firaController(&no_fira)), old.Reset(),
                     Said(old.fira->setSessionCallback(old.events)), Said(ccc->deinitSession())}),
        Each("OK"));
    EXPECT_EQ(no_fira, nullptr);
    EXPECT_EQ(old.Count(), 0);
    EXPECT_THAT((std::vector{old.Start(), old.Stop(), old.Deinit(), old.Add(kSession, {}),
                             old.Update(ControllerSession())}),
                Each("2: Unknown session id 42"));
    EXPECT_THAT(
        (std::vector{old.Init(ControllerSession(43)), Said(ccc->initSession()),
                     Said(ccc->startSession(1, 0, 9, &time0)), Said(ccc->stopSession(1)),
                     Said(simple->setRangings({})),
                     Said(simple->startInitiatorMode(1, Short(1), 9)), Said(simple->stop())}),
        Each("3: HAL is closed"));
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_TRUE(old.events->reports.Empty());
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
