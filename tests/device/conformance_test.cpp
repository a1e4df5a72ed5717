// SPDX-License-Identifier: Apache-2.0

// The conformance suite: the virtual radio passes it, and with a fault in it, it does not.
#include <algorithm>
#include <iterator>
#include <sstream>

#include "conformance/target.h"
#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

constexpr char kSurroundings[] =
    " --second-interface=wpan1 --peer=0x1234 --simple-peer=0x1122 --distance=3000";

// What the suite prints, and its exit status in the last line.
std::string Conformance(const std::string& options) {
    // Whole, also where the tests that run it are shared out.
    return Shell(
        "{ env -u GTEST_TOTAL_SHARDS -u GTEST_SHARD_INDEX uwb_conformance --gtest_brief=1" +
        options + " 2>&1; echo status $?; }");
}

class ConformanceTest : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        LayOut("noise 10\ntag 0x1234 0 3 0\ntag 0x1122 0 3 0");
    }
    // The radio keeps the keys of the countries that were tried.
    static void TearDownTestSuite() {
        UnloadRadio();
        LoadRadio();
        RestartService();
    }
};

TEST_F(ConformanceTest, TheVirtualRadioPassesAllChecks) {
    const std::string text = Conformance(kSurroundings);
    EXPECT_THAT(text, HasSubstr(" 0 failed, 0 not run\nstatus 0\n")) << text;
}

TEST_F(ConformanceTest, SaysWhatItCouldNotRunAndWhy) {
    const std::string text =
        Conformance(" --gtest_filter=FiraCheck.DistanceIsTrue:RefusalCheck.InvalidSessions");
    EXPECT_THAT(text,
                HasSubstr("2 checks: 1 passed, 0 failed, 1 not run\n"
                          "  FiraCheck.DistanceIsTrue: not run: needs a FiRa controlee (--peer)"
                          "\nstatus 3\n"));
    for (const char* option : {" --channel=16", " --peer=tag", " --country=FRA", " --whatever"}) {
        EXPECT_THAT(Conformance(option), HasSubstr("status 2\n")) << option;
    }
}

struct Defect {
    const char* check;
    const char* fault;
};

class DefectTest : public ConformanceTest, public ::testing::WithParamInterface<Defect> {};

// The silence of a driver that fails need not be waited for as long as that of one that is slow.
TEST_P(DefectTest, FailsTheCheck) {
    const auto& [check, fault] = GetParam();
    Fault(fault + " always"s);
    const std::string text =
        Conformance(kSurroundings + " --patience=1000 --gtest_filter="s + check);
    EXPECT_THAT(text, HasSubstr("[  FAILED  ] "s + check));
    EXPECT_THAT(text, HasSubstr("the driver owes: "));
    EXPECT_THAT(text, HasSubstr("status 1\n"));
    Fault("clear");
    EXPECT_TRUE(Eventually([] { return (RadioUnrest(0) + RadioUnrest(1)).empty(); }));
}

