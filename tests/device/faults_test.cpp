// SPDX-License-Identifier: Apache-2.0

// A kernel that refuses, keeps silent, is late, talks nonsense or is not there at all.
#include <android-base/strings.h>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

using FaultTest = DeviceTest;

TEST_F(FaultTest, OpensWithWhatTheKernelTells) {
    const struct {
        const char *fault, *ifaces, *log;
    } cases[] = {
        {"0 hw_dump errno 5", "", "Nl error: -5"},
        {"0 hw_dump silence", "", "Error reading message: Try again"},
        {"* hw_dump cmd 5 times 2", "", "Incorrect received command, got 5 instead of 2"},
        {"0 hw_dump late 300", "wpan0 wpan1 ", ""},
        {"0 hw_dump drop 2", "wpan1 ", "Missing mcps attribute"},
        {"0 hw_query set 3 7800\n0 scheduler_set errno 16", "wpan0 wpan1 ",
         "SetDefaultScheduler: Failed to set scheduler"},
        {"0 calibration_get errno 5", "wpan0 wpan1 ", "Failed to retrieve spi processes"},
        {"0 calibration_get set 10.*.2 ffffff7f", "wpan0 wpan1 ",
         "Failed to change scheduler for spi, got error: -1"},
    };
    for (const auto& [fault, ifaces, log] : cases) {
        NewLog();
        Fault(fault);
        ASSERT_EQ(hal.Open(), "OK");
        EXPECT_EQ(hal.Ifaces(), ifaces) << fault;
        EXPECT_THAT(NewLog(), HasSubstr(log)) << fault;
        ASSERT_EQ(Said(hal->close()), "OK");
    }
    std::vector<int64_t> indexes;
    Fault("0 hw_dump errno 5 always");  // Also asked once more, in case that the family is new.
    EXPECT_EQ(Said(hal->listHardwareIndex(&indexes)), "1: Failed to list hardware");
}

// A session's whole life, up to the operation that fails; once more, it does not.
TEST_F(FaultTest, SaysWhichStepOfASessionFailed) {
    const std::pair<const char*, const char*> cases[] = {
        {"0 fira.init silence", "init"},      {"0 fira.new_controlee errno 28", "init"},
        {"0 fira.start noack", "start"},      {"0 fira.stop errno 5", "stop"},
        {"0 fira.deinit errno 16", "deinit"}, {"0 region_call late 15 always", "none"},
    };
    for (const auto& [fault, fails] : cases) {
        ASSERT_EQ(hal.Open(), "OK");
        FiraClient fira(hal, 0);
        const auto failed = [fails = fails](const std::string& operation) {
            return operation == fails ? "1: Unsupported operation" : "OK";
        };
        Fault(fault);
        EXPECT_EQ(fira.Init(ControllerSession()), failed("init")) << fault;
        if (fails == "init"s) EXPECT_EQ(fira.Init(ControllerSession()), "OK") << fault;
        EXPECT_EQ(fira.Start(), failed("start")) << fault;
        if (fails == "start"s) {
            EXPECT_EQ(RadioSession(0, kSession), "idle");
            EXPECT_THAT(fira.Capabilities().supportedChannels, ElementsAre(5, 9));
            EXPECT_EQ(fira.Start(), "OK") << fault;
        }
        if (fails == "stop"s) EXPECT_EQ(fira.Stop(), failed("stop")) << fault;
        fira.Halt();
        EXPECT_EQ(fira.Deinit(), failed("deinit")) << fault;
        if (fails == "deinit"s) EXPECT_EQ(fira.Deinit(), "OK") << fault;
        Fault("clear");
        ASSERT_EQ(Said(hal->close()), "OK");
    }
}

