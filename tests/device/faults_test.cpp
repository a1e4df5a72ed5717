// SPDX-License-Identifier: Apache-2.0

// A kernel that refuses, keeps silent, is late, talks nonsense or is not there at all.
#include <android-base/strings.h>

#include "device_test.h"

namespace hardware::velta::device {
namespace {

class FaultTest : public DeviceTest {
  protected:
    // All of a session's life; what failed first, and the answer, or "done".
    std::string Live(FiraClient* fira, const FiraTwrSession& session) {
        std::string said;
        if ((said = fira->Init(session)) != "OK") return "init " + said;
        if ((said = fira->Start()) != "OK") return "start " + said;
        if ((said = fira->Stop()) != "OK") return "stop " + said;
        if ((said = fira->events->events.Take()) != "stopped 42 0") return said;
        if ((said = fira->Deinit()) != "OK") return "deinit " + said;
        return "done";
    }
};

TEST_F(FaultTest, OpensWithWhatTheKernelTells) {
    const struct {
        const char* fault;
        const char* ifaces;
        const char* log;
    } cases[] = {
        {"0 hw_dump errno 5", "", "Nl error: -5"},
        {"0 hw_dump silence", "", "Error reading message: Try again"},
        {"* hw_dump cmd 5 times 2", "", "Incorrect received command, got 5 instead of 2"},
        {"0 hw_dump late 300", "wpan0 wpan1 ", ""},
        {"0 hw_dump drop 2", "wpan1 ", "Missing mcps attribute"},
        {"0 hw_dump drop 1", "wpan1 ", "Missing mcps attribute"},
        {"1 hw_dump set 2 7770616e3100", "wpan0 ", ""},
        {"0 hw_dump drop 3", "wpan0 wpan1 ", ""},
        {"0 hw_query errno 5", "wpan0 wpan1 ", "Failed to set default scheduler"},
        {"0 hw_query drop 3", "wpan0 wpan1 ", ""},
        {"0 hw_query set 3 7800\n0 scheduler_set errno 16", "wpan0 wpan1 ",
         "SetDefaultScheduler: Failed to set scheduler"},
        {"0 calibration_get errno 5", "wpan0 wpan1 ", "Failed to retrieve spi processes"},
        {"0 calibration_get resize 10.*.2 1", "wpan0 wpan1 ", ""},
        {"0 calibration_get set 10.*.2 ffffff7f", "wpan0 wpan1 ",
         "Failed to change scheduler for spi, got error: -1"},
    };
    for (const auto& [fault, ifaces, log] : cases) {
        Service::NewLog();
        Fault(fault);
        ASSERT_EQ(hal.Open(), "OK");
        std::string names;
        for (const std::string& name : hal.IfaceNames()) names += name + " ";
        EXPECT_EQ(names, ifaces) << fault;
        EXPECT_THAT(Service::NewLog(), HasSubstr(log)) << fault;
        ASSERT_EQ(Said(hal->close()), "OK");
    }
    std::vector<int64_t> indexes;
    Fault("0 hw_dump errno 5");
    EXPECT_EQ(Said(hal->listHardwareIndex(&indexes)), "1: Failed to list hardware");
}

TEST_F(FaultTest, SaysWhichStepOfASessionFailed) {
    const std::pair<const char*, const char*> cases[] = {
        {"0 scheduler_set errno 16", "init 1: Unsupported operation"},
        {"0 fira.init errno 28", "init 1: Unsupported operation"},
        {"0 fira.init silence", "init 1: Unsupported operation"},
        {"0 fira.set_params errno 22", "init 1: Unsupported operation"},
        {"0 fira.new_controlee errno 28", "init 1: Unsupported operation"},
        {"0 fira.start errno 100", "start 1: Unsupported operation"},
        {"0 fira.start noack", "start 1: Unsupported operation"},
        {"0 fira.stop errno 5", "stop 1: Unsupported operation"},
        {"0 fira.deinit errno 16", "deinit 1: Unsupported operation"},
        {"0 region_call late 15 always", "done"},
    };
    for (const auto& [fault, outcome] : cases) {
        ASSERT_EQ(hal.Open(), "OK");
        FiraClient fira(hal, 0);
        Fault(fault);
        EXPECT_EQ(Live(&fira, ControllerSession()), outcome) << fault;
        Fault("clear");
        if (outcome == std::string("stop 1: Unsupported operation")) fira.Halt();
        if (outcome == std::string("deinit 1: Unsupported operation")) {
            EXPECT_EQ(fira.Deinit(), "OK");
        }
        EXPECT_EQ(RadioState(0).Session(kSession).state == "running", false) << fault;
        // A start that failed gives the channel up, and the session may start after all.
        FiraTwrSession session = ControllerSession(43);
        session.channelNumber = outcome == std::string("done") ? 9 : 5;
        if (outcome == std::string("start 1: Unsupported operation")) {
            EXPECT_EQ(fira.Init(session), "OK") << fault;
            EXPECT_EQ(fira.Start(), "OK") << fault;
        }
        ASSERT_EQ(Said(hal->close()), "OK");
    }
}

TEST_F(FaultTest, TellsOfControleesThatTheRadioRefuses) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    Fault("0 fira.new_controlee errno 28\n0 fira.del_controlee errno 5");
    EXPECT_EQ(Said(fira.controller->addControlees(kSession, {Short(2)}, {})), "OK");
    EXPECT_EQ(fira.events->events.Take(), "add failed 42 0002 0");
    EXPECT_EQ(Said(fira.controller->removeControlees(kSession, {Short(0x1234)})), "OK");
    EXPECT_EQ(fira.events->events.Take(), "remove failed 42 1234 0");
}

// The first report of a session arrives malformed: what the client gets first, and the log.
TEST_F(FaultTest, DropsOnlyWhatIsMalformed) {
    LayOut("tag 0x1234 0 3 0\ntag 0x5678 0 3 0");
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    FiraTwrSession session = ControllerSession();
    session.destAddressList.push_back(Short(0x5678));
    ASSERT_EQ(fira.Init(session), "OK");
    const struct {
        const char* fault;
        const char* first;
        const char* log;
    } cases[] = {
        {"drop 8.5.4.3", "0: 1234 5678", ""},
        {"set 8.5.4.5.1.3 22", "0: 1234/34 5678", ""},
        {"drop 8.5.4.5.1.7", "0: 5678", "Missing fields in ranging measurement"},
        {"drop 8.5.4.5.1.1", "0: 5678", "Missing addr or status in ranging measurement"},
        {"drop 8.5.4.5.2.3", "0: 1234", "Missing addr or status in ranging measurement"},
        {"append 8.5.4.5.1 2 -", "0: 5678", "Stop ranging with peer."},
        {"resize 8.5.4.5.1.7 2", "0: 5678", "Failed to parse ranging measurement"},
        {"resize 8.5.4.5.1.9.2 1", "0: 1234 5678", "Failed to parse aoa data measurement"},
        {"drop 8.5.4.5.1.9.4", "0: 1234 5678", "Missing aoa data measurement fields"},
        {"drop 8.5.4.4", "1: 1234 5678", "Missing ranging data attr"},
        {"drop 8.5.4.5", "1: 1234 5678", "Missing ranging data attr"},
        {"resize 8.5.4.4 1", "1: 1234 5678", "Failed to parse session ntf call attr"},
        {"drop 8.5.4", "1: 1234 5678", "Missing session ntf call attrs"},
        {"drop 8.5.1", "1: 1234 5678", "Missing session ntf call attrs"},
        {"resize 8.5.1 2", "1: 1234 5678", "Failed to parse session ntf call attr"},
        {"set 8.4 09000000", "1: 1234 5678", "Not a ranging notification message."},
        {"set 1 07000000", "1: 1234 5678", "No callback for hw index: 7"},
        {"drop 8.5", "1: 1234 5678", "fira: Missing region call params in mcps message"},
        {"drop 8.4", "1: 1234 5678", "fira: Missing region call in mcps message"},
        {"drop 8.2", "1: 1234 5678", "fira: Missing region name in mcps message"},
        {"set 8.2 6e6663635f636f657800", "1: 1234 5678", "fira: Missing region name"},
        {"resize 8.4 2", "1: 1234 5678", "Incorrect MCPS802154_ATTR_SCHEDULER_REGION_CALL"},
        {"drop 8", "1: 1234 5678", "Missing MCPS802154_ATTR_HW or MCPS802154_ATTR_SCHEDULER"},
        {"resize 1 2", "1: 1234 5678", "fira: Message doesn't respect policy"},
        {"cmd 6", "1: 1234 5678", "fira: Incorrect command received: 6"},
        {"cut 10000", "1: 1234 5678", "fira: Missing MCPS802154_ATTR_HW or"},
        {"silence", "1: 1234 5678", ""},
    };
    for (const auto& [fault, first, log] : cases) {
        Service::NewLog();
        Fault(std::string("0 fira.report ") + fault);
        ASSERT_EQ(fira.Start(), "OK");
        const FiraReport report = fira.events->reports.Take();
        std::string text = std::to_string(report.data.blockIndex) + ":";
        for (const FiraTwrMeasurement& peer : report.measurements) {
            const auto& address = peer.peerAddress.address;
            text += address[0] == 0x12 ? " 1234" : " 5678";
            if (peer.status != 0) text += "/" + std::to_string(peer.status);
            EXPECT_NEAR(static_cast<double>(peer.timestampNs),
                        static_cast<double>(World().now_ns()), 1e9);
        }
        EXPECT_EQ(text, first) << fault;
        fira.Halt();
        EXPECT_THAT(Service::NewLog(), HasSubstr(log)) << fault;
        fira.events->reports.GoesQuiet(0ms);
    }
}

TEST_F(FaultTest, KeepsUpWithStormsAndOvertakenAnswers) {
    LayOut("tag 0x1234 0 3 0");
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    Fault("0 fira.report repeat 5000");
    fira.Run(ControllerSession(1));
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    Fault("0 fira.start late 200");
    fira.Run(ControllerSession(2));
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    fira.Halt(1);
    fira.Halt(2);
    fira.Run();
    Fault("0 fira.report append 8.5.4 1 07");
    EXPECT_EQ(fira.events->events.Take(), "stopped 42 7") << "a reason counts, measurements or not";
    EXPECT_EQ(fira.Start(), "1: Unsupported operation") << "the radio knows better";
    EXPECT_EQ(Said(fira.controller->reset()), "OK");
    fira.Run();
    Fault("0 fira.stopped drop 8.5.4.1");
    EXPECT_EQ(fira.Stop(), "OK");
    EXPECT_TRUE(Eventually([] { return RadioState(0).Session(kSession).state == "idle"; }));
    EXPECT_EQ(fira.Stop(), "1: Unsupported operation") << "it did not hear of the end";
}

// ---- Without ... ----

TEST_F(FaultTest, LivesWithoutAnInterfaceOfTheRadio) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    const auto ccc = hal.Get(0, &IUwbIface::cccController);
    const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
    Shell("iwpan dev wpan0 del");
    FiraCapabilities fira_caps;
    CccCapabilities ccc_caps;
    SimpleRangingCapabilities simple_caps;
    const std::string channels = "1: Failed to get supported channels";
    EXPECT_EQ(Said(fira.controller->getCapabilities(&fira_caps)), channels);
    EXPECT_EQ(fira.Init(ControllerSession()), channels);
    EXPECT_EQ(Said(ccc->getCapabilities(&ccc_caps)), channels);
    EXPECT_EQ(Said(simple->getCapabilities(&simple_caps)), "1: Unknown error");
    EXPECT_EQ(Said(simple->startInitiatorMode(1, Short(1), 9)), "1: Unknown error");
    ASSERT_EQ(Said(hal->close()), "OK");
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_THAT(hal.IfaceNames(), ElementsAre("wpan1"));
    ASSERT_EQ(Said(hal->close()), "OK");
    UnloadRadio();
    LoadRadio();
}

