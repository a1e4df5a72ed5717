// SPDX-License-Identifier: Apache-2.0

// Calibration by country: which files, which keys, which errors, and what the kernel sees of it.
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

// Interfaces that come up and go down, as the kernel tells it.
class LinkWatch {
  public:
    LinkWatch() : fd_(socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK, NETLINK_ROUTE)) {
        const sockaddr_nl address = {.nl_family = AF_NETLINK, .nl_groups = RTMGRP_LINK};
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    }
    ~LinkWatch() { close(fd_); }
    /** @return what happened since this was asked last: "wpan0+ wpan0- ". */
    std::string Changes() {
        std::string changes;
        struct {
            nlmsghdr header;
            ifinfomsg info;
            char attributes[4096];
        } message;
        while (recv(fd_, &message, sizeof(message), 0) > 0) {
            if (!(message.info.ifi_change & IFF_UP)) continue;
            char name[IF_NAMESIZE] = "?";
            if_indextoname(static_cast<unsigned int>(message.info.ifi_index), name);
            changes += std::string(name) + (message.info.ifi_flags & IFF_UP ? "+ " : "- ");
        }
        return changes;
    }

  private:
    int fd_;
};

// A thread of a radio, by its calibration key.
int Thread(int radio, const std::string& key) {
    return std::stoi(CalibrationKey(radio, key));
}

// CPUs that a thread may run on.
std::string Cpus(int pid) {
    return Shell("sed -n 's/^Cpus_allowed_list:.//p' /proc/" + std::to_string(pid) + "/status");
}

// Real-time priority and policy of a thread.
std::string Priority(int pid) {
    return Shell("cut -d ' ' -f 40,41 /proc/" + std::to_string(pid) + "/stat");
}

void LetRunAnywhere(int pid) {
    Shell("taskset -p 3 " + std::to_string(pid));
}

using CountryTest = CalibratedTest;

TEST_F(CountryTest, IsToldOfByDumpsysWithTheNamesOfItsKeys) {
    EXPECT_EQ(ApplyKeys("auto_sleep_margin = 20001\n"), "OK");
    const auto json = [] { return Shell("dumpsys hardware.velta.uwb.IUwb/default --json"); };
    EXPECT_THAT(json(),
                HasSubstr(R"({"interface":"wpan1","country":"FR","complete":true,"age_s":)"));
    EXPECT_THAT(json(), ::testing::AllOf(HasSubstr(R"("auto_sleep_margin")"),
                                         ::testing::Not(HasSubstr("20001"))));
    EXPECT_NE(ApplyKeys("no_such_key = 1\n"), "OK");
    EXPECT_THAT(json(), HasSubstr(R"("country":"FR","complete":false,)"));
}

// The files that come with the service, for the radio that they were written for.
TEST_F(CountryTest, SampleFilesCalibrateTheRadio) {
    Shell("cp /etc/velta-uwb/*.conf "s + kCalibrations);
    for (const char* key : {"spi_pid", "kt7100_pid"}) LetRunAnywhere(Thread(0, key));
    const struct {
        const char *country, *restricted, *power;
    } cases[] = {{"FR", "0 ", "572662306 "},
                 {"JP", "32 ", "572662306 "},
                 {"", "512 ", "404232216 "},
                 {"XX", "0 ", "572662306 "}};
    for (const auto& [country, restricted, power] : cases) {
        EXPECT_EQ(Apply(country, "calibration.conf country-<country>.conf"), "OK") << country;
        for (const int radio : {0, 1}) {
            EXPECT_THAT(CalibrationKey(radio, "restricted_channels"), StartsWith(restricted));
            EXPECT_THAT(CalibrationKey(radio, "ant0_ch9_power"), StartsWith(power));
        }
    }
    EXPECT_THAT(CalibrationKey(0, "pair0_ch5_offset"), StartsWith("-12 "));
    EXPECT_THAT(CalibrationKey(0, "pair0_ch9_curve"), StartsWith("00:10:20:31:43:57:6c "));
    EXPECT_EQ(Cpus(Thread(0, "spi_pid")), "1\n");
    EXPECT_EQ(Cpus(Thread(0, "kt7100_pid")), "0\n");
}

