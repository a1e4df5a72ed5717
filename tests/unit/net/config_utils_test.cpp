// SPDX-License-Identifier: Apache-2.0
#include "net/config_utils.h"

#include <android-base/file.h>
#include <android-base/properties.h>
#include <android-base/unique_fd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <climits>
#include <cstddef>
#include <cstdlib>

#include "../log_capture.h"
#include "host/properties_file.h"
#include "host/readiness.h"

namespace hardware::velta {
namespace {

using android::base::GetProperty;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::StartsWith;

constexpr char kMissingFile[] = "/nonexistent/uwb.conf";

const char* Written(const TemporaryFile& file, const std::string& text) {
    EXPECT_TRUE(android::base::WriteStringToFile(text, file.path));
    return file.path;
}

// The entries as "key>value;".
std::string Entries(ConfigUtils* config) {
    std::string text;
    for (const auto& [key, value] : *config) text += key + ">" + value + ";";
    return text;
}

TEST(ConfigUtilsTest, ReadsLines) {
    const struct {
        const char *text, *entries;
    } kCases[] = {
        {"", ""},
        {"channel = 9 # default\n", "channel>9;"},
        {"a=1\na=2", "a>2;"},
        {"b=1\r\na=2\r\n\r\n", "a>2;b>1;"},
        {"key=\n", ""},
        {"key=\r\n", "key>;"},
        {"key= \nother = ;x\n", "key>;other>;"},
        {"  spaced key \t=\v spaced value \f\n", "spaced key>spaced value;"},
        {"k = v // note\nl = v ; note\nm = v # note\n", "k>v;l>v;m>v;"},
        {"dir=a//b;c\npath=/a/b\n", "dir>a;path>/a/b;"},
        {"# a = b\n;a = b\n//a = b\na;b = c\na # = b\nno equals\n", ""},
        {"=v\na = b = c\n[HAL]x = 1", ">v;[HAL]x>1;a>b = c;"},
    };
    for (const auto& [text, entries] : kCases) {
        TemporaryFile file;
        ConfigUtils config;
        EXPECT_TRUE(config.Load(Written(file, text)));
        EXPECT_EQ(Entries(&config), entries) << text;
    }
}

TEST(ConfigUtilsTest, MergesWhatItLoadsAndSavesItWithoutLineEnds) {
    LogCapture log;
    TemporaryFile file;
    ConfigUtils config;
    config.Set("a", "old");
    config.Set("b", "kept");
    EXPECT_TRUE(config.Load(Written(file, "a = new value, longer than what is written\na = 1")));
    EXPECT_FALSE(config.Load(kMissingFile) || config.Load(nullptr));
    TemporaryDir folder;
    EXPECT_FALSE(config.Load(folder.path));
    const std::string fifo = std::string(folder.path) + "/fifo";
    EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(config.Load(fifo.c_str()));
    TemporaryFile large;
    EXPECT_TRUE(config.Load(Written(large, "c=" + std::string(1024 * 1024 - 2, 'x'))));
    EXPECT_FALSE(config.Load(Written(large, "b=" + std::string(1024 * 1024 - 1, 'x'))));
    EXPECT_TRUE(config.Erase("c"));
    EXPECT_TRUE(config.Save(file.path));
    EXPECT_FALSE(config.Save(kMissingFile) || config.Save(nullptr));
    std::string text;
    EXPECT_TRUE(android::base::ReadFileToString(file.path, &text));
    EXPECT_EQ(text, "a = 1b = kept");
    config.Dump();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            "E velta.uwb.CongifUtils Load Cannot open file: /nonexistent/uwb.conf",
            "E velta.uwb.CongifUtils Load Bad argument",
            "E velta.uwb.CongifUtils Load Cannot open file: "s + folder.path +
                ", not a regular file",
            "E velta.uwb.CongifUtils Load Cannot open file: " + fifo + ", not a regular file",
            "E velta.uwb.CongifUtils Load Cannot open file: "s + large.path +
                ", longer than 1048576 bytes",
            "E velta.uwb.CongifUtils Save Cannot open file: /nonexistent/uwb.conf",
            "E velta.uwb.CongifUtils Save Bad argument", "I velta.uwb.CongifUtils Dump a=1",
            "I velta.uwb.CongifUtils Dump b=kept"));
}

TEST(ConfigUtilsTest, ConsumedErasedAndClearedKeysAreGone) {
    ConfigUtils config;
    for (const char* key : {"a", "b", "c", "d"}) config.Set(key, key + std::string("!"));
    EXPECT_EQ(config.GetValue("a") + config.ConsumeValue("a") + config.ConsumeValue("a"), "a!a!");
    EXPECT_TRUE(config.Erase("b"));
    EXPECT_FALSE(config.Erase("b"));
    EXPECT_EQ(config.Erase(config.begin())->first, "d");
    EXPECT_EQ(Entries(&config), "d>d!;");
    config.Clear();
    EXPECT_TRUE(config.IsEmpty());
}

