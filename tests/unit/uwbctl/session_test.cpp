// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/session.h"

#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"
#include "uwbctl/commands/fira_range.h"

namespace uwbctl {
namespace {

using ::testing::HasSubstr;

// What a member is after options; its refusal's text if there is one.
std::string Member(const FiraRangeOptions& options, const std::string& name) {
    try {
        return SessionToJson(EffectiveSession(options)).at(name).dump();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kUsage);
        return failure.what();
    }
}

TEST(SessionTest, PresetsAreForWhatTheySay) {
    const struct {
        const char* preset;
        const char* channel;
        const char* block_ms;
        const char* hopping;
        const char* angles;
    } kCases[] = {
        {"", "9", "200", "false", "\"REQ_AOA_RESULTS\""},
        {"phone-to-tag", "9", "200", "false", "\"REQ_AOA_RESULTS\""},
        {"indoor-positioning", "5", "1000", "true", "\"NO_AOA_REPORT\""},
        {"fast", "9", "50", "false", "\"REQ_AOA_RESULTS\""},
    };
    for (const auto& [preset, channel, block_ms, hopping, angles] : kCases) {
        const FiraRangeOptions options = {.preset = preset};
        EXPECT_EQ(Member(options, "channelNumber"), channel) << preset;
        EXPECT_EQ(Member(options, "rangingBlockDurationMs"), block_ms) << preset;
        EXPECT_EQ(Member(options, "isHoppingEnabled"), hopping) << preset;
        EXPECT_EQ(Member(options, "aoaResultRequest"), angles) << preset;
        EXPECT_EQ(Member(options, "slotDurationRstu"), "2400") << preset;
        EXPECT_EQ(Member(options, "preambleCodeIndex"), "10") << preset;
    }
}

TEST(SessionTest, SettingsAreTakenUpToTheirBoundsAndNoFurther) {
    const struct {
        std::string setting;
        const char* member;
        const char* says;
    } kCases[] = {
        {"sfdId=127", "sfdId", "127"},
        {"sfdId=-128", "sfdId", "-128"},
        {"sfdId=128", "sfdId", "-128 to 127, not 128"},
        {"sfdId=1.5", "sfdId", "a whole number, -128 to 127, not 1.5"},
        {"id=4294967295", "id", "-1"},
        {"id=4294967296", "id", "to 4294967295, not 4294967296"},
        {"id=18446744073709551615", "id", "not 18446744073709551615"},
        {"subSessionId=4294967295", "subSessionId", "-1"},
        {"channelNumber=4294967295", "channelNumber", "not 4294967295"},
        {"isHoppingEnabled=1", "isHoppingEnabled", "true or false, not 1"},
        {"aoaType=ELEVATION", "aoaType", "\"ELEVATION\""},
        {"aoaType=UP", "aoaType", "one of AZIMUTH, ELEVATION"},
        {"vendorId=0x0A0b", "vendorId", "\"0a:0b\""},
        {"destAddressList=[\"0x1234\",\"56:78\"]", "destAddressList", R"(["0x1234","0x5678"])"},
        {"destAddressList=0x1234", "destAddressList", "a list of addresses"},
        {"rangingRoundControl.hasDeferredMode=false", "rangingRoundControl",
         R"("hasDeferredMode":false)"},
        {"rangingRoundControl.nothing=1", "id", "there is no nothing"},
        {"a.b.c.d.e=1", "id", "no member lies so deep"},
        {"=1", "id", "expected NAME=VALUE"},
        {"id", "id", "expected NAME=VALUE"},
        {"id=" + std::string(200'000, '['), "id", "a whole number"},
        {std::string(200'000, 'x') + "=1", "id", "there is no xx"},
        {R"(rangingRoundControl={"hasDeferredMode":true,"hasDeferredMode":false})", "id",
         "rangingRoundControl: not a JSON object"},
    };
    for (const auto& [setting, member, says] : kCases) {
        const std::string outcome = Member({.settings = {setting}}, member);
        EXPECT_THAT(outcome, HasSubstr(says)) << setting.substr(0, 40);
        EXPECT_LT(outcome.size(), 500U);
    }
    FiraTwrSession session;
    try {
        ApplyJson({{"staticStsIV", "c0ffee-"}}, "session", &session);
        ADD_FAILURE();
    } catch (const Failure& failure) {
        EXPECT_STREQ(failure.what(),
                     "session: staticStsIV: expected bytes as \"0x1234\" or \"12:34\"")
            << "whoever looks on is told of failures as well";
    }
}

TEST(SessionTest, ComesFromPresetThenFileThenOptionsThenSettings) {
    const TemporaryFile file;
    ASSERT_TRUE(android::base::WriteStringToFile(
        R"({"id":1,"channelNumber":5,"slotsPerRangingRound":12,"sessionPriority":7})", file.path));
    FiraRangeOptions options = {.preset = "fast",
                                .session_file = file.path,
                                .session_id = 2,
                                .settings = {"sessionPriority=9"}};
    EXPECT_EQ(Member(options, "rangingBlockDurationMs"), "50");
    EXPECT_EQ(Member(options, "channelNumber"), "5");
    EXPECT_EQ(Member(options, "id"), "2");
    EXPECT_EQ(Member(options, "sessionPriority"), "9");
    const std::string dump = SessionToJson(EffectiveSession(options)).dump();
    ASSERT_TRUE(android::base::WriteStringToFile(dump, file.path));
    EXPECT_EQ(SessionToJson(EffectiveSession({.session_file = file.path})).dump(), dump);
    // Who one is decides the address, unless it is said.
    EXPECT_EQ(Member({}, "deviceAddress"), "\"0x0001\"");
    EXPECT_EQ(Member({.is_controlee = true}, "deviceAddress"), "\"0x0002\"");
    EXPECT_EQ(Member({.is_controlee = true}, "deviceRole"), "\"RESPONDER\"");
    EXPECT_EQ(Member({.angles = "both"}, "aoaType"), "\"AZIMUTH_AND_ELEVATION\"");
}

TEST(SessionTest, RefusesFilesThatAreNone) {
    const TemporaryDir dir;
    const std::string deep = std::string(dir.path) + "/deep";
    ASSERT_TRUE(android::base::WriteStringToFile(std::string(200'000, '['), deep));
    const struct {
        std::string file;
        const char* says;
    } kCases[] = {{dir.path, "Is a directory"},
                  {"/nowhere", "/nowhere"},
                  {deep, "nested deeper"},
                  {"/dev/zero", "larger than"}};
    for (const auto& [file, says] : kCases) {
        EXPECT_THAT(Member({.session_file = file}, "id"), HasSubstr(says));
    }
    EXPECT_THAT(Member({.session_file = "-", .reads_commands = true}, "id"), HasSubstr("either"));
}

// What a terminal would obey stays in the file that it came from; other languages do not.
TEST(SessionTest, AFilesWordsCannotCommandATerminal) {
    EXPECT_EQ(PrintableText("a\x1b]0;owned\x07\tb\nc\x7f\r"),
              "a\\x1b]0;owned\\x07\tb\nc\\x7f\\x0d");
    EXPECT_EQ(PrintableText("\xC2\x9B"
                            "2J caf\xC3\xA9 \xC2\xA0"),
              "\\x9b2J caf\xC3\xA9 \xC2\xA0");
    EXPECT_EQ(PrintableText("\x9B"
                            "2J \xE2\x82 \xE2\x82\xAC\xF0"),
              "\\x9b2J \\xe2\\x82 \xE2\x82\xAC\\xf0");
}

}  // namespace
}  // namespace uwbctl