TEST_F(CountryTest, RestrictedChannelsAreTheRadiosToRefuse) {
    ASSERT_EQ(ApplyKeys("restricted_channels = 0x20\n"), "OK");
    FiraClient fira(hal, 0);
    ASSERT_EQ(fira.Init(ControllerSession(43, 5)), "OK");
    EXPECT_EQ(fira.Start(43), "1: Unsupported operation");
    fira.Run();  // A start that failed released the channel.
    EXPECT_EQ(ApplyKeys("restricted_channels = 0\n"), "OK");
}

TEST_F(CountryTest, ElevationIsMeasuredOnceAPairIsNamed) {
    LayOut("noise 5\ntag 0x1234 1 3 1.5");
    ASSERT_EQ(ApplyKeys("[HAL]antenna_pair_elevation = 1\n"), "OK");
    FiraClient fira(hal, 0);
    EXPECT_TRUE(fira.Capabilities().isElevationSupported);
    FiraTwrSession session = ControllerSession();
    session.aoaType = AoaType::AZIMUTH_AND_ELEVATION;
    fira.Run(session);
    const FiraTwrMeasurement measurement = fira.Next().measurements.at(0);
    ExpectTruth(measurement, 0, "tag 0x1234");
    const World world;
    EXPECT_NEAR(measurement.elevation,
                world.See(0, "tag 0x1234", measurement.timestampNs).elevation,
                world.max_angle_error());
    ASSERT_EQ(measurement.antennaMeasurements.size(), 2U);
    EXPECT_EQ(measurement.antennaMeasurements[1].axis, AoaAxis::ELEVATION);
    fira.Halt();
    ASSERT_EQ(ApplyKeys(""), "OK");
    EXPECT_FALSE(fira.Capabilities().isElevationSupported);
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
    EXPECT_EQ(fira.Event(), "stopped 42 128");
}

TEST_F(CountryTest, SaysWhichKeysFailed) {
    const std::string driver = "1: Failed to load driver calibration keys";
    const std::pair<std::string, std::string> cases[] = {
        {"[HAL]minimum_system_offset_uwbtime0 = soon", "1: Failed to load CCC calibration keys"},
        {"[HAL]spi_affinity = 4294967296", "1: Failed to load HAL calibration keys"},
        {"chip_id = 1", driver},
        {"xtal_trim = 128", driver},
        {"xtal_trim = 01:02", driver},
        {"[hal]spi_affinity = 0", "1: Failed to load calibrations, unknown keys"},
        {"any[CCC]thing = whatever", "OK"},
        {"xtal_trim = 0x20 // a comment", "OK"},
    };
    for (const auto& [key, said] : cases) EXPECT_EQ(ApplyKeys(key + "\n"), said) << key;
    for (const char* fault : {"0 calibration_set drop 10", "0 report_keys all"}) {
        Fault(fault);
        EXPECT_EQ(ApplyKeys("xtal_trim = 3\ntemperature_ref = 2\n"), "OK") << fault;
    }
    Fault("0 report_keys refused");
}

