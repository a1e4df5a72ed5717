// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/cli.h"

#include <android-base/file.h>
#include <android-base/strings.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/controlees.h"
#include "uwbctl/client/holder.h"

namespace uwbctl {
namespace {

using ::android::base::Split;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// What is said about words that are wrong; empty for right ones.
std::string Complaint(const std::string& words) {
    const auto line = MakeCommandLine();
    try {
        Parse(line.get(), android::base::Tokenize(words, " "));
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kUsage) << words;
        return failure.what();
    }
    return "";
}

TEST(CommandLine, SaysWhatIsWrongAndWhatIsLikeIt) {
    const struct {
        const char* words;
        const char* says;
    } kCases[] = {
        {"", "which command?"},
        {"fira", "\"uwbctl fira --help\" lists them"},
        {"montior", "did you mean monitor?"},
        {"fira rnage", "no command \"fira rnage\"; did you mean range?"},
        {"fira range --pear 0x1234", "no option --pear; did you mean --peer?"},
        {"fira range -n -1", "--count: Value -1 not in range 0 to 4294967295"},
        {"simple -p 0x1234 -n -1", "--count"},
        {"monitor -t -1", "--time: Value -1 not in range 0 to 2147483647"},
        {"wait -- -1", "seconds: Value -1 not in range"},
        {"fira range --angles up", "up not in {none,azimuth,elevation,both}"},
        {"country FR --show", "code excludes --show"},
        {"fira range --json --csv", "at most 1 options be given from [--table,--plain"},
        {"record walk.jsonl --table --plain", "at most 1 options be given"},
    };
    for (const auto& [words, says] : kCases) EXPECT_THAT(Complaint(words), HasSubstr(says));
    EXPECT_THAT(Complaint("xyzzy"), Not(HasSubstr("mean")));
    EXPECT_EQ(Complaint("fira range -p 0x1234 -n 0 --angles both --json"), "");
    EXPECT_EQ(Complaint("help fira range"), "");
}

// Calls check for the help of each command.
void ForEachHelp(const CLI::App& app, const std::function<void(const std::string&)>& check) {
    check(app.help());
    for (const CLI::App* command : Commands(app)) ForEachHelp(*command, check);
}

TEST(CommandLine, HelpFitsEightyColumns) {
    ForEachHelp(*MakeCommandLine()->app, [](const std::string& help) {
        for (const std::string& line : Split(help, "\n")) EXPECT_LT(line.size(), 80U) << line;
    });
}

// What bash offers behind words, with a program that has one interface and one country.
std::string Offered(const std::string& words) {
    TemporaryDir folder;
    const auto line = MakeCommandLine();
    Parse(line.get(), {"completion"});
    testing::internal::CaptureStdout();
    Events events;
    line->run(&events);
    const std::string script = testing::internal::GetCapturedStdout();
    android::base::WriteStringToFile(
        script + "uwbctl() { case $1 in ifaces) echo wpan0;; country) echo FR;; esac; }\ncd " +
            folder.path + "; touch walk.jsonl\nCOMP_WORDS=(uwbctl " + words +
            ")\nCOMP_CWORD=$((${#COMP_WORDS[@]}-1))\n_uwbctl\necho \"${COMPREPLY[*]}\"\n",
        folder.path + std::string("/script"));
    // NOLINTNEXTLINE(cert-env33-c): a shell is what is tested.
    FILE* bash = popen(("bash " + std::string(folder.path) + "/script").c_str(), "r");
    std::string offered;
    android::base::ReadFdToString(android::base::borrowed_fd(fileno(bash)), &offered);
    pclose(bash);
    for (const char* file : {"/script", "/walk.jsonl"})
        unlink((folder.path + std::string(file)).c_str());
    return android::base::Trim(offered);
}

TEST(Completion, OffersValuesAndFilesWhereTheyGo) {
    const struct {
        const char* words;
        const char* offered;
    } kCases[] = {
        {"rec", "record"},
        {"fira range --pre", "--preset"},
        {"fira range --preset f", "fast"},
        {"fira range --angles ''", "none azimuth elevation both"},
        {"fira range --iface ''", "wpan0"},
        {"fira range -i ''", "wpan0"},
        {"fira range --channel ''", ""},
        {"fira range w", ""},
        {"info w", "wpan0"},
        {"country F", "FR"},
        {"report w", "walk.jsonl"},
        {"record x --session-file w", "walk.jsonl"},
        {"help mon", "monitor"},
    };
    for (const auto& [words, offered] : kCases) EXPECT_EQ(Offered(words), offered) << words;
}

TEST(Controlees, TellsInWordsAndWithAReason) {
    Controlees controlees({"0x1234"});
    const struct {
        const char* event;
        std::vector<std::string> peers;
        const char* text;
    } kCases[] = {
        {"controlees_added", {"0x5678"}, "added 0x5678"},
        {"controlees_add_failed",
         {"0x5678", "0x9999"},
         "could not add 0x5678, 0x9999: 0x5678 is already in the session"},
        {"controlees_removed", {"0x1234"}, "removed 0x1234"},
        {"controlees_remove_failed", {"0x1234"}, "could not remove 0x1234: not in the session"},
        {"controlees_remove_failed",
         {"0x5678"},
         "could not remove 0x5678: the radio refuses and gives no reason; dmesg may have one"},
    };
    for (const auto& [event, peers, text] : kCases) EXPECT_EQ(controlees.Take(event, peers), text);
}

TEST(Holder, IsWhoGaveTheServiceACallback) {
    // The service is 143, servicemanager 128, the asker 163.
    const std::string others =
        "binder state:\nproc 163\n  ref 65: desc 1 node 6 s 1 w 1 d 0\nproc 143\n"
        "  node 6: u00ee c00ee hs 1 hw 1 ls 1 lw 0 is 3 iw 3 tr 1 proc 163 156 128\nproc 128\n"
        "  node 1: u0000 c0000 hs 1 hw 1 ls 1 lw 1 is 3 iw 3 tr 1 proc 163 156 143\n"
        "  node 21: u00db c00dc hs 1 hw 1 ls 0 lw 0 is 1 iw 1 tr 1 proc 143\n";
    EXPECT_EQ(FindHolder(others, 163), std::nullopt);
    EXPECT_EQ(
        FindHolder(others + "proc 156\n  node 26: u00aa c00aa hs 1 hw 1 tr 1 proc 143\n", 163),
        156);
    EXPECT_EQ(FindHolder("", 163), std::nullopt);
}

TEST(Calibration, KnowsWhatTheFilesBan) {
    TemporaryDir folder;
    const std::string base = std::string(folder.path) + "/";
    const auto write = [&base](const std::string& name, const std::string& text) {
        android::base::WriteStringToFile(text, base + name);
    };
    write("paths", base + "all\n\n" + base + "c-<country>.conf\n");
    write("all", "restricted_channels = 0x20 ; channel 5\n");
    write("c-FR.conf", "ant0_ch5_power = 1\n");
    write("c-JP.conf", "#restricted_channels = 1\nrestricted_channels = 0x220\n");
    write("c-default.conf", "restricted_channels=0 // none\n");
    const CalibrationFiles files(base + "paths");
    EXPECT_EQ(files.problem(), "");
    EXPECT_THAT(files.Countries(), ElementsAre("FR", "JP"));
    const struct {
        const char* code;
        bool has_own_file;
        const char* bans;
    } kCases[] = {{"FR", true, "bans channel 5"},
                  {"JP", true, "bans channels 5, 9"},
                  {"DE", false, "bans no channel"}};
    for (const auto& [code, has_own_file, bans] : kCases) {
        const CountryCalibration calibration = files.Look(code);
        EXPECT_EQ(calibration.has_own_file, has_own_file) << code;
        EXPECT_EQ(BansText(calibration.banned_channels), bans) << code;
    }
    EXPECT_THAT(CalibrationFiles(base + "none").problem(), HasSubstr(base + "none"));
    for (const char* name : {"paths", "all", "c-FR.conf", "c-JP.conf", "c-default.conf"}) {
        unlink((base + name).c_str());
    }
}

}  // namespace
}  // namespace uwbctl
