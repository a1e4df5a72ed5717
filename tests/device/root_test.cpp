// SPDX-License-Identifier: Apache-2.0

// Who may hold the hardware, what it consists of, and what objects do when it is closed.
#include "device_test.h"

namespace hardware::velta::device {
namespace {

using RootTest = DeviceTest;

TEST_F(RootTest, OpenWantsACallback) {
    EXPECT_EQ(Said(hal->open(nullptr)), "2: null client callback");
    EXPECT_THAT(hal.IfaceNames(), IsEmpty());
    EXPECT_EQ(hal.Open(), "OK");
}

TEST_F(RootTest, ListsInterfacesWhileOpenAndHardwareAlways) {
    std::vector<int64_t> indexes;
    EXPECT_EQ(Said(hal->listHardwareIndex(&indexes)), "OK");
    EXPECT_THAT(indexes, ElementsAre(0, 1));
    EXPECT_THAT(hal.IfaceNames(), IsEmpty());
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_THAT(hal.IfaceNames(), ElementsAre("wpan0", "wpan1"));
    EXPECT_EQ(Said(hal->close()), "OK");
    EXPECT_THAT(hal.IfaceNames(), IsEmpty());
}

// The kernel lists the newest device first: what belongs together is not a matter of places.
TEST_F(RootTest, PairsEachInterfaceWithItsOwnHardware) {
    ASSERT_EQ(hal.Open(), "OK");
    for (const int radio : {0, 1}) {
        EXPECT_EQ(FiraClient(hal, radio).Init(ControllerSession(100 + radio)), "OK");
    }
    for (const int radio : {0, 1}) {
        EXPECT_EQ(RadioState(radio).Session(100 + radio).state, "idle");
        EXPECT_EQ(RadioState(radio).Session(101 - radio).state, "none");
    }
}

TEST_F(RootTest, RefusesUnknownInterfaces) {
    std::shared_ptr<IUwbIface> iface;
    EXPECT_EQ(Said(hal->getIface("wpan0", &iface)), "2: Unknown iface wpan0");
    ASSERT_EQ(hal.Open(), "OK");
    for (const std::string name : {"wpan7", "", "lo", "wpan0 "}) {
        EXPECT_EQ(Said(hal->getIface(name, &iface)), "2: Unknown iface " + name);
    }
}

TEST_F(RootTest, ClosingWhatIsNotOpenSucceeds) {
    EXPECT_EQ(Said(hal->close()), "OK");
    EXPECT_EQ(Said(hal->close()), "OK");
    EXPECT_EQ(hal.Open(), "OK");
}

TEST_F(RootTest, RefusesASecondClientAndLeavesTheFirstAlone) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    EXPECT_EQ(hal.Open(), "3: HAL is already open");
    EXPECT_EQ(Child("device_tests --client=open").ReadLine(), "3: HAL is already open");
    EXPECT_EQ(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(hal.IfaceNames().size(), 2U);
}

// At each step of a client: what its radio is doing then.
struct ClientStep {
    const char* name;
    const char* key;
    const char* value;
};

class KilledClientTest : public RootTest, public ::testing::WithParamInterface<ClientStep> {};

TEST_P(KilledClientTest, LeavesACleanDeviceToTheNext) {
    const auto& [name, key, value] = GetParam();
    if (name == std::string("fira-stopping")) Fault("0 fira.stopped silence");
    Child first(std::string("device_tests --client=") + name);
    ASSERT_EQ(first.ReadLine(), "ready");
    ASSERT_THAT(RadioState(0)[key], StartsWith(value));
    first.Kill();
    OpenAfterDeath();
    EXPECT_EQ(RadioState(0).Unrest(), "");
    EXPECT_EQ(RadioState(0)["scheduler"], "default");
    EXPECT_EQ(RadioState(0).Session(kSession).state, "none");
    FiraClient fira(hal, 0);
    fira.Run();
    EXPECT_EQ(fira.events->reports.Take().data.blockIndex, 0);
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

// A dead client is noticed by itself, not only when the next one comes.
TEST_F(RootTest, PutsTheRadioToRestWhenTheClientDies) {
    Child client("device_tests --client=fira-running");
    ASSERT_EQ(client.ReadLine(), "ready");
    EXPECT_EQ(hal.IfaceNames().size(), 2U);
    client.Kill();
    EXPECT_TRUE(Eventually([] { return RadioState(0).Unrest().empty(); }));
    EXPECT_THAT(hal.IfaceNames(), IsEmpty());
    EXPECT_THAT(Service::NewLog(), HasSubstr("LambdaOnDeath Uwb service has died"));
}

TEST_F(RootTest, OpeningAndClosingKeepsNoDescriptor) {
    const auto once = [this] {
        ASSERT_EQ(hal.Open(), "OK");
        FiraClient(hal, 0).Run();
        ASSERT_EQ(Said(hal->close()), "OK");
    };
    once();
    const size_t before = Service::OpenDescriptors();
    for (int i = 0; i < 5; i++) once();
    EXPECT_EQ(Service::OpenDescriptors(), before);
}

// All that a client may keep, and every call on it, while the next client ranges.
TEST_F(RootTest, ObjectsKeptAfterCloseAreOfNoConsequence) {
    ASSERT_EQ(hal.Open(), "OK");
    LayOut("tag 0x1234 0 3 0");
    const auto iface = hal.Iface(0);
    FiraClient old(hal, 0);
    const auto ccc = hal.Get(0, &IUwbIface::cccController);
    const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
    old.Run();
    old.events->reports.Take();
    ASSERT_EQ(Said(hal->close()), "OK");
    EXPECT_TRUE(old.events->reports.GoesQuiet(200ms));
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    fira.Run();

    std::shared_ptr<IFiraController> no_fira;
    std::shared_ptr<ICccController> no_ccc;
    std::shared_ptr<ISimpleRangingController> same_simple;
    EXPECT_EQ(Said(iface->firaController(&no_fira)), "OK");
    EXPECT_EQ(no_fira, nullptr);
    EXPECT_EQ(Said(iface->cccController(&no_ccc)), "OK");
    EXPECT_EQ(no_ccc, nullptr);
    EXPECT_EQ(Said(iface->simpleRangingController(&same_simple)), "OK");
    EXPECT_EQ(same_simple->asBinder(), simple->asBinder());

    FiraCapabilities fira_caps;
    CccCapabilities ccc_caps;
    SimpleRangingCapabilities simple_caps;
    int64_t time0 = 0;
    EXPECT_EQ(old.Count(), 0);
    EXPECT_EQ(old.Start(), "3: You need to register callbacks on the controller first.");
    EXPECT_EQ(Said(old.controller->setSessionCallback(old.events)), "OK");
    EXPECT_EQ(old.Start(), "2: Unknown session id 42");
    EXPECT_EQ(old.Stop(), "2: Unknown session id 42");
    EXPECT_EQ(old.Deinit(), "2: Unknown session id 42");
    EXPECT_EQ(Said(old.controller->addControlees(kSession, {}, {})), "2: Unknown session id 42");
    EXPECT_EQ(Said(old.controller->reset()), "OK");
    EXPECT_EQ(Said(old.controller->getCapabilities(&fira_caps)), "OK");
    EXPECT_EQ(Said(ccc->setCallback(nullptr)), "OK");
    EXPECT_EQ(Said(ccc->getCapabilities(&ccc_caps)), "OK");
    EXPECT_EQ(Said(simple->getCapabilities(&simple_caps)), "OK");
    const std::string closed = "3: HAL is closed";
    EXPECT_EQ(old.Init(ControllerSession(43)), closed);
    EXPECT_EQ(Said(ccc->initSession()), closed);
    EXPECT_EQ(Said(ccc->startSession(1, 0, 9, &time0)), closed);
    EXPECT_EQ(Said(ccc->stopSession(1)), closed);
    EXPECT_EQ(Said(ccc->deinitSession()), closed);
    EXPECT_EQ(Said(simple->setCallback(ndk::SharedRefBase::make<SimpleEvents>())), closed);
    EXPECT_EQ(Said(simple->startInitiatorMode(1, Short(1), 9)), closed);
    EXPECT_EQ(Said(simple->startResponderMode(1, Short(1), 9)), closed);
    EXPECT_EQ(Said(simple->setRangings({})), closed);
    EXPECT_EQ(Said(simple->stop()), closed);
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_TRUE(old.events->reports.Empty());
}

TEST_F(RootTest, RadioComesToRestWhenTheServiceIsKilledAndTheNextServiceFindsItSo) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    fira.Run();
    Service::Stop("KILL");
    EXPECT_TRUE(Eventually([] { return RadioState(0).Session(kSession).state == "idle"; }));
    EXPECT_EQ(fira.controller->stopRangingSession(kSession).getStatus(), STATUS_DEAD_OBJECT);
    Service::Start();
    hal = Hal();
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_EQ(RadioState(0).Unrest(), "");
    EXPECT_EQ(RadioState(0)["scheduler"], "default");
}

}  // namespace
}  // namespace hardware::velta::device
