// SPDX-License-Identifier: Apache-2.0

// Calibration by country: which files, which keys, which errors, and what the kernel sees of it.
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include "device_test.h"

namespace hardware::velta::device {
namespace {

// How often interfaces were brought up and down, as the kernel tells it.
class LinkWatch {
  public:
    LinkWatch() : fd_(socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK, NETLINK_ROUTE)) {
        const sockaddr_nl address = {.nl_family = AF_NETLINK, .nl_groups = RTMGRP_LINK};
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    }
    ~LinkWatch() { close(fd_); }
    /** @return interface and state in order since this was asked last: "wpan0+ wpan0- ". */
    std::string Changes() {
        std::string changes;
        alignas(nlmsghdr) char buffer[8192];
        for (ssize_t n; (n = recv(fd_, buffer, sizeof(buffer), 0)) > 0;) {
            auto* header = reinterpret_cast<nlmsghdr*>(buffer);
            for (; NLMSG_OK(header, n); header = NLMSG_NEXT(header, n)) {
                const auto* info = static_cast<const ifinfomsg*>(NLMSG_DATA(header));
                if (!(info->ifi_change & IFF_UP)) continue;
                char name[IF_NAMESIZE] = "?";
                if_indextoname(static_cast<unsigned int>(info->ifi_index), name);
                changes += std::string(name) + (info->ifi_flags & IFF_UP ? "+ " : "- ");
            }
        }
        return changes;
    }

