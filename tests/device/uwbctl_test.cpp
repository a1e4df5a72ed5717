// SPDX-License-Identifier: Apache-2.0

// uwbctl as a person drives it. The fixture sees to it that the radio is at rest after each.
#include <csignal>
#include <sstream>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

constexpr char kRange[] = "uwbctl fira range -p 0x1234 -b 50 ";
// However long the start takes on a busy machine.
constexpr char kOnceItRuns[] =
    "n=0; until grep -q 'state running' /sys/kernel/debug/mcps802154_sim/radio0/state || "
    "[ $((n += 1)) -gt 200 ]; do sleep 0.1; done; ";

struct Outcome {
    std::string text;
    int status;
};

// Runs a shell's command; the text is that of both outputs.
Outcome Execute(const std::string& command) {
    std::string text = Shell("{ " + command + "; } 2>&1; echo status $?");
    const size_t mark = text.rfind("status ");
    const int status = std::stoi(text.substr(mark + sizeof("status ") - 1));
    return {text.substr(0, mark), status};
}

std::vector<std::string> LinesWith(const std::string& text, const std::string& part) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.find(part) != std::string::npos) lines.push_back(line);
    }
    return lines;
}

class UwbctlTest : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        LayOut("radio 0 0 0 0\ntag 0x1234 3 4 0\ntag 0x5678 0 2 0");
    }
};

TEST_F(UwbctlTest, ExplainsWhatIsRefusedAndExitsAccordingly) {
    const struct {
        const char* command;
        int status;
        const char* says;
    } kCases[] = {
        {"uwbctl", 2, "which command?"},
        {"uwbctl fira range", 2, "range with whom?"},
        {"uwbctl fira range -p 0x12", 2, "not a short address: 0x12"},
        {"uwbctl fira range -p 0x1234 --angles up", 2, "--angles"},
        {"uwbctl fira range -p 0x1234 --preset slow", 2, "no preset slow"},
        {"uwbctl fira range -p 0x1234 --set nothing=1", 2, "there is no nothing"},
        {"uwbctl fira range --controlee -p 0x0001 -p 0x0003", 2, "exactly one peer"},
        {"uwbctl record /none/file -p 0x1234", 6, "/none/file"},
        {"uwbctl fira range -p 0x1234 -i wpan7", 4,
         "Unknown iface wpan7 (interfaces: wpan0, wpan1)"},
        {"uwbctl fira range -p 0x1234 -c 7", 4, "Requested channel 7 is restricted"},
        {"uwbctl fira range -p 0x1234 --set sfdId=5", 4, "Incorrect sfdId value 5"},
        {"uwbctl fira add 0x5678", 4, "no session is ranging"},
        {"uwbctl ccc -c 99", 4, "Incorrect channel value 99"},
        {"uwbctl simple -p 0x1234 -c 7", 4, "Incorrect channel value"},
    };
    for (const auto& [command, status, says] : kCases) {
        const Outcome outcome = Execute(command);
        EXPECT_EQ(outcome.status, status) << command << "\n" << outcome.text;
        EXPECT_THAT(outcome.text, HasSubstr(says)) << command;
        EXPECT_EQ(RadioUnrest(0), "") << command;
    }
}

TEST_F(UwbctlTest, NamesTheBuildAndTheInterfaceThatTheServiceStartsWith) {
    NewLog();
    RestartService();
    std::istringstream words(Shell("uwbctl --version"));
    std::string word, version, commit, hash;
    words >> word >> version >> word >> commit;
    while (words >> hash) {
    }
    const std::vector<std::string> lines = LinesWith(NewLog(), " I velta.uwb.main: ");
    ASSERT_GE(lines.size(), 2U);
    EXPECT_TRUE(lines[0].ends_with("UWB HAL start")) << lines[0];
    const std::string wanted =
        "Version " + version + ", commit " + commit + ", interface version 1, hash " + hash;
    EXPECT_TRUE(lines[1].ends_with(wanted)) << lines[1] << " is not " << wanted;
    hal = Hal();
    ASSERT_EQ(hal.Open(), "OK");
}

