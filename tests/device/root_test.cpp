// SPDX-License-Identifier: Apache-2.0

// Who may hold the hardware, what it consists of, and what objects do when it is closed.
#include <filesystem>

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

// At each step of a client: what its radio is doing then.
struct ClientStep {
    const char *step, *key, *value;
};

class KilledClientTest : public RootTest, public ::testing::WithParamInterface<ClientStep> {};

TEST_P(KilledClientTest, LeavesACleanDeviceToTheNext) {
    const auto& [step, key, value] = GetParam();
    if (step == "fira-stopping"s) Fault("0 fira.stopped silence");
    {
        const ClientProcess first(step);
        ASSERT_EQ(first.said, "OK");
        ASSERT_THAT(Radio(0, key), StartsWith(value));
    }
    // The service notices by itself, and refuses others until then.
    EXPECT_TRUE(Eventually([] { return RadioUnrest(0).empty(); }));
    EXPECT_TRUE(Eventually([this] { return hal.Open() == "OK"; }));
    EXPECT_EQ(Radio(0, "scheduler"), "default");
    EXPECT_EQ(RadioSession(0, kSession), "none");
    FiraClient fira(hal, 0);
    fira.Run();
    EXPECT_EQ(fira.Next().data.blockIndex, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, KilledClientTest,
    ::testing::Values(ClientStep{"open", "scheduler", "default"},
                      ClientStep{"fira-initialised", "fira_session 42", "state idle"},
                      ClientStep{"fira-running", "fira_session 42", "state running"},
                      ClientStep{"fira-stopping", "fira_session 42", "state "},
                      ClientStep{"ccc-initialised", "region", "0 nfcc_coex"},
                      ClientStep{"ccc-running", "ccc", "state running"},
                      ClientStep{"simple-running", "simple_ranging", "portid"}),
    [](const auto& info) { return "Client" + std::to_string(info.index); });

TEST_F(RootTest, OpeningAndClosingKeepsNoDescriptor) {
    const auto once = [this] {
        ASSERT_EQ(hal.Open(), "OK");
        FiraClient(hal, 0).Run();
        ASSERT_EQ(Said(hal->close()), "OK");
    };
    const auto descriptors = [] {
        const std::filesystem::directory_iterator folder("/proc/" + std::to_string(ServicePid()) +
                                                         "/fd");
        return std::distance(begin(folder), end(folder));
    };
    once();
    const auto before = descriptors();
    for (int i = 0; i < 5; i++) once();
    EXPECT_EQ(descriptors(), before);
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