TEST_F(CountryTest, SaysWhichFileIsMissing) {
    WriteText(kCalibrations + "good"s, kRequiredKeys);
    WriteText(kCalibrations + "b-default"s, "");
    WriteText(kCalibrations + "bad"s, "no_such_key = 1\n");
    Shell("mkdir "s + kCalibrations + "b-; mkfifo " + kCalibrations + "fifo");
    const struct {
        std::string country;
        const char *files, *said;
    } cases[] = {
        {"/../bad", "good b-<country>", "OK"},  // No way out of the folder: the default's.
        {"/../bad\0"s, "good b-<country>", "OK"},
        {"FR", "good fifo", "1: Failed to load calibration fle"},
        {"FR", "good a-<country>", "1: Failed to load calibration country file"},
    };
    for (const auto& [country, files, said] : cases)
        EXPECT_EQ(Apply(country, files), said) << files;
    unlink((kCalibrations + "paths"s).c_str());
    EXPECT_EQ(Said(hal->applyCountryRestriction("FR")),
              "1: Failed to load calibration config paths file");
    EXPECT_EQ(Said(hal->close()), "OK");
    EXPECT_EQ(Said(hal->applyCountryRestriction("FR")), "OK") << "of no interfaces, none fails";
    RestartService("/dev/null");
    hal = Hal();
    ASSERT_EQ(hal.Open(), "OK");
    EXPECT_EQ(Said(hal->applyCountryRestriction("FR")),
              "3: Property ro.vendor.uwb.calibration.calibrationpaths is not set");
    RestartService(kCalibrations + "build.prop"s);
    hal = Hal();
}

TEST_F(CountryTest, StopsAtTheFirstInterfaceThatFails) {
    const std::string failed = "1: Failed to load driver calibration keys";
    LinkWatch links;
    const std::string untouched = CalibrationKey(1, "xtal_trim");
    Fault("0 calibration_set errno 5");
    EXPECT_EQ(ApplyKeys("xtal_trim = 11\n"), failed);
    EXPECT_EQ(links.Changes(), "wpan0+ wpan0- ");
    Fault("1 calibration_set errno 5");
    EXPECT_EQ(ApplyKeys("xtal_trim = 12\n"), failed);
    EXPECT_EQ(links.Changes(), "wpan1+ wpan1- ");
    EXPECT_THAT(CalibrationKey(0, "xtal_trim"), StartsWith("12 "));
    EXPECT_EQ(CalibrationKey(1, "xtal_trim"), untouched);
}

TEST_F(CountryTest, ManyKeysTakeManyRequests) {
    std::string keys, curve = " = 01";
    for (int i = 1; i < 128; i++) curve += ":ff";
    for (int i = 0; i < 7; i++) keys += "pair" + std::to_string(i) + "_ch5_curve" + curve + "\n";
    Fault("0 calibration_set repeat 1 times 100");  // Counts replies, and changes nothing.
    ASSERT_EQ(ApplyKeys(keys), "OK");
    EXPECT_EQ(ReadText("/sys/kernel/debug/mcps802154_sim/faults"),
              "0 calibration_set repeat 1 times 97\n");
    EXPECT_THAT(CalibrationKey(0, "pair6_ch5_curve"), StartsWith("01:ff:ff"));
    // A refusal in the first request keeps the others back.
    EXPECT_EQ(ApplyKeys(keys + "chip_id = 1\nxtal_trim = 99\n"),
              "1: Failed to load driver calibration keys");
    EXPECT_THAT(CalibrationKey(0, "xtal_trim"), ::testing::Not(StartsWith("99 ")));
}

TEST_F(CountryTest, OpeningMakesTheSpiThreadsRealTime) {
    ASSERT_EQ(Said(hal->close()), "OK");
    const sched_param normal = {};
    for (const int radio : {0, 1}) {
        for (const char* key : {"spi_pid", "kt7100_pid"}) {
            sched_setscheduler(Thread(radio, key), SCHED_OTHER, &normal);
            EXPECT_EQ(Priority(Thread(radio, key)), "0 0\n");
        }
    }
    Fault("0 calibration_get drop 10");
    ASSERT_EQ(hal.Open(), "OK");
    for (const char* key : {"spi_pid", "kt7100_pid"}) {
        EXPECT_EQ(Priority(Thread(0, key)), "0 0\n") << "the radio did not say which";
        EXPECT_EQ(Priority(Thread(1, key)), "99 1\n");
    }
}

}  // namespace
}  // namespace hardware::velta::device