TEST_F(UwbctlTest, SaysWhoHoldsTheHardware) {
    const ClientProcess holder("fira-running");
    for (const char* command : {"uwbctl fira range -p 0x1234", "uwbctl country FR"}) {
        const Outcome outcome = Execute(command);
        EXPECT_EQ(outcome.status, 3) << command;
        EXPECT_THAT(outcome.text, HasSubstr("another client holds the hardware")) << command;
    }
    EXPECT_THAT(Execute("uwbctl fira remove 0x1234").text, HasSubstr("press r there"));
    EXPECT_THAT(Execute("uwbctl monitor -t 1").text, HasSubstr("held by a client"));
}

TEST_F(UwbctlTest, ASessionComesBackFromItsDump) {
    const std::string options =
        " -p 0x1234 -s 7 -c 5 -b 60 --set sessionPriority=70 "
        "--set rangingRoundControl.hasDeferredMode=false ";
    ASSERT_EQ(Execute("uwbctl fira range --dump-session" + options + "> /tmp/a.json").status, 0);
    ASSERT_EQ(
        Execute("uwbctl fira range --dump-session --session-file /tmp/a.json > /tmp/b.json").status,
        0);
    EXPECT_EQ(ReadText("/tmp/a.json"), ReadText("/tmp/b.json"));
    // And arrives in the radio: seen while it ranges.
    const Outcome outcome =
        Execute("uwbctl fira range --session-file /tmp/b.json > /dev/null & "s + kOnceItRuns +
                "cat /sys/kernel/debug/mcps802154_sim/radio0/state; kill -INT $!; wait $!");
    EXPECT_EQ(outcome.status, 0);
    for (const char* line : {"channel 5", "param 9 60", "param 15 70", "param 18 0"}) {
        EXPECT_THAT(outcome.text, HasSubstr(line));
    }
}

TEST_F(UwbctlTest, PutsOutEachMeasurementOnce) {
    const Outcome json = Execute(std::string(kRange) + "-p 0x5678 -n 5 --json 2>/dev/null");
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(LinesWith(json.text, R"("type":"measurement")").size(), 10U);
    EXPECT_EQ(LinesWith(json.text, R"("peer":"0x5678","status":0,"distance_mm":)").size(), 5U);
    EXPECT_THAT(json.text, HasSubstr(R"({"type":"end","reason":"count","reports":5})"));

    const Outcome csv = Execute(std::string(kRange) + "-n 3 --csv 2>/dev/null");
    const auto rows = LinesWith(csv.text, ",");
    ASSERT_EQ(rows.size(), 4U);
    for (const std::string& row : rows)
        EXPECT_EQ(std::count(row.begin(), row.end(), ','), 10) << row;
    EXPECT_EQ(LinesWith(Execute(std::string(kRange) + "-n 3").text, "0x1234").size(), 3U);
}

TEST_F(UwbctlTest, EndsCleanlyHoweverItIsEnded) {
    const struct {
        std::string command;
        int status;
        const char* says;
    } kCases[] = {
        {std::string(kRange) + "| head -n 2", 0, "block     1"},
        {std::string(kRange) + "> /dev/full", 6, "No space left on device"},
        {std::string(kRange) + "--record /dev/full > /dev/null", 6, "cannot write /dev/full"},
        {"uwbctl man > /dev/full", 6, "output: No space left on device"},
        {"uwbctl fira range -p 0x9999 -b 50 -n 3", 7, "no peer has answered in 3 reports"},
        {std::string(kRange) + "> /dev/null & " + kOnceItRuns + "kill -INT $!; wait $!", 0,
         "Ctrl-C ends it"},
        {std::string(kRange) + "-n 999 > /dev/null & " + kOnceItRuns + "kill -TERM $!; wait $!", 5,
         "of 999 reports"},
        {"("s + kOnceItRuns + "sleep 1; echo quit) | " + kRange + "--commands", 0, "block     1"},
        {"uwbctl ccc > /dev/null & "s + kOnceItRuns + "kill -INT $!; wait $!", 0, ""},
        {"uwbctl simple -p 0x1234 | head -n 1", 0, "request  1"},
    };
    for (const auto& [command, status, says] : kCases) {
        const Outcome outcome = Execute(command);
        EXPECT_EQ(outcome.status, status) << command << "\n" << outcome.text;
        EXPECT_THAT(outcome.text, HasSubstr(says)) << command;
        EXPECT_TRUE(Eventually([] { return RadioUnrest(0).empty(); })) << command;
    }
}