  private:
    int fd_;
};

int ThreadOf(int radio, const std::string& key) {
    return std::stoi(CalibrationKey(radio, key));
}

// CPUs that a thread may run on, as /proc has it.
std::string Cpus(int pid) {
    const std::string status = ReadText("/proc/" + std::to_string(pid) + "/status");
    const size_t start = status.find("Cpus_allowed_list:\t") + 19;
    return status.substr(start, status.find('\n', start) - start);
}

// Real-time priority and policy, fields 40 and 41 of /proc/PID/stat.
std::string Priority(int pid) {
    std::istringstream words(ReadText("/proc/" + std::to_string(pid) + "/stat"));
    std::string word, policy;
    for (int field = 1; field <= 40; field++) words >> word;
    words >> policy;
    return word + " " + policy;
}

class CountryTest : public CalibratedTest {
  protected:
    void SetUp() override {
        CalibratedTest::SetUp();
        ASSERT_EQ(hal.Open(), "OK");
    }
    // The answer to a calibration of these keys beside the required ones.
    std::string ApplyKeys(const std::string& keys) {
        Calibrate("all", kRequired + keys);
        CalibrateBy("all");
        return Apply("FR");
    }
    static void FreeThreads() {
        cpu_set_t all;
        memset(&all, 0xff, sizeof(all));
        for (const char* key : {"spi_pid", "kt7100_pid"}) {
            sched_setaffinity(ThreadOf(0, key), sizeof(all), &all);
        }
    }
};

// The files that come with the service, for the radio they were written for.
TEST_F(CountryTest, SampleFilesCalibrateTheRadio) {
    Shell("cp /etc/velta-uwb/calibration.paths /tmp/calibration/paths");
    FreeThreads();
    const struct {
        const char* country;
        const char* restricted;
        const char* power;
    } cases[] = {{"FR", "0 ", "572662306 "},
                 {"JP", "32 ", "572662306 "},
                 {"", "512 ", "404232216 "},
                 {"XX", "0 ", "572662306 "}};
    for (const auto& [country, restricted, power] : cases) {
        EXPECT_EQ(Apply(country), "OK") << country;
        for (const int radio : {0, 1}) {
            EXPECT_THAT(CalibrationKey(radio, "restricted_channels"), StartsWith(restricted));
            EXPECT_THAT(CalibrationKey(radio, "ant0_ch9_power"), StartsWith(power));
        }
    }
    EXPECT_THAT(CalibrationKey(0, "pair0_ch5_offset"), StartsWith("-12 "));
    EXPECT_THAT(CalibrationKey(0, "pair0_ch9_curve"), StartsWith("00:10:20:31:43:57:6c "));
    EXPECT_EQ(Cpus(ThreadOf(0, "spi_pid")), "1");
    EXPECT_EQ(Cpus(ThreadOf(0, "kt7100_pid")), "0");
}

TEST_F(CountryTest, RestrictedChannelsAreTheRadiosToRefuse) {
    ASSERT_EQ(ApplyKeys("restricted_channels = 0x20\n"), "OK");
    FiraClient fira(hal, 0);
    FiraTwrSession session = ControllerSession();
    session.channelNumber = 5;
    ASSERT_EQ(fira.Init(session), "OK");
    EXPECT_EQ(fira.Start(), "1: Unsupported operation");
    EXPECT_EQ(fira.Init(ControllerSession(43)), "OK") << "a failed start releases the channel";
    EXPECT_EQ(ApplyKeys("restricted_channels = 0\n"), "OK");
}

TEST_F(CountryTest, ElevationIsMeasuredOnceAPairIsNamed) {
    LayOut("noise 5\ntag 0x1234 1 3 1.5");
    ASSERT_EQ(ApplyKeys("[HAL]antenna_pair_elevation = 1\n"), "OK");
    FiraCapabilities caps;
    FiraClient fira(hal, 0);
    ASSERT_EQ(Said(fira.controller->getCapabilities(&caps)), "OK");
    EXPECT_TRUE(caps.isAzimuthSupported && caps.isElevationSupported);
    FiraTwrSession session = ControllerSession();
    session.aoaType = AoaType::AZIMUTH_AND_ELEVATION;
    fira.Run(session);
    const FiraTwrMeasurement measurement = fira.events->reports.Take().measurements.at(0);
    ExpectTruth(measurement, 0, "tag 0x1234");
    const World world;
    const auto truth = world.See(0, "tag 0x1234", measurement.timestampNs);
    EXPECT_NEAR(measurement.elevation, truth.elevation, world.max_angle_error());
    ASSERT_EQ(measurement.antennaMeasurements.size(), 2U);
    EXPECT_EQ(measurement.antennaMeasurements[1].axis, AoaAxis::ELEVATION);
    fira.Halt();
    ASSERT_EQ(ApplyKeys("[HAL]antenna_pair_azimuth = 255\n"),
              "1: Failed to load HAL calibration keys");
    ASSERT_EQ(ApplyKeys(""), "OK");
    session.id++;
    EXPECT_EQ(fira.Init(session), "2: Unsupported AoaType: AZIMUTH_AND_ELEVATION");
}

TEST_F(CountryTest, CyclesEachInterfaceOnceAndOnlyOnce) {
    LinkWatch links;
    EXPECT_EQ(ApplyKeys(""), "OK");
    EXPECT_EQ(links.Changes(), "wpan0+ wpan0- wpan1+ wpan1- ");
    FiraClient fira(hal, 0);
    fira.Run();
    EXPECT_EQ(links.Changes(), "wpan0+ ");
    EXPECT_EQ(ApplyKeys(""), "OK");
    EXPECT_EQ(links.Changes(), "wpan0- ") << "what ranges is taken down";
    EXPECT_EQ(fira.events->events.Take(), "stopped 42 128");
}

// The calibration may fail on any of its way: each answer, by what it was given.
TEST_F(CountryTest, SaysWhatFailed) {
    const std::string ccc = "1: Failed to load CCC calibration keys";
    const std::string service = "1: Failed to load HAL calibration keys";
    const std::string driver = "1: Failed to load driver calibration keys";
    const std::string unknown = "1: Failed to load calibrations, unknown keys";
    const std::string offset = "[HAL]minimum_system_offset_uwbtime0 = ";
    const std::pair<std::string, std::string> keys[] = {
        {offset + ";none", ccc},
        {offset + "soon", ccc},
        {"[HAL]spi_affinity = 4294967296", service},
        {"[HAL]kt7100_spi_affinity = one", service},
        {"[HAL]antenna_pair_azimuth = 7", service},
        {"[HAL]antenna_pair_elevation = 256", service},
        {"[HAL]tx_antenna = 5", service},
        {"no_such_key = 1", driver},
        {"chip_id = 1", driver},
        {"xtal_trim = 128", driver},
        {"xtal_trim = 01:02", driver},
        {"xtal_trim = fine", driver},
        {"[HAL]no_such_key = 1", unknown},
        {"[hal]spi_affinity = 0", unknown},
        {"any[CCC]thing = whatever", "OK"},
        {"xtal_trim = 0x20 // a comment", "OK"},
    };
    for (const auto& [key, said] : keys) EXPECT_EQ(ApplyKeys(key + "\n"), said) << key;
    Calibrate("none", "");
    CalibrateBy("none");
    EXPECT_EQ(Apply("FR"), ccc);
    CalibrateBy("all missing");
    EXPECT_EQ(Apply("FR"), "1: Failed to load calibration fle");
    CalibrateBy("all only-<country>");
    EXPECT_EQ(Apply("FR"), "1: Failed to load calibration country file");
    Calibrate("only-default", "");
    EXPECT_EQ(Apply("FR"), "OK");
    EXPECT_EQ(Apply(""), "1: Failed to load calibration default country file");
    Calibrate("only-unknown", "");
    EXPECT_EQ(Apply(""), "OK");
    unlink("/tmp/calibration/paths");
    EXPECT_EQ(Apply("FR"), "1: Failed to load calibration config paths file");
    for (const char* fault : {"errno 5", "silence", "cmd 9", "set 10 0800"}) {
        Fault(std::string("0 calibration_set ") + fault);
        EXPECT_EQ(ApplyKeys("xtal_trim = 3\n"), fault == std::string("set 10 0800") ? "OK" : driver)
            << fault;
    }
    Fault("0 report_keys all");
    EXPECT_EQ(ApplyKeys("xtal_trim = 1\ntemperature_ref = 2\n"), "OK") << "status 0 is none";
    Fault("0 report_keys refused");
    EXPECT_EQ(Said(hal->close()), "OK");
    EXPECT_EQ(Apply("FR"), "OK") << "of no interfaces, none fails";
}

TEST_F(CountryTest, NeedsTheProperty) {
    Service::Stop();
    Service::Start("/dev/null");
    hal = Hal();
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_EQ(Apply("FR"), "3: Property ro.vendor.uwb.calibration.calibrationpaths is not set");
    Service::Stop();
    Service::Start("/tmp/calibration/build.prop");
    hal = Hal();
}

TEST_F(CountryTest, StopsAtTheFirstInterfaceThatFails) {
    ASSERT_EQ(ApplyKeys("xtal_trim = 10\n"), "OK");
    ASSERT_EQ(Said(hal->close()), "OK");
    ASSERT_EQ(hal.Open(), "OK");
    LinkWatch links;
    const std::string untouched = CalibrationKey(1, "xtal_trim");
    Fault("0 calibration_set errno 5");
    EXPECT_EQ(ApplyKeys("xtal_trim = 11\n"), "1: Failed to load driver calibration keys");
    EXPECT_EQ(links.Changes(), "wpan0+ wpan0- ");
    EXPECT_EQ(CalibrationKey(1, "xtal_trim"), untouched);
    Fault("1 calibration_set errno 5");
    EXPECT_EQ(ApplyKeys("xtal_trim = 12\n"), "1: Failed to load driver calibration keys");
    EXPECT_EQ(links.Changes(), "wpan1+ wpan1- ");
    EXPECT_THAT(CalibrationKey(0, "xtal_trim"), StartsWith("12 "));
    EXPECT_EQ(CalibrationKey(1, "xtal_trim"), untouched);
}

TEST_F(CountryTest, ManyKeysTakeManyRequests) {
    std::string keys;
    for (const char* name : {"pair0_ch5_curve", "pair1_ch5_curve", "pair2_ch5_curve"}) {
        keys += std::string(name) + " = 01";
        for (int i = 1; i < 128; i++) keys += ":ff";
        keys += "\n";
    }
    Fault("0 calibration_set repeat 1 times 100");  // Counts replies, and changes nothing.
    ASSERT_EQ(ApplyKeys(keys), "OK");
    EXPECT_EQ(ReadText("/sys/kernel/debug/mcps802154_sim/faults"),
              "0 calibration_set repeat 1 times 97\n");
    EXPECT_THAT(CalibrationKey(0, "pair2_ch5_curve"), StartsWith("01:ff:ff"));
    // A refusal in the first request ends it.
    ASSERT_EQ(ApplyKeys(keys + "chip_id = 1\nxtal_trim = 99\n"),
              "1: Failed to load driver calibration keys");
    EXPECT_THAT(CalibrationKey(0, "xtal_trim"), ::testing::Not(StartsWith("99 ")));
}

TEST_F(CountryTest, ThreadsArePinnedOnlyWhenAllKeysAreKnown) {
    const int spi = ThreadOf(0, "spi_pid");
    const int chip = ThreadOf(0, "kt7100_pid");
    FreeThreads();
    EXPECT_EQ(ApplyKeys("[HAL]spi_affinity = 0x1\n[HAL]no_such_key = 1\n"),
              "1: Failed to load calibrations, unknown keys");
    EXPECT_EQ(Cpus(spi), "0-1");
    EXPECT_EQ(ApplyKeys("[HAL]spi_affinity = 0x1\n"), "OK");
    EXPECT_EQ(Cpus(spi), "1");
    EXPECT_EQ(Cpus(chip), "0-1");
    Service::NewLog();
    EXPECT_EQ(ApplyKeys("[HAL]kt7100_spi_affinity = 2000\n"), "OK");
    EXPECT_THAT(Service::NewLog(),
                HasSubstr("Failed to set spi affinity for k7100-spi, got error: -1"));
    EXPECT_EQ(Cpus(chip), "0-1");
}

TEST_F(CountryTest, OpeningMakesTheSpiThreadsRealTime) {
    ASSERT_EQ(Said(hal->close()), "OK");
    const sched_param normal = {};
    for (const char* key : {"spi_pid", "kt7100_pid"}) {
        for (const int radio : {0, 1})
            sched_setscheduler(ThreadOf(radio, key), SCHED_OTHER, &normal);
        EXPECT_EQ(Priority(ThreadOf(1, key)), "0 0");
    }
    Fault("0 calibration_get drop 10");
    ASSERT_EQ(hal.Open(), "OK");
    for (const char* key : {"spi_pid", "kt7100_pid"}) {
        EXPECT_EQ(Priority(ThreadOf(0, key)), "0 0") << "the radio did not say which";
        EXPECT_EQ(Priority(ThreadOf(1, key)), "99 1");
    }
}

}  // namespace
}  // namespace hardware::velta::device