TEST(ConfigUtilsTest, ConvertsWholeIntegersOnly) {
    const struct {
        std::string text;
        bool is_long, is_unsigned;
        long value;
    } kCases[] = {
        {"42", true, true, 42},
        {"0X2a", true, true, 42},
        {"052", true, true, 42},
        {" \t-1", true, true, -1},
        {std::to_string(LONG_MAX), true, true, LONG_MAX},
        {std::to_string(ULONG_MAX), false, true, -1},
        {std::to_string(ULONG_MAX) + "0", false, false, 0},
        {"10 ", false, false, 0},
        {"", false, false, 0},
        {"0x", false, false, 0},
        {"08", false, false, 0},
        {std::string("5\0", 2), false, false, 0},
    };
    for (const auto& test : kCases) {
        long value = 1234;
        EXPECT_EQ(ConfigUtils::ToInt(test.text, value), test.is_long) << test.text;
        EXPECT_EQ(value, test.is_long ? test.value : 1234) << test.text;
        unsigned long wide = 1234;
        EXPECT_EQ(ConfigUtils::ToInt(test.text, wide), test.is_unsigned) << test.text;
        EXPECT_EQ(wide, test.is_unsigned ? static_cast<unsigned long>(test.value) : 1234u);
    }
}

TEST(ConfigUtilsTest, ConvertsPairsOfDigitsAndKeepsThoseBeforeABadOne) {
    LogCapture log;
    const struct {
        const char* text;
        bool ok;
        std::string bytes;
    } kCases[] = {
        {"0a:FF", true, "\x0a\xff"}, {"7f", true, "\x7f"},      {"", false, ""},
        {"a:ff", false, ""},         {"0a:f", false, "\x0a"},   {"0a:", false, "\x0a"},
        {":0a", false, ""},          {"0a::0b", false, "\x0a"}, {"01:0g", false, "\x01"},
        {"01:002", false, "\x01"},   {"01 :02", false, ""},     {"01:02 ", false, "\x01"},
    };
    for (const auto& [text, ok, appended] : kCases) {
        std::vector<char> bytes = {'>'};
        EXPECT_EQ(ConfigUtils::ToArray(text, bytes), ok) << text;
        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), ">" + appended) << text;
    }
    EXPECT_EQ(log.Count("I velta.uwb.CongifUtils ToArray"), std::size(kCases));
}

TEST(PropertiesFileTest, SetsProperties) {
    TemporaryFile file;
    std::string error;
    setenv(kPropertiesFileVariable,
           Written(file, "# note\n\n  uwb.test.a = x = y  \nuwb.test.b=\nro.uwb.test.c=1"), 1);
    EXPECT_TRUE(LoadSystemProperties(&error)) << error;
    EXPECT_EQ(GetProperty("uwb.test.a", "") + GetProperty("ro.uwb.test.c", ""), "x = y1");
    setenv(kPropertiesFileVariable, kMissingFile, 1);
    EXPECT_FALSE(LoadSystemProperties(&error));
    EXPECT_EQ(error, std::string(kMissingFile) + ": No such file or directory");
    unsetenv(kPropertiesFileVariable);
    if (access(kDefaultPropertiesFile, F_OK) != 0) {
        EXPECT_TRUE(LoadSystemProperties(&error)) << "the default one need not be there";
    }
}

TEST(PropertiesFileTest, NamesTheLineThatIsWrong) {
    TemporaryFile file;
    const struct {
        std::string text, error;
    } kCases[] = {
        {"uwb.test.d=1\nnonsense\n", ":2: not a \"key=value\" line: nonsense"},
        {"=value\n", ":1: not a \"key=value\" line: =value"},
        {"ro.uwb.test.e=1\nro.uwb.test.e=2\n",
         ":2: property cannot be set: ro.uwb.test.e, which has a value already"},
    };
    for (const auto& [text, expected] : kCases) {
        std::string error;
        EXPECT_FALSE(LoadPropertiesFile(Written(file, text), &error));
        EXPECT_EQ(error, file.path + expected);
    }
    EXPECT_EQ(GetProperty("uwb.test.d", ""), "1");
}

TEST(ReadinessTest, TellsWhoeverIsNamed) {
    const TemporaryDir folder;
    const std::string path = std::string(folder.path) + "/notify", abstract = "@uwb-test" + path;
    for (const std::string& name : {path, abstract}) {
        const android::base::unique_fd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
        sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
        name.copy(address.sun_path, name.size());
        if (name == abstract) address.sun_path[0] = '\0';
        ASSERT_EQ(bind(fd.get(), reinterpret_cast<const sockaddr*>(&address),
                       offsetof(sockaddr_un, sun_path) + name.size()),
                  0);
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        TellSupervisorReady();
        char text[16] = {};
        EXPECT_EQ(recv(fd.get(), text, sizeof(text), 0), 7) << name;
        EXPECT_STREQ(text, "READY=1");
    }
    unsetenv("NOTIFY_SOCKET");
}

TEST(ReadinessTest, SaysWhatIsNoSocket) {
    for (const std::string& name : {""s, std::string(108, 'x'), "/nonexistent/notify"s}) {
        LogCapture log;
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        TellSupervisorReady();
        EXPECT_THAT(log.lines(), ElementsAre(StartsWith("W velta.uwb.main "))) << name;
    }
    unsetenv("NOTIFY_SOCKET");
}

}  // namespace
}  // namespace hardware::velta
