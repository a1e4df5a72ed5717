// SPDX-License-Identifier: Apache-2.0

// A kernel that refuses, keeps silent, is late, talks nonsense or is not there at all.
#include <android-base/strings.h>
#include <linux/capability.h>
#include <sys/prctl.h>

#include <thread>

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

// ---- Every command, and each way in which the kernel may fail it ----

// What a client has of the first radio.
struct RadioClient {
    explicit RadioClient(const Hal& it)
        : hal(it),
          fira(hal, 0),
          ccc(hal.Get(0, &IUwbIface::cccController)),
          simple(hal.Get(0, &IUwbIface::simpleRangingController)) {
        simple->setCallback(SharedRefBase::make<SimpleEvents>());
    }
    std::string Initiate() const { return Said(simple->startInitiatorMode(1, Short(1), 9)); }
    std::string InitFira() { return fira.Init(ControllerSession()); }
    std::string InitCcc() const { return Said(ccc->initSession()); }
    std::string StartCcc() const {
        int64_t time0 = 0;
        return Said(ccc->startSession(1, 0, 9, &time0));
    }
    std::string Add(uint16_t who) {
        return fira.Add(kSession, {Short(who)}) + ", " + fira.Event().substr(0, 10);
    }
    std::string Remove(uint16_t who) {
        return fira.Remove(kSession, {Short(who)}) + ", " + fira.Event().substr(0, 10);
    }

    const Hal& hal;
    FiraClient fira;
    std::shared_ptr<ICccController> ccc;
    std::shared_ptr<ISimpleRangingController> simple;
};

using Operation = std::function<std::string(RadioClient&, uint16_t attempt)>;

// An operation that needs the command, and what is said when the kernel does not do it.
struct Command {
    const char *name, *event, *failed;
    Operation run;
    std::function<void(RadioClient&)> prepare = [](RadioClient&) {};
    const char* done = "OK";
    enum class Ack {
        kNeeded,
        kNotNeeded,  // What comes next finds that it was done.
        kFirst,      // Reports follow: one before the acknowledgement ends the wait for it.
    } ack = Ack::kNeeded;
};

void PrintTo(const Command& command, std::ostream* out) {
    *out << command.name;
}

// The second attempt at what cannot be done twice: the first one may have done it, unacknowledged.
Operation UnlessDone(std::string (*run)(RadioClient&), bool (*is_done)()) {
    return [=](RadioClient& it, uint16_t attempt) {
        std::string said = run(it);
        const auto done = [&] { return said == "OK" || is_done() || (said = run(it)) == "OK"; };
        return attempt > 1 && Eventually(done) ? "OK" : said;
    };
}

constexpr char kUnknown[] = "1: Unknown error";
constexpr char kUnsupported[] = "1: Unsupported operation";

