// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/report/report_page.h"

#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>

namespace uwbctl {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Measurement Reported(int block, std::optional<int64_t> distance_mm,
                     const std::string& peer = "0x1234") {
    Measurement measurement;
    measurement.timestamp_ns = block * int64_t{200'000'000};
    measurement.block = block;
    measurement.peer = peer;
    measurement.status = distance_mm ? 0 : 0x21;
    measurement.distance_mm = distance_mm;
    if (distance_mm) measurement.azimuth = Angle{.radians = 0.01 * block, .figure_of_merit = 0.8};
    return measurement;
}

Recording Of(std::vector<Measurement> measurements) {
    Recording recording;
    recording.time = "2026-11-21T08:00:00Z";
    recording.iface = "wpan0";
    recording.measurements = std::move(measurements);
    return recording;
}

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) count++;
    return count;
}

TEST(ReportPageTest, TakesNothingOfARecordingForItsOwn) {
    const std::string evil = "\"><script src='http://x.example/'>";
    Recording recording = Of({Reported(0, 1000, evil), Reported(1, 1100, evil)});
    recording.iface = recording.time = evil;
    recording.session = {{"id", evil},
                         {evil, evil},
                         {"sessionKey", "c0ffee"},
                         {"vendorId", "c0:ff"},
                         {"staticStsIV", "c0:ff:ee"},
                         {"keyRotationRate", 77}};
    recording.events = {{.name = evil, .peers = {evil}, .measurements_before = 1}};
    recording.end = RecordingEnd{.reason = evil};
    const std::string page = ReportPage(recording);
    EXPECT_THAT(page, Not(HasSubstr("<script")));
    EXPECT_THAT(page, Not(HasSubstr("c0ff")));
    EXPECT_THAT(page, Not(HasSubstr("c0:ff")));
    EXPECT_THAT(page, HasSubstr("<dt>keyRotationRate</dt><dd>77</dd>"));
    EXPECT_THAT(page, HasSubstr("&lt;script"));
}

TEST(ReportPageTest, DrawsOddRecordings) {
    std::vector<Measurement> failures;
    std::vector<Measurement> same_time;
    for (int i = 0; i < 20; i++) {
        failures.push_back(Reported(i, std::nullopt));
        same_time.push_back(Reported(0, 1000 + i));
    }
    std::vector<Measurement> sixteen;
    sixteen.reserve(160);
    for (int i = 0; i < 160; i++)
        sixteen.push_back(Reported(i / 16, 100 * i, std::to_string(i % 16)));
    const std::vector<Measurement> far_apart = {Reported(0, INT64_MAX / 2), Reported(INT32_MAX, -5),
                                                Reported(INT32_MIN, 0)};
    const std::vector<Measurement> none;
    const std::vector<Measurement> one = {Reported(3, 1000)};
    for (const auto* all : std::initializer_list<const std::vector<Measurement>*>{
             &none, &one, &failures, &same_time, &sixteen, &far_apart}) {
        const auto& measurements = *all;
        const std::string page = ReportPage(Of(measurements));
        std::map<std::string, int> peers;
        for (const Measurement& measurement : measurements) peers[measurement.peer]++;
        EXPECT_EQ(Count(page, "<th scope=\"row\">"), peers.size());
        EXPECT_EQ(Count(page, "<svg class=\"plan\""), peers.empty() || all == &failures ? 0U : 1U);
        EXPECT_THAT(page, Not(::testing::ContainsRegex("[\" MLh>-](nan|inf)[\" %L<]")));
    }
}

TEST(ReportPageTest, LeavesOutOfTheDrawingButNotOfTheNumbers) {
    std::vector<Measurement> measurements;
    measurements.reserve(100'000);
    for (int i = 0; i < 100'000; i++) measurements.push_back(Reported(i, 1000));
    measurements[51'234].distance_mm = 9876;
    measurements[20'001].distance_mm = 100;
    const std::string page = ReportPage(Of(measurements));
    EXPECT_THAT(page, HasSubstr("<td data-name=\"Max, m\">9.876</td>"));
    EXPECT_THAT(page, HasSubstr("<td data-name=\"Min, m\">0.100</td>"));
    EXPECT_THAT(page, HasSubstr("<td data-name=\"Count\">100\u202F000</td>"));
    // The spikes are drawn too: to the top, which is at 10 m, and to the bottom, which is at 0.
    EXPECT_THAT(page, HasSubstr("L2049 25"));
    EXPECT_THAT(page, HasSubstr("L800 1980"));
    EXPECT_LT(page.size(), 400'000u);
}

TEST(ReportPageTest, TakesTwentyThousandPeers) {
    std::vector<Measurement> measurements;
    measurements.reserve(40'000);
    for (int i = 0; i < 40'000; i++) {
        measurements.push_back(Reported(i / 20'000, 1000 + i % 20'000, std::to_string(i % 20'000)));
    }
    EXPECT_EQ(Count(ReportPage(Of(std::move(measurements))), "<th scope=\"row\">"), 20'000U);
}

TEST(ReportPageTest, DoesNotCountWhatARemovedPeerDidNotSend) {
    Recording recording =
        Of({Reported(0, 1000), Reported(1, 1000), Reported(90, 1000), Reported(91, 1000)});
    EXPECT_THAT(ReportPage(recording), HasSubstr("<td data-name=\"Losses, %\">96</td>"));
    recording.events = {{"controlees_removed", {"0x1234"}, 2}, {"controlees_added", {"0x1234"}, 2}};
    EXPECT_THAT(ReportPage(recording), HasSubstr("<td data-name=\"Losses, %\">0</td>"));
}

TEST(ReportPageTest, NeverHarmsWhatIsThere) {
    const TemporaryDir dir;
    const std::string file = std::string(dir.path) + "/walk.jsonl";
    const std::string link = std::string(dir.path) + "/link";
    const std::string text =
        R"({"type":"session","format":"uwbctl-recording","version":1,"time":"","iface":"wpan0"})";
    ASSERT_TRUE(android::base::WriteStringToFile(text, file));
    std::filesystem::create_symlink(file, link);
    EXPECT_THROW(WriteReport(file, file), Failure);
    EXPECT_THROW(WriteReport(file, link), Failure);
    EXPECT_THROW(WriteReport(file, file + "/below"), Failure);
    std::string read;
    ASSERT_TRUE(android::base::ReadFileToString(file, &read));
    EXPECT_EQ(read, text);

    // By default its name is the recording's.
    const std::string page = std::string(dir.path) + "/walk.html";
    EXPECT_EQ(WriteReport(file, ""), kDone);
    EXPECT_TRUE(std::filesystem::exists(page));
    EXPECT_EQ(WriteReport(file, page), kDone);
    EXPECT_EQ(WriteReport(file, "/dev/null"), kDone);
    for (const std::string& unwritable : {std::string("/dev/full"), std::string(dir.path)}) {
        try {
            WriteReport(file, unwritable);
            ADD_FAILURE() << unwritable;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status(), kCannotWrite) << unwritable;
        }
    }
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    // A page that cannot be made leaves the one that is there, and nothing else.
    ASSERT_TRUE(android::base::WriteStringToFile("no recording", file));
    EXPECT_THROW(WriteReport(file, page), Failure);
    ASSERT_TRUE(android::base::ReadFileToString(page, &read));
    EXPECT_THAT(read, HasSubstr("Nothing was measured"));
    const std::filesystem::directory_iterator entries(dir.path);
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 3);
}

}  // namespace
}  // namespace uwbctl
