// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/table_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace uwbctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Peers "0x0000" on, a metre more away each, in falling order of their losses.
TableState StateOf(int peers) {
    TableState state = {.title = "title", .note = "note", .prompt = "prompt"};
    for (int p = 0; p < peers; p++) {
        state.peers.emplace_back("0x000" + std::to_string(p), PeerStatistics());
        for (int block = 0; block < 4; block++) {
            Measurement measurement = {.timestamp_ns = block * int64_t{250'000'000},
                                       .block = block,
                                       .peer = state.peers.back().first};
            if (block >= 3 - p) measurement.distance_mm = 1000 * (p + 1) + block;
            measurement.status = measurement.distance_mm ? 0 : 0x21;
            state.peers.back().second.Add(measurement);
        }
    }
    return state;
}

std::vector<std::string> Texts(const TableState& state, FrameSize size) {
    std::vector<std::string> texts;
    for (const FrameLine& line : MakeFrame(state, size)) texts.push_back(PlainText(line));
    return texts;
}

TEST(TableFrameTest, ARowHasTheLatestAndTheSums) {
    TableState state;
    state.peers.emplace_back("0x1234", PeerStatistics());
    PeerStatistics& statistics = state.peers.back().second;
    statistics.Add({.timestamp_ns = 0, .block = 0, .distance_mm = 1000});
    statistics.Add({.timestamp_ns = 1'000'000'000,
                    .block = 4,
                    .distance_mm = 2500,
                    .line_of_sight = false,
                    .azimuth = Angle{.radians = 0.5, .figure_of_merit = 0.75},
                    .elevation = Angle{.radians = -0.25, .figure_of_merit = 0.5}});
    EXPECT_THAT(Texts(state, {})[2],
                StartsWith("0x1234       2.500 NLOS  +28.6  0.75   -14.3  0.50     1.0   60.0%  "));
    statistics.Add({.timestamp_ns = 1, .block = 5, .status = 0x21});
    EXPECT_THAT(Texts(state, {})[2], HasSubstr("(0x21)"));
}

TEST(TableFrameTest, GivesUpWhatMattersLeastWhereThereIsNoRoom) {
    const struct {
        FrameSize size;
        std::vector<std::string> begins;
    } kCases[] = {
        {{0, 0}, {"title", "peer", "0x0000", "0x0001", "0x0002", "note", "prompt"}},
        {{7, 80}, {"title", "peer", "0x0000", "0x0001", "0x0002", "note", "prompt"}},
        {{6, 80}, {"title", "peer", "0x0000", "+2 more", "note", "prompt"}},
        {{5, 80}, {"title", "0x0000", "+2 more", "note", "prompt"}},
        {{4, 80}, {"title", "0x0000", "+2 more", "prompt"}},
        {{3, 80}, {"title", "0x0000", "+2 more"}},
        {{1, 3}, {"tit"}},
    };
    for (const auto& [size, begins] : kCases) {
        const auto texts = Texts(StateOf(3), size);
        ASSERT_EQ(texts.size(), begins.size()) << size.rows;
        for (size_t i = 0; i < texts.size(); i++) {
            EXPECT_THAT(texts[i], StartsWith(begins[i])) << size.rows;
            if (size.columns != 0) EXPECT_LE(texts[i].size(), size.columns);
        }
    }
}

TEST(TableFrameTest, SortsAndScrolls) {
    TableState state = StateOf(3);
    std::swap(state.peers[0], state.peers[1]);
    const struct {
        PeerOrder order;
        size_t scrolled;
        const char* first;
        const char* more;
    } kCases[] = {
        {PeerOrder::kSeen, 0, "0x0001", "+2 more"},
        {PeerOrder::kAddress, 0, "0x0000", "+2 more"},
        {PeerOrder::kAddress, 1, "0x0001", "+1 more, 1 above"},
        {PeerOrder::kAddress, 9, "0x0002", "+0 more, 2 above"},
        {PeerOrder::kDistance, 2, "0x0002", "+0 more, 2 above"},
        {PeerOrder::kLoss, 0, "0x0000", "+2 more"},
    };
    for (const auto& [order, scrolled, first, more] : kCases) {
        state.order = order;
        state.scrolled = scrolled;
        EXPECT_THAT(Texts(state, {3, 80}),
                    ElementsAre(StartsWith("title"), StartsWith(first), more));
    }
}

TEST(TableFrameTest, ATrendGrowsWithTheDistanceButNotWithNoise) {
    const struct {
        std::deque<int64_t> distances;
        const char* trend;
    } kCases[] = {
        {{}, ""},
        {{1000, 1000, 1000}, "+++ 1 m"},
        {{1000, 1010, 990}, "+++ 1 m"},
        {{0, 1000, 2000}, "_+@ 2 m"},
        {{2000, 1000, 0}, "@+_ 2 m"},
        {{0, 30'000}, "-# 50 m"},
    };
    for (const auto& [distances, trend] : kCases) EXPECT_EQ(Trend(distances, false), trend);
}

}  // namespace
}  // namespace uwbctl
