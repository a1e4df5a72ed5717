// SPDX-License-Identifier: Apache-2.0

// What uwbctl's commands say on a real machine: countries, who holds the hardware, the live table.
#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

class UwbctlCommandsTest : public DeviceTest {};

// What a command says on both outputs, whatever its exit status.
std::string Says(const std::string& command) {
    return Shell("{ " + command + "; } 2>&1; true");
}

TEST_F(UwbctlCommandsTest, SaysWhatACountryMeans) {
    const struct {
        const char* command;
        const char* says;
    } kCases[] = {
        {"uwbctl country jp", "country JP loaded: it bans channel 5"},
        {"uwbctl fira range -p 0x1234 -c 5", "in force bans channel 5: JP, loaded by uwbctl"},
        {"uwbctl ccc -c 5", "in force bans channel 5"},
        {"uwbctl country FRA", "not a country code: FRA"},
        {"uwbctl country --show", "in force  JP"},
        {"uwbctl country ZZ", "ZZ has no calibration of its own: the default one is loaded"},
        {"uwbctl info", "in force           ZZ"},
        {"uwbctl country", "which country?"},
        {"uwbctl country ''", "loaded: it bans channel 9"},
        {"uwbctl country FR", "bans no channel"},
        {"uwbctl fira range -p 0x1234 -c 5 -n 1", "block     0"},
        // One syntax of addresses in every command.
        {"uwbctl fira range -p 1234", "not a short address: 1234"},
        {"uwbctl simple -p 1234", "not an address: 1234"},
        {"uwbctl simple -p 12:34 -n 1", "0x1234"},
        {"uwbctl fira range -p 0x1234 -p 12:34", "0x1234 is there twice"},
        {"uwbctl fira range -p 0x1234 -a 12:34", "0x1234 has this device's own address"},
        {"uwbctl fira range -p 0x1234 -b 1", "takes 40 ms, longer than its block of 1 ms"},
        {"TERM=dumb uwbctl fira range -p 0x1234 -n 1 --table", "1 report\n"},
    };
    for (const auto& [command, says] : kCases) {
        EXPECT_THAT(Says(command), HasSubstr(says)) << command;
    }
}

TEST_F(UwbctlCommandsTest, ShowsInterfacesBesideAnotherClient) {
    const ClientProcess holder("fira-running");
    for (const char* command : {"uwbctl ifaces", "uwbctl info", "uwbctl country FR"}) {
        EXPECT_THAT(Says(command), HasSubstr("device_tests")) << command;
    }
    EXPECT_EQ(Says("uwbctl ifaces 2>/dev/null"), "wpan0\nwpan1\n");
    EXPECT_THAT(Says("uwbctl info wpan0"), HasSubstr("the only one while a session"));
}

TEST_F(UwbctlCommandsTest, MonitorsInterfacesThatNobodyHolds) {
    const std::string changes = Shell(
        "{ sleep 1; uwbctl fira range -p 0x1234 -b 50 -n 30 >/dev/null 2>&1; } & "
        "uwbctl monitor -t 6 --json");
    size_t at = 0;
    for (const char* change :
         {R"("what":"service","state":"there")", R"("what":"hardware","state":"free")",
          R"("what":"interface wpan0")", R"("what":"interface wpan1")",
          R"("what":"hardware","state":"held by a client")",
          R"("what":"interface wpan0","state":"up")", R"("what":"hardware","state":"free")"}) {
        at = changes.find(change, at);
        ASSERT_NE(at, changes.npos) << change << " in this order in\n" << changes;
    }
    EXPECT_EQ(changes.find("gone"), changes.npos) << changes;
}

}  // namespace
}  // namespace hardware::velta::device