TEST_F(UwbctlTest, TellsThatTheServiceDied) {
    const Outcome outcome = Execute(std::string(kRange) + "> /dev/null & " + kOnceItRuns +
                                    "kill -9 $(cat /run/service.pid); wait $!");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.text, HasSubstr("the UWB service has died"));
    EXPECT_THAT(Execute("uwbctl ifaces").text, HasSubstr("is not registered"));
    // The next client finds the radio as the service left it, and gets it clean.
    RestartService();
    hal = Hal();
    EXPECT_EQ(hal.Open(), "OK");
}

TEST_F(UwbctlTest, ASignalEndsACallThatDoesNotReturn) {
    const Outcome outcome = Execute(
        "kill -STOP $(cat /run/service.pid); uwbctl ifaces & sleep 1; kill -INT $!; wait $!; "
        "S=$?; kill -CONT $(cat /run/service.pid); (exit $S)");
    EXPECT_EQ(outcome.status, 128 + SIGINT) << outcome.text;
}

TEST_F(UwbctlTest, ChangesControleesWhileItRanges) {
    const Outcome outcome = Execute(
        "(sleep 1; echo add 0x5678; echo add 0x5678; echo nonsense; sleep 1; "
        "echo remove 0x1234; sleep 1; echo quit) | " +
        std::string(kRange) + "--commands --json");
    EXPECT_EQ(outcome.status, 0);
    for (const char* part :
         {R"("controlees_added","peers":["0x5678"])",
          R"("controlees_add_failed","peers":["0x5678"])",
          R"("controlees_removed","peers":["0x1234"])", "not understood: nonsense"}) {
        EXPECT_THAT(outcome.text, HasSubstr(part));
    }
    const auto measurements = LinesWith(outcome.text, R"("type":"measurement")");
    ASSERT_FALSE(measurements.empty());
    EXPECT_THAT(measurements.front(), HasSubstr("0x1234"));
    EXPECT_THAT(measurements.back(), HasSubstr("0x5678"));
}

TEST_F(UwbctlTest, RecordsAndReports) {
    ASSERT_EQ(
        Execute("uwbctl record /tmp/walk.jsonl -p 0x1234 -b 50 -n 20 --plain > /tmp/lines").status,
        0);
    EXPECT_EQ(LinesWith(ReadText("/tmp/walk.jsonl"), R"("type":"measurement")").size(), 20U);
    EXPECT_EQ(LinesWith(ReadText("/tmp/lines"), "0x1234").size(), 20U);
    ASSERT_EQ(Execute("uwbctl report /tmp/walk.jsonl").status, 0);
    EXPECT_THAT(ReadText("/tmp/walk.html"), HasSubstr("0x1234"));
    const Outcome bad = Execute("uwbctl report /tmp/lines -o /tmp/bad.html");
    EXPECT_EQ(bad.status, 2);
    EXPECT_THAT(bad.text, HasSubstr("/tmp/lines:1"));
}

// As fast as the service hands reports on: none is lost between the radio and the pipe.
TEST_F(UwbctlTest, KeepsUpWithTwoHundredReportsASecond) {
    const Outcome outcome = Execute(
        "uwbctl fira range -p 0x1234 -b 5 --set slotDurationRstu=600 "
        "--set slotsPerRangingRound=2 -n 400 --json 2>/dev/null");
    const auto lines = LinesWith(outcome.text, R"("type":"measurement")");
    ASSERT_EQ(lines.size(), 400U);
    const auto block = [](const std::string& line) {
        return std::stoi(line.substr(line.find(R"("block":)") + sizeof(R"("block":)") - 1));
    };
    EXPECT_EQ(block(lines.back()) - block(lines.front()), 399);
}

}  // namespace
}  // namespace hardware::velta::device
