// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/report/report_charts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace uwbctl {
namespace {

using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

// Of a session with a round each 0.4 s: blocks of 0.1 s of which one in four is used.
Recording Strided(const std::vector<int>& blocks, const std::string& peer = "0x1234") {
    Recording recording;
    recording.session = {{"rangingBlockDurationMs", 100},
                         {"isBlockStridingEnabled", true},
                         {"blockStridingValue", 3}};
    for (const int block : blocks) {
        recording.measurements.push_back({.timestamp_ns = block * int64_t{100'000'000},
                                          .block = block,
                                          .peer = peer,
                                          .distance_mm = 1000});
    }
    return recording;
}

Measurement Seen(double degrees, double elevation_degrees, int64_t distance_mm,
                 const std::string& peer = "0x1234") {
    return {.peer = peer,
            .distance_mm = distance_mm,
            .azimuth = Angle{.radians = degrees * M_PI / 180, .figure_of_merit = 0.95},
            .elevation = Angle{.radians = elevation_degrees * M_PI / 180, .figure_of_merit = 0.15}};
}

// The numbers that follow each occurrence of a text.
std::vector<double> NumbersAfter(const std::string& html, const std::string& text) {
    std::vector<double> numbers;
    for (size_t at = html.find(text); at != html.npos; at = html.find(text, at + 1)) {
        numbers.push_back(std::stod(html.substr(at + text.size())));
    }
    return numbers;
}

TEST(ReportChartsTest, LinesBreakWhereRoundsAreMissing) {
    const struct {
        std::vector<int> blocks;
        size_t lines;
        double losses;
    } kCases[] = {{{0, 4, 8, 12}, 1, 0}, {{0, 4, 12, 16}, 2, 1}, {{0, 4, 16, 20, 32, 36}, 3, 4}};
    for (const auto& [blocks, lines, losses] : kCases) {
        const Recording recording = Strided(blocks);
        const ReportData data = ToReportData(recording);
        EXPECT_DOUBLE_EQ(*data.interval_s, 0.4);
        EXPECT_EQ(data.peers[0].statistics.losses(), losses);
        const std::string chart = DistanceChart(recording, data);
        const std::regex path("class=\"line p0\" d=\"([^\"]*)");
        std::smatch match;
        ASSERT_TRUE(std::regex_search(chart, match, path));
        const std::string drawn = match[1];
        EXPECT_EQ(static_cast<size_t>(std::count(drawn.begin(), drawn.end(), 'M')), lines);
    }
}

TEST(ReportChartsTest, ASinglePointIsSeenWhateverItsPeersDashes) {
    Recording recording;
    for (int peer = 0; peer < 9; peer++) {
        for (const Measurement& measurement :
             Strided({0, 4, 400}, "0x000" + std::to_string(peer)).measurements) {
            recording.measurements.push_back(measurement);
        }
    }
    recording.session = Strided({}).session;
    const std::string chart = DistanceChart(recording, ToReportData(recording));
    EXPECT_THAT(chart, HasSubstr("class=\"line p0 dash\" d=\"M0 "));
    EXPECT_THAT(chart, Not(::testing::ContainsRegex("dash\" d=\"[^\"]*h0")));
    EXPECT_EQ(NumbersAfter(chart, "class=\"line p0\" d=\"M4000 ").size(), 2U);
}

TEST(ReportChartsTest, PeersStandWhereTheyAre) {
    const struct {
        double degrees;
        double elevation;
        double x;
        double y;
    } kCases[] = {
        {0, 0, 0, 2}, {90, 0, 2, 0}, {-90, 0, -2, 0}, {180, 0, 0, -2}, {30, 60, 0.5, 0.866}};
    for (const auto& [degrees, elevation, x, y] : kCases) {
        Recording recording;
        recording.measurements = {Seen(degrees, elevation, 2000)};
        const ReportData data = ToReportData(recording);
        const ChartPoint place = data.peers[0].positions.at(0).place;
        EXPECT_NEAR(place.x, x, 0.001) << degrees;
        EXPECT_NEAR(place.y, y, 0.001) << degrees;
        // In percent from the left and from the top; the radio is the middle of the width.
        const std::string view = TopView(data);
        const double right = NumbersAfter(view, "<circle class=\"last p0\" cx=\"").at(0) - 50;
        const double radio = NumbersAfter(view, "<text x=\"50.00%\" y=\"").back();
        const double down = std::stod(view.substr(view.find("cy=\"", view.find("last p0")) + 4));
        EXPECT_EQ(right > 0.1, x > 0.1) << degrees;
        EXPECT_EQ(right < -0.1, x < -0.1) << degrees;
        EXPECT_EQ(radio - down > 0.1, y > 0.1) << degrees;
        EXPECT_EQ(radio - down < -0.1, y < -0.1) << degrees;
    }
}

TEST(ReportChartsTest, AFigureOfMeritIsCountedForItsAngleAndItsPeer) {
    Recording recording;
    for (int i = 0; i < 9; i++) recording.measurements.push_back(Seen(0, 0, 1000));
    recording.measurements.push_back(Seen(0, 0, 1000, "0x5678"));
    const ReportData data = ToReportData(recording);
    // Both bars are full: all of each peer's azimuths are in the last tenth.
    const std::string azimuth = MeritHistogram(data, false);
    EXPECT_THAT(azimuth, HasSubstr("0x1234: 9 of 9"));
    EXPECT_THAT(azimuth, HasSubstr("0x5678: 1 of 1"));
    EXPECT_THAT(NumbersAfter(azimuth, "class=\"bar p0\" d=\"M"), ElementsAre(DoubleNear(3624, 1)));
    EXPECT_THAT(NumbersAfter(azimuth, "class=\"bar p1\" d=\"M"), ElementsAre(DoubleNear(3800, 1)));
    EXPECT_THAT(NumbersAfter(MeritHistogram(data, true), "class=\"bar p0\" d=\"M"),
                ElementsAre(DoubleNear(424, 1)));
}

TEST(ReportChartsTest, ARateIsThatOfItsTime) {
    // Ten rounds a second for a minute, then every second one of them.
    Recording recording;
    recording.session = {{"rangingBlockDurationMs", 100}};
    for (int block = 0; block < 1200; block += block < 600 ? 1 : 2) {
        recording.measurements.push_back({.timestamp_ns = block * int64_t{100'000'000},
                                          .block = block,
                                          .peer = "0x1234",
                                          .distance_mm = 1000});
    }
    const std::string chart = RateChart(ToReportData(recording));
    // The step lies half-way, and goes from the top to the middle.
    EXPECT_THAT(chart, HasSubstr("L2003 0L2003 1000"));
    EXPECT_THAT(chart, HasSubstr("10.0 a second"));
    const auto lost_at = NumbersAfter(LossChart(ToReportData(recording)), "% lost at ");
    EXPECT_NEAR(lost_at.front(), 60, 0.2);
    EXPECT_NEAR(lost_at.back(), 119.8, 0.5);
}

TEST(ReportChartsTest, AxesEndOnTicksThatPeopleRead) {
    const struct {
        double low;
        double high;
        std::vector<std::string> labels;
    } kCases[] = {
        {0, 9.876, {"0", "2", "4", "6", "8", "10"}},
        {1.2, 1.5, {"1.2", "1.3", "1.4", "1.5"}},
        {-3, 2, {"\u22123", "\u22122", "\u22121", "0", "1", "2"}},
    };
    for (const auto& [low, high, labels] : kCases) {
        std::vector<std::string> drawn;
        for (const Axis::Tick& tick : ValueAxis(low, high, 5, "").ticks)
            drawn.push_back(tick.label);
        EXPECT_EQ(drawn, labels);
    }
    EXPECT_EQ(TimeAxis(90).title, "Time (s)");
    EXPECT_EQ(TimeAxis(600).ticks.back().label, "10:00");
    EXPECT_EQ(TimeAxis(3 * 3600).ticks[1].label, "0:30");
    EXPECT_EQ(NumberText(-1234567.891, 2), "\u22121\u202F234\u202F567.89");
    EXPECT_EQ(NumberText(-0.001, 2), "0.00");
}

}  // namespace
}  // namespace uwbctl