std::vector<Command> Commands() {
    const auto init_fira = [](RadioClient& it, uint16_t) { return it.InitFira(); };
    using Ack = Command::Ack;
    const auto nothing = [](RadioClient&) {};
    const auto has_fira = [](RadioClient& it) { it.InitFira(); };
    const auto has_mode = [](RadioClient& it) { it.Initiate(); };
    const auto stop_simple = [](RadioClient& it, uint16_t) { return Said(it.simple->stop()); };
    const auto initiate = [](RadioClient& it, uint16_t) { return it.Initiate(); };
    const auto range = [](RadioClient& it, uint16_t) {
        return Said(it.simple->setRangings({{.id = 1}}));
    };
    const auto list = [](RadioClient& it, uint16_t) {
        std::vector<int64_t> indexes;
        return Said(it.hal->listHardwareIndex(&indexes));
    };
    const auto country = [](RadioClient& it, uint16_t) {
        return Said(it.hal->applyCountryRestriction("FR"));
    };
    const auto update = [](RadioClient& it, uint16_t) {
        return it.fira.Update(ControllerSession());
    };
    const auto add = [](RadioClient& it, uint16_t attempt) { return it.Add(16 + attempt); };
    const auto remove = [](RadioClient& it, uint16_t attempt) { return it.Remove(16 + attempt); };
    const auto start = [](RadioClient& it, uint16_t) { return it.fira.Start(); };
    const Operation stop = UnlessDone([](RadioClient& it) { return it.fira.Stop(); },
                                      [] { return RadioSession(0, kSession) == "idle"; });
    const Operation deinit = UnlessDone([](RadioClient& it) { return it.fira.Deinit(); },
                                        [] { return RadioSession(0, kSession) == "none"; });
    const auto start_ccc = [](RadioClient& it, uint16_t) { return it.StartCcc(); };
    const Operation stop_ccc =
        UnlessDone([](RadioClient& it) { return Said(it.ccc->stopSession(1)); },
                   [] { return Radio(0, "ccc").starts_with("state idle"); });
    return {
        {"HwDump", "hw_dump", "1: Failed to list hardware", list},
        {"HwQuery", "hw_query", kUnknown, stop_simple, has_mode},
        {"SchedulerSet", "scheduler_set", kUnknown, initiate},
        {"RegionSet", "scheduler_set", kUnsupported, init_fira, nothing, "OK", Ack::kNotNeeded},
        {"CalibrationSet", "calibration_set", "1: Failed to load driver calibration keys", country},
        {"RangingRequestsSet", "ranging_requests_set", kUnknown, range, has_mode, "OK",
         Ack::kFirst},
        {"FiraInit", "fira.init", kUnsupported, init_fira},
        {"FiraSetParams", "fira.set_params", kUnsupported, init_fira},
        {"FiraUpdate", "fira.set_params", kUnsupported, update, has_fira},
        {"FiraNewControlee", "fira.new_controlee", kUnsupported, init_fira},
        {"FiraAdd", "fira.new_controlee", "OK, add failed", add, has_fira, "OK, added 42 0"},
        {"FiraRemove", "fira.del_controlee", "OK, remove fai", remove,
         [](RadioClient& it) { it.InitFira(), it.Add(17), it.Add(18); }, "OK, removed 42"},
        {"FiraStart", "fira.start", kUnsupported, start, has_fira, "OK", Ack::kFirst},
        {"FiraStop", "fira.stop", kUnsupported, stop, [](RadioClient& it) { it.fira.Run(); }},
        {"FiraDeinit", "fira.deinit", kUnsupported, deinit, has_fira},
        {"CccStart", "ccc.start", "1: Failed to start ccc session", start_ccc,
         [](RadioClient& it) { it.InitCcc(); }},
        {"CccStop", "ccc.stop", "1: Failed to stop ccc session", stop_ccc,
         [](RadioClient& it) { it.InitCcc(), it.StartCcc(); }},
    };
}

class FaultTableTest : public DeviceTest, public ::testing::WithParamInterface<Command> {};

