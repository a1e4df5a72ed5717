// SPDX-License-Identifier: Apache-2.0

// Which hardware there is, who may hold it, and what becomes of what ran when its client has gone.
#include <signal.h>

#include <algorithm>
#include <cerrno>

#include "conformance/check.h"
#include "net/ieee_utils.h"
#include "net/interface_tool.h"
#include "net/mcps_utils.h"

namespace hardware::velta::conformance {
namespace {

using ::testing::IsSupersetOf;

class HardwareCheck : public Check {
  protected:
    std::vector<std::string> Ifaces() {
        std::vector<std::string> names;
        EXPECT_EQ(Said(hal->listIfaceNames(&names)), "OK");
        return names;
    }
};

CONFORMANCE_CHECK(HardwareCheck, ListsInterfacesWhileOpen, NEEDS(),
                  "driver and kernel are there, and the service has found the radio's interface",
                  "family mcps802154; HW_QUERY as a dump with HW and PHY_NAME, \"phy\" and the "
                  "number of the PHY that the interface belongs to") {
    const std::string name = TheTarget().interfaces[0];
    std::vector<int64_t> indexes;
    EXPECT_EQ(Said(hal->listHardwareIndex(&indexes)), "OK");
    EXPECT_THAT(indexes, ::testing::Not(::testing::IsEmpty()));
    EXPECT_EQ(Said(hal->close()), "OK") << "whether it was open or not";
    EXPECT_EQ(Said(hal->open(nullptr)), "2: null client callback");
    EXPECT_THAT(Ifaces(), ElementsAre());
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_THAT(Ifaces(), IsSupersetOf({name}));
    EXPECT_EQ(Said(hal->close()), "OK");
    EXPECT_THAT(Ifaces(), ElementsAre());
}

CONFORMANCE_CHECK(HardwareCheck, EveryInterfaceHasChannelsAndAnAddress, NEEDS(Need::kNetAdmin),
                  "the kernel knows the radio's channels and its own address",
                  "channel page 4 of the PHY with the channels that the chip has; a permanent "
                  "extended address") {
    NlSocketFactory factory(nullptr);
    IeeeUtils ieee(&factory);
    ASSERT_TRUE(ieee.Setup());
    for (const std::string& name : TheTarget().interfaces) {
        if (name.empty()) continue;
        PhyInfo phy;
        EXPECT_TRUE(ieee.GetPhyInfo(name.c_str(), &phy)) << name;
        EXPECT_THAT(phy.channels, ::testing::Contains(TheTarget().channel)) << name;
        const auto address = InterfaceTool().GetFactoryMacAddress(name.c_str());
        EXPECT_NE(address, decltype(address){}) << name;
    }
}

CONFORMANCE_CHECK(
    HardwareCheck, EverySchedulerAndRegionCanBeSelected, NEEDS(Need::kNetAdmin),
    "the driver has all that FiRa, CCC and simple ranging run on, and no radio more",
    "SCHEDULER_SET of default, endless with the region fira or nfcc_coex, and "
    "simple-ranging; HW_QUERY names the scheduler that is set; an error for a hardware "
    "that is not there") {
    NlSocketFactory factory(nullptr);
    McpsUtils mcps(&factory);
    ASSERT_TRUE(mcps.Start());
    bool ok = false;
    uint32_t beyond = 0;
    for (const McpsHwInfo& hw : mcps.ListHardware(&ok)) {
        const auto scheduler = [&] { return mcps.GetHardwareInfo(hw.hw_index, &ok).scheduler; };
        for (const McpsRegion& region : {kFiraRegion, kNfccCoexRegion}) {
            EXPECT_TRUE(mcps.SetRegion(hw.hw_index, region)) << region.ToString();
            EXPECT_EQ(scheduler(), "endless");
        }
        EXPECT_TRUE(mcps.SetScheduler(hw.hw_index, McpsScheduler::kSimpleRanging,
                                      McpsUtils::SlotDuration{16}, McpsUtils::NodeType::kResponder,
                                      false));
        EXPECT_EQ(scheduler(), "simple-ranging");
        EXPECT_TRUE(mcps.SetScheduler(hw.hw_index, McpsScheduler::kDefault,
                                      McpsUtils::SlotDuration::kNotGiven,
                                      McpsUtils::NodeType::kNotGiven, false));
        EXPECT_EQ(scheduler(), "default");
        beyond = std::max(beyond, hw.hw_index + 1);
    }
    EXPECT_TRUE(ok && beyond > 0);
    EXPECT_FALSE(mcps.SetRegion(beyond, kFiraRegion));
}

CONFORMANCE_CHECK(
    HardwareCheck, NamesItsSpiThreads, NEEDS(Need::kNetAdmin),
    "the threads that serve the chip can be made real-time",
    "CALIBRATION_GET with spi_pid and kt7100_pid: process ids, four bytes each, 0 for "
    "none") {
    NlSocketFactory factory(nullptr);
    McpsUtils mcps(&factory);
    ASSERT_TRUE(mcps.Start());
    bool ok = false;
    for (const McpsHwInfo& hw : mcps.ListHardware(&ok)) {
        McpsUtils::SpiPids pids = {};
        EXPECT_TRUE(mcps.GetSpiPids(hw.hw_index, pids));
        for (const uint32_t pid : {pids.spi_pid, pids.kt7100_pid}) {
            EXPECT_TRUE(pid == 0 || kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM) << pid;
        }
    }
    EXPECT_TRUE(ok);
}

CONFORMANCE_CHECK(HardwareCheck, UnknownInterfacesAreRefused, NEEDS(),
                  "only interfaces of UWB radios are handed out", "nothing") {
    std::shared_ptr<IUwbIface> iface;
    const std::string known = TheTarget().interfaces[0];
    EXPECT_EQ(Said(hal->getIface(known, &iface)), "2: Unknown iface " + known) << "it is closed";
    ASSERT_EQ(hal.Open(), "OK");
    for (const std::string& name : {"wpan77"s, ""s, "lo"s, known + " "}) {
        EXPECT_EQ(Said(hal->getIface(name, &iface)), "2: Unknown iface " + name);
    }
}

// ---- Clients ----

CONFORMANCE_CHECK(HardwareCheck, RefusesASecondClientAndLeavesTheFirstAlone, NEEDS(),
                  "the hardware belongs to one client at a time", "nothing") {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    EXPECT_EQ(hal.Open(), "3: HAL is already open");
    EXPECT_EQ(ClientProcess("open").said, "3: HAL is already open");
    EXPECT_EQ(fira.Init(ControllerSession()), "OK");
}

CONFORMANCE_CHECK(HardwareCheck, AKilledClientLeavesACleanDeviceToTheNext, NEEDS(),
                  "whatever a client was doing when it died, the next one can begin",
                  "the interface going down ends FiRa, CCC and simple ranging; SCHEDULER_SET drops "
                  "the sessions of the regions that were set") {
    for (const char* step : {"fira-initialised", "fira-running", "fira-stopping", "ccc-initialised",
                             "ccc-running", "simple-running"}) {
        SCOPED_TRACE(step);
        ASSERT_EQ(ClientProcess(step).said, "OK");
        // The service notices by itself, and refuses others until then.
        EXPECT_TRUE(Eventually([] { return !IsUp(0); }));
        ASSERT_TRUE(Eventually([this] { return hal.Open() == "OK"; }));
        FiraClient fira(hal, 0);
        fira.Run();
        EXPECT_EQ(fira.Next().data.blockIndex, 0);
        ASSERT_EQ(Said(hal->close()), "OK");
    }
}

CONFORMANCE_CHECK(HardwareCheck, SessionsStopWhenTheInterfaceGoesDown, NEEDS(Need::kNetAdmin),
                  "whoever takes the interface down ends what runs, and the client is told",
                  "the notification STOPPED of each FiRa session, with a reason other than 0, when "
                  "the interface goes down") {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    fira.Run();
    ASSERT_TRUE(InterfaceTool().SetUpState(TheTarget().interfaces[0].c_str(), false));
    const std::string event = fira.Event();
    EXPECT_TRUE(event.starts_with("stopped 42 ") && event != "stopped 42 0") << event;
    EXPECT_EQ(fira.Start(), "OK") << "and it can go on";
    EXPECT_EQ(fira.Next().data.blockIndex, 0);
}

CONFORMANCE_CHECK(HardwareCheck, ObjectsKeptAfterCloseAreOfNoConsequence, NEEDS(),
                  "what a client keeps when it closes the hardware cannot disturb the next one",
                  "the interface going down ends what runs, and its notifications") {
    ASSERT_EQ(hal.Open(), "OK");
    const auto iface = hal.Iface(0);
    FiraClient old(hal, 0);
    const auto ccc = hal.Get(0, &IUwbIface::cccController);
    const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
    const auto channels = old.Capabilities().supportedChannels;
    old.Run();
    old.Next();
    ASSERT_EQ(Said(hal->close()), "OK");
    EXPECT_TRUE(old.GoesQuiet());
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    fira.Run();

    std::shared_ptr<IFiraController> no_fira;
    std::shared_ptr<ICccController> no_ccc;
    std::shared_ptr<ISimpleRangingController> same_simple;
    CccCapabilities ccc_caps;
    SimpleRangingCapabilities simple_caps;
    int64_t time0 = 0;
    const int channel = TheTarget().channel;
    EXPECT_THAT(
        (std::vector{Said(iface->firaController(&no_fira)), Said(iface->cccController(&no_ccc)),
                     Said(iface->simpleRangingController(&same_simple)), old.Reset(),
                     Said(old.fira->setSessionCallback(old.events)), Said(ccc->setCallback({})),
                     Said(ccc->getCapabilities(&ccc_caps)), Said(ccc->deinitSession()),
                     Said(simple->getCapabilities(&simple_caps))}),
        Each("OK"));
    EXPECT_EQ(no_fira, nullptr);
    EXPECT_EQ(no_ccc, nullptr);
    EXPECT_EQ(same_simple->asBinder(), simple->asBinder());
    EXPECT_EQ(old.Count(), 0);
    EXPECT_EQ(old.Capabilities().supportedChannels, channels) << "as it was when it was closed";
    EXPECT_THAT((std::vector{old.Start(), old.Stop(), old.Deinit(), old.Add(kSession, {}),
                             old.Update(ControllerSession())}),
                Each("2: Unknown session id 42"));
    EXPECT_EQ(Said(ccc->startSession(1, -1, channel, &time0)), "2: Delay cannot be negative");
    EXPECT_THAT(
        (std::vector{old.Init(ControllerSession(43)), Said(ccc->initSession()),
                     Said(ccc->startSession(1, 0, channel, &time0)), Said(ccc->stopSession(1)),
                     Said(simple->setRangings({})),
                     Said(simple->setCallback(SharedRefBase::make<SimpleEvents>())),
                     Said(simple->startInitiatorMode(1, Short(1), channel)),
                     Said(simple->startResponderMode(1, Short(1), channel)), Said(simple->stop())}),
        Each("3: HAL is closed"));
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_TRUE(old.events->reports.Empty());
}

// ---- Calibration ----

CONFORMANCE_CHECK(
    HardwareCheck, CountriesAreCalibrated, NEEDS(),
    "calibration is in place for a country with a file, one without, and none, and "
    "the radio ranges with it",
    "CALIBRATION_SET of every key in the device's calibration files, answered with the "
    "keys that were refused, none; with the interface down") {
    ASSERT_EQ(hal.Open(), "OK");
    for (const std::string& country : {""s, "ZZ"s, TheTarget().country}) {
        EXPECT_EQ(Said(hal->applyCountryRestriction(country)), "OK") << country;
        EXPECT_FALSE(IsUp(0)) << country;
    }
    FiraClient fira(hal, 0);
    fira.Run();
    EXPECT_EQ(fira.Next().data.blockIndex, 0);
}

}  // namespace
}  // namespace hardware::velta::conformance