// The first report of a session is malformed: what the client gets first, and the log.
TEST_F(FaultTest, DropsOnlyWhatIsMalformed) {
    LayOut("tag 0x1234 0 3 0\ntag 0x5678 0 3 0");
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    FiraTwrSession session = ControllerSession();
    session.destAddressList.push_back(Short(0x5678));
    ASSERT_EQ(fira.Init(session), "OK");
    const std::string next = "1: 1234 5678";
    const struct {
        std::string fault, first, log;
    } cases[] = {
        {"set 8.5.4.5.1.3 22", "0: 1234/34 5678", ""},
        {"drop 8.5.4.5.1.7", "0: 5678", "Missing fields in ranging measurement"},
        {"append 8.5.4.5.1 2 -", "0: 5678", "Stop ranging with peer."},
        {"drop 8.5.4.5.1.9.4", "0: 1234 5678", "Missing aoa data measurement fields"},
        {"drop 8.5.4", next, "Missing session ntf call attrs"},
        {"set 1 07000000", next, "No callback for hw index: 7"},
        {"resize 8.4 2", next, "Incorrect MCPS802154_ATTR_SCHEDULER_REGION_CALL nested message"},
        {"cut 10000", next, "fira: Missing MCPS802154_ATTR_HW or"},
        {"silence", next, ""},
    };
    for (const auto& [fault, first, log] : cases) {
        NewLog();
        Fault("0 fira.report " + fault);
        const int64_t started = World().now_ns();
        ASSERT_EQ(fira.Start(), "OK");
        const FiraReport report = fira.Next();
        std::string text = std::to_string(report.data.blockIndex) + ":";
        for (const FiraTwrMeasurement& peer : report.measurements) {
            text += peer.peerAddress == Short(0x1234) ? " 1234" : " 5678";
            if (peer.status != 0) text += "/" + std::to_string(peer.status);
            EXPECT_GT(peer.timestampNs, started);
            EXPECT_LE(peer.timestampNs, World().now_ns());
        }
        EXPECT_EQ(text, first) << fault;
        fira.Halt();
        EXPECT_THAT(NewLog(), HasSubstr(log)) << fault;
        fira.events->reports.GoesQuiet(0ms);
    }
}

TEST_F(FaultTest, KeepsUpWithLateAnswersAndOddStops) {
    LayOut("tag 0x1234 0 3 0");
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    fira.Run(ControllerSession(1));
    Fault("0 fira.start late 200");  // Reports of the first session overtake this.
    fira.Run(ControllerSession(2));
    fira.Halt(1);
    Fault("0 fira.report append 8.5.4 1 07");
    EXPECT_EQ(fira.Event(), "stopped 2 7") << "a reason counts, whatever else is there";
    ASSERT_EQ(fira.Start(2), "OK");
    Fault("0 fira.stopped drop 8.5.4.1");
    EXPECT_EQ(fira.Stop(2), "OK");
    EXPECT_TRUE(Eventually([] { return RadioSession(0, 2) == "idle"; }));
    EXPECT_EQ(fira.Stop(2), "1: Unsupported operation") << "the service did not hear of the end";
}

// ---- Parts that are not there ----

TEST_F(FaultTest, LivesWithoutTheInterfaceOfARadio) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    const auto ccc = hal.Get(0, &IUwbIface::cccController);
    const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
    Shell("iwpan dev wpan0 del");
    CccCapabilities caps;
    EXPECT_THAT((std::vector{Said(ccc->getCapabilities(&caps)), fira.Init(ControllerSession())}),
                Each("1: Failed to get supported channels"));
    EXPECT_EQ(Said(simple->startInitiatorMode(1, Short(1), 9)), "1: Unknown error");
    ASSERT_EQ(Said(hal->close()), "OK");
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_EQ(hal.Ifaces(), "wpan1 ");
    ASSERT_EQ(Said(hal->close()), "OK");
    UnloadRadio();
    LoadRadio();
}

// Another driver's number of the same name: what was resolved before is of no use.
TEST_F(FaultTest, ListsTheHardwareOfADriverThatWasLoadedAnew) {
    std::vector<int64_t> indexes;
    ASSERT_EQ(Said(hal->listHardwareIndex(&indexes)), "OK");
    UnloadRadio();
    LoadRadio();
    indexes.clear();
    ASSERT_EQ(Said(hal->listHardwareIndex(&indexes)), "OK");
    EXPECT_THAT(indexes, ElementsAre(0, 1));
}

TEST_F(FaultTest, OpensOnlyWithTheDriver) {
    UnloadRadio();
    EXPECT_EQ(hal.Open(), "1: Failed to find MCPS netlink, check the kernel module");
    std::vector<int64_t> indexes;
    EXPECT_EQ(Said(hal->listHardwareIndex(&indexes)), "1: Failed to list hardware");
    LoadRadio();
    EXPECT_EQ(hal.Open(), "OK");
    EXPECT_EQ(hal.Ifaces(), "wpan0 wpan1 ");
    FiraClient(hal, 0).Run();
}

// With the driver, but the kernel's own 802.15.4 module gives its family another name.
TEST_F(FaultTest, OpensOnlyWithTheKernels802154Family) {
    const std::string folder = "/lib/modules/" + android::base::Trim(Shell("uname -r")) + "/";
    std::string module = ReadText(folder + "ieee802154.ko");
    const std::string name("nl802154\0", 9);
    for (size_t at = 0; (at = module.find(name, at)) != module.npos;) module[at] = 'x';
    // A signature that does not fit is worse than none.
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
    EXPECT_EQ(hal.Ifaces(), "wpan0 wpan1 ");
}

}  // namespace
}  // namespace hardware::velta::device