TEST_F(FaultTest, RefusesToOpenWithoutTheDriverUntilItIsThere) {
    UnloadRadio();
    EXPECT_EQ(hal.Open(), "1: Failed to find MCPS netlink, check the kernel module");
    std::vector<int64_t> indexes;
    EXPECT_EQ(Said(hal->listHardwareIndex(&indexes)), "1: Failed to list hardware");
    LoadRadio();
    EXPECT_EQ(hal.Open(), "OK");
    EXPECT_THAT(hal.IfaceNames(), ElementsAre("wpan0", "wpan1"));
    FiraClient(hal, 0).Run();
}

// The kernel's own 802.15.4 module, but its family has another name.
TEST_F(FaultTest, RefusesToOpenWithoutTheKernels802154FamilyUntilItIsThere) {
    const std::string folder = "/lib/modules/" + android::base::Trim(Shell("uname -r")) + "/";
    std::string module = ReadText(folder + "ieee802154.ko");
    const std::string name("\0nl802154\0", 10);
    for (size_t at = 0; (at = module.find(name.substr(1), at)) != module.npos;) module[at] = 'x';
    // A signature that does not fit would be worse than none.
    const size_t signature = module.rfind("~Module signature appended~");
    if (signature != module.npos) module[signature] = ' ';
    WriteText("/tmp/ieee802154.ko", module);
    const auto load = [&folder](const std::string& ieee802154) {
        UnloadRadio();
        Shell("rmmod mac802154 ieee802154_socket ieee802154");
        Shell("insmod " + ieee802154);
        Shell("insmod " + folder + "ieee802154_socket.ko");
        Shell("insmod " + folder + "mac802154.ko");
        LoadRadio();
    };
    load("/tmp/ieee802154.ko");
    EXPECT_EQ(hal.Open(), "1: Failed to find IEEE netlink, check the kernel module");
    load(folder + "ieee802154.ko");
    EXPECT_EQ(hal.Open(), "OK");
    EXPECT_THAT(hal.IfaceNames(), ElementsAre("wpan0", "wpan1"));
}

}  // namespace
}  // namespace hardware::velta::device