// Attributes by their paths: 8.5.4 is ranging data of FiRa, 12 a result of simple ranging.
constexpr Defect kDefects[] = {
    {"HardwareCheck.ListsInterfacesWhileOpen", "* hw_dump drop 2"},
    {"HardwareCheck.EverySchedulerAndRegionCanBeSelected", "1 scheduler_set errno 95"},
    {"HardwareCheck.NamesItsSpiThreads", "0 calibration_get set 10.*.2 ffffff7f"},
    {"HardwareCheck.AKilledClientLeavesACleanDeviceToTheNext", "0 fira.init errno 17"},
    {"HardwareCheck.SessionsStopWhenTheInterfaceGoesDown", "0 fira.stopped silence"},
    {"HardwareCheck.ObjectsKeptAfterCloseAreOfNoConsequence", "0 fira.report silence"},
    {"HardwareCheck.CountriesAreCalibrated", "1 calibration_set errno 5"},
    {"FiraCheck.ReportsEveryBlockOnce", "0 fira.report repeat 2"},
    {"FiraCheck.ReportsEveryBlockOnce", "0 fira.report set 8.5.4.4 01000000"},
    {"FiraCheck.ReportsEveryBlockOnce", "0 fira.report drop 8.5.4.5.*.3"},
    {"FiraCheck.TimestampsAreOfTheMonotonicClock", "0 fira.report set 8.5.4.3 00f2052a01000000"},
    {"FiraCheck.MeasuresThePeer", "0 fira.report set 8.5.4.5.*.3 21"},
    {"FiraCheck.MeasuresThePeer", "0 fira.report drop 8.5.4.5.*.9"},
    {"FiraCheck.DistanceIsTrue", "0 fira.report set 8.5.4.5.*.7 2c010000"},
    {"FiraCheck.TwoRadiosRangeWithEachOther", "1 fira.report set 8.5.4.5.*.1 3412"},
    {"FiraCheck.AddsAndRemovesControleesWhileRanging", "0 fira.new_controlee errno 16"},
    {"FiraCheck.StopsAndStartsAgain", "0 fira.deinit errno 16"},
    {"FiraCheck.GivesUpWhenNobodyAnswers", "0 fira.stopped set 8.5.4.1 00"},
    {"FiraCheck.InterfaceStaysUpUntilTheLastSessionStops", "0 fira.report set 8.5.1 01000000"},
    {"FiraCheck.RadiosRunSessionsOfTheirOwnAtOnce", "1 fira.report set 1 00000000"},
    {"FiraCheck.ResetForgetsEverythingAtOnce", "0 fira.start errno 100"},
    {"FiraCheck.OneChannelForAllSessionsUntilTheLastStop", "0 fira.start errno 1"},
    {"CccCheck.RunsFromInitToDeinit", "0 ccc.stopped drop 8.5.2"},
    {"CccCheck.RefusesBadStartsAndStops", "0 ccc.stop silence"},
    {"CccCheck.TheFirstFiraSessionTakesTheRadioOver", "0 ccc.stopped silence"},
    {"CccCheck.RunsOnTwoRadiosAtOnce", "1 ccc.stopped set 1 00000000"},
    {"SimpleCheck.AnswersEachRequestInTurn", "0 simple.report drop 12.1"},
    {"SimpleCheck.MeasuresThePeer", "0 simple.report set 12.2 2c010000"},
    {"SimpleCheck.InitiatorAndResponderRangeWithEachOther", "0 simple.report drop 12.2"},
    {"SimpleCheck.TakesFourteenRequestsAtOnce", "0 ranging_requests_set errno 28"},
    {"RefusalCheck.WhatTheStateForbids", "0 fira.start noack"},
};

INSTANTIATE_TEST_SUITE_P(Checks, DefectTest, ::testing::ValuesIn(kDefects));

// Nobody adds a check that has not been seen to fail.
TEST_F(ConformanceTest, EveryCheckOfTheDriverHasADefect) {
    std::string untried;
    std::istringstream list(Shell("uwb_conformance --list"));
    for (std::string line, check; std::getline(list, line);) {
        if (!line.empty() && line[0] != ' ') check = line;
        const bool is_tried = std::any_of(std::begin(kDefects), std::end(kDefects),
                                          [&](const Defect& it) { return it.check == check; });
        if (line.starts_with("    the driver owes: ") && !is_tried &&
            !line.ends_with(": nothing")) {
            untried += check + " ";
        }
    }
    // What the kernel's own 802.15.4 layer tells is nothing that the radio can get wrong.
    EXPECT_EQ(untried,
              "CccCheck.TellsItsCapabilities HardwareCheck.EveryInterfaceHasChannelsAndAnAddress ");
    for (const char* check :
         {"CccCheck.TellsItsCapabilities", "HardwareCheck.EveryInterfaceHasChannelsAndAnAddress"}) {
        EXPECT_THAT(Conformance(" --channel=6 --gtest_filter="s + check), HasSubstr("status 1\n"));
    }
}

}  // namespace
}  // namespace hardware::velta::device