// It is told in time and in the log, the next attempt works, and nothing is left in the radio.
TEST_P(FaultTableTest, IsToldInTimeAndMended) {
    const Command& command = GetParam();
    const std::string event = command.event;
    const bool is_answered = event.starts_with("hw_") || event == "calibration_set";
    const bool is_overtaken = command.ack == Command::Ack::kFirst;
    constexpr char kOvertaken[] = "Error reading message: Message sequence number mismatch";
    constexpr char kSilence[] = "Error reading message: Try again";
    const struct {
        const char *fault, *log;
        bool fails;
        Milliseconds bound;
    } faults[] = {
        {"errno 1", "Nl error: -1\n", true, 1500ms},
        {"errno 16", "Nl error: -16\n", true, 1500ms},
        {"errno 105", "Nl error: -105\n", true, 1500ms},
        {"silence", kSilence, true, 3500ms},
        {is_answered ? "cmd 6" : "noack",
         is_answered    ? "Incorrect received command, got 6"
         : is_overtaken ? kOvertaken
                        : kSilence,
         command.ack != Command::Ack::kNotNeeded, 3500ms},
        {"late 300", is_overtaken ? kOvertaken : "", is_overtaken, 3500ms},
    };
    // Where notifications are polled, a read of a quiet session comes before a call and behind it.
    const Milliseconds polled = NotificationsMode() == "poll" ? 2000ms : 0ms;
    for (const auto& [fault, log, fails, bound] : faults) {
        SCOPED_TRACE(fault);
        ASSERT_EQ(hal.Open(), "OK");
        {
            RadioClient client(hal);
            command.prepare(client);
            NewLog();
            Fault("* " + event + " " + fault + " always");
            const auto started = std::chrono::steady_clock::now();
            EXPECT_EQ(command.run(client, 1), fails ? command.failed : command.done);
            EXPECT_LT(std::chrono::steady_clock::now() - started, bound + polled);
            EXPECT_THAT(NewLog(), HasSubstr(log));
            Fault("clear");
            if (fails) EXPECT_EQ(command.run(client, 2), command.done);
        }
        ASSERT_EQ(Said(hal->close()), "OK");
        EXPECT_EQ(RadioUnrest(0), "");
        EXPECT_EQ(RadioSession(0, kSession), "none");
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, FaultTableTest, ::testing::ValuesIn(Commands()),
                         [](const auto& info) { return std::string(info.param.name); });

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

// Another radio's session keeps the socket open, and with it what was started there.
TEST_F(FaultTest, AStartThatWasDoneWithoutAWordEndsWithTheNextDeinit) {
    LayOut("tag 0x1234 0 3 0");
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient other(hal, 0), fira(hal, 1);
    other.Run();
    ASSERT_EQ(fira.Init(ControllerSession(2)), "OK");
    Fault("1 fira.start noack");
    EXPECT_EQ(fira.Start(2), "1: Unsupported operation");
    EXPECT_EQ(RadioSession(1, 2), "running");
    EXPECT_EQ(fira.Deinit(2), "1: Unsupported operation") << "but the interface is down now";
    EXPECT_EQ(RadioSession(1, 2), "idle");
    EXPECT_EQ(fira.Deinit(2), "OK");
    fira.Run(ControllerSession(2));
    EXPECT_EQ(fira.Fresh().data.sessionId, 2);
    EXPECT_EQ(other.Fresh().data.sessionId, kSession);
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

// What is in the way of a session that runs, or of one that is to start; and how it is mended.
TEST_F(FaultTest, SessionsSurviveWhatHappensToTheirRadio) {
    constexpr char kReload[] =
        "rmmod mcps802154_sim; insmod /lib/modules/extra/mcps802154_sim.ko radios=2";
    const struct {
        const char *accident, *stopped, *start, *log, *mend;
    } cases[] = {
        {"rmmod mcps802154_sim", "stopped 42 128", kUnsupported,
         "Could not read interface state for wpan0",
         "insmod /lib/modules/extra/mcps802154_sim.ko radios=2"},
        {kReload, "stopped 42 128", "1: Unsupported operation", "Nl error: -", "true"},
        {"iwpan dev wpan0 del", "stopped 42 128", kUnsupported,
         "Could not read interface state for wpan0", kReload},
        {"ip link set wpan0 down", "stopped 42 128", "OK", "", "true"},
        {"ip link set wpan0 down; ip link set wpan0 name was0", "stopped 42 128",
         "1: Unsupported operation", "Could not read interface state for wpan0",
         "ip link set was0 name wpan0"},
    };
    for (const auto& [accident, stopped, start, log, mend] : cases) {
        SCOPED_TRACE(accident);
        ASSERT_EQ(hal.Open(), "OK");
        FiraClient fira(hal, 0);
        fira.Run();
        fira.Next();
        NewLog();
        Shell(accident);
        EXPECT_EQ(fira.Event(), stopped);
        EXPECT_EQ(fira.Start(), start);
        EXPECT_THAT(NewLog(), HasSubstr(log));
        ASSERT_EQ(Said(hal->close()), "OK");
        Shell(mend);
        ASSERT_EQ(hal.Open(), "OK");
        FiraClient next(hal, 0);
        next.Run();
        EXPECT_EQ(next.Next().data.blockIndex, 0);
        ASSERT_EQ(Said(hal->close()), "OK");
    }
}

// It keeps the radio up, and a region is only selected while it is down.
TEST_F(FaultTest, SaysThatAnotherInterfaceOfTheRadioIsInTheWay) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient fira(hal, 0);
    Shell("iwpan phy " + Radio(0, "phy") + " interface add wpan9 type node; ip link set wpan9 up");
    EXPECT_EQ(fira.Init(ControllerSession()), "1: Unsupported operation");
    EXPECT_THAT(NewLog(), HasSubstr("OnPreSessionOpen : Failed to set regions"));
    Shell("iwpan dev wpan9 del");
    fira.Run();
}

// A service that may not: told as such, and no worse.
TEST_F(FaultTest, SaysWhichCapabilityItLacks) {
    constexpr char kConfig[] = "/etc/vdev/config";
    const std::string config = ReadText(kConfig);
    WriteText(kConfig, config + "VDEV_CONFINED=\n");  // Which would give it back.
    std::thread([] {
        prctl(PR_CAPBSET_DROP, CAP_NET_ADMIN);   // Of this thread, and of what it starts.
        prctl(PR_CAPBSET_DROP, CAP_SYS_MODULE);  // Nor has it this one as it ships.
        RestartService();
    }).join();
    hal = Hal();
    EXPECT_EQ(hal.Open(), "OK");
    EXPECT_EQ(FiraClient(hal, 0).Init(ControllerSession()), "1: Failed to set correct channel");
    EXPECT_THAT(NewLog(), HasSubstr("Nl error: -1\n"));
    WriteText(kConfig, config);
    RestartService();
    hal = Hal();
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
