// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/live_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace uwbctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Measurement At(const std::string& peer, int64_t distance_mm) {
    return {.peer = peer, .distance_mm = distance_mm};
}

std::string PeerName(int number) {
    return "0x10" + std::to_string(number);
}

TableState TwentyPeers() {
    TableState state = {.title = "wpan0  session 42", .note = "added", .prompt = "keys: q quit"};
    for (int i = 10; i < 30; i++) {
        state.peers.emplace_back(PeerName(i), PeerStatistics());
        state.peers.back().second.Add(At(PeerName(i), int64_t{1000} * i));
    }
    return state;
}

size_t Characters(const std::string& text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

// The peers of a frame, in order.
std::vector<std::string> Peers(const TableState& state, FrameSize size) {
    std::vector<std::string> peers;
    for (const FrameLine& line : MakeFrame(state, size)) {
        const std::string text = PlainText(line);
        if (text.starts_with("0x")) peers.push_back(text.substr(0, text.find(' ')));
    }
    return peers;
}

TEST(TableFrame, ARowHasTheLatestAndTheSums) {
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
    EXPECT_THAT(PlainText(MakeFrame(state, {})[2]),
                StartsWith("0x1234       2.500 NLOS  +28.6  0.75   -14.3  0.50     1.0   60.0%  "));
    statistics.Add({.timestamp_ns = 1, .block = 5, .status = 0x21});
    EXPECT_THAT(PlainText(MakeFrame(state, {})[2]), HasSubstr("(0x21)"));
}

TEST(TableFrame, FitsAnyTerminalAndSaysWhatIsLeftOut) {
    TableState state = TwentyPeers();
    state.has_unicode = true;
    for (const size_t scrolled : {0U, 3U, 100U}) {
        state.scrolled = scrolled;
        for (size_t rows = 1; rows < 30; rows++) {
            const auto frame = MakeFrame(state, {.rows = rows, .columns = 87});
            ASSERT_LE(frame.size(), rows);
            size_t left_out = 20;
            std::string all;
            for (const FrameLine& line : frame) {
                const std::string text = PlainText(line);
                EXPECT_LE(Characters(text), 87U);
                EXPECT_FALSE(text.empty());
                if (text.starts_with("0x")) left_out--;
                all += text + "\n";
            }
            if (rows < 3) continue;
            const size_t above = std::min(scrolled, left_out);
            EXPECT_LT(left_out, 20U) << rows;
            const size_t below = left_out - above;
            EXPECT_EQ(all.find("+" + std::to_string(below) + " more") != all.npos, below > 0)
                << all;
            EXPECT_EQ(all.find(std::to_string(above) + " above\n") != all.npos, above > 0) << all;
        }
    }
}

TEST(TableFrame, NoKeyIsNamedByHalfAndTheEndOfWhatIsTypedIsSeen) {
    const struct {
        const char* prompt;
        size_t columns;
        const char* shown;
    } kCases[] = {{"keys: q quit, a add, r remove", 29, "keys: q quit, a add, r remove"},
                  {"keys: q quit, a add, r remove", 28, "keys: q quit, a add"},
                  {"keys: q quit, a add, r remove", 14, "keys: q quit"},
                  {"add 0x1234 0x56_", 12, "0x1234 0x56_"}};
    for (const auto& [prompt, columns, shown] : kCases) {
        const auto frame = MakeFrame({.prompt = prompt}, {.rows = 9, .columns = columns});
        EXPECT_EQ(PlainText(frame.back()), shown);
    }
}

TEST(TableFrame, ScrollsAndSorts) {
    TableState state = TwentyPeers();
    const FrameSize size = {.rows = 8, .columns = 0};  // Room for three peers.
    state.scrolled = 2;
    EXPECT_THAT(Peers(state, size), ElementsAre("0x1012", "0x1013", "0x1014"));
    state.scrolled = 99;
    EXPECT_THAT(Peers(state, size), ElementsAre("0x1027", "0x1028", "0x1029"));
    state.scrolled = 0;
    state.peers[7].second.Add(At(PeerName(17), 1));
    state.peers[5].second.Add({.peer = PeerName(15), .status = 0x21});
    state.order = PeerOrder::kDistance;
    EXPECT_EQ(Peers(state, size).front(), "0x1017");
    EXPECT_EQ(Peers(state, {}).back(), "0x1015");
    state.order = PeerOrder::kLoss;
    EXPECT_EQ(Peers(state, size).front(), "0x1015");
    EXPECT_THAT(PlainText(MakeFrame(state, {})[2]), HasSubstr("RX timeout (0x21)"));
}

TEST(Trend, ShowsMotionAndNotNoise) {
    const struct {
        std::deque<int64_t> distances_mm;
        const char* bars;
    } kCases[] = {
        {{}, ""},
        {{3000, 3030, 2970, 3060, 2940}, "+++++ 1 m"},
        {{1000, 1500, 2000}, "_+@ 1 m"},
        {{1000, 1900, 2100}, "-*# 2 m"},
        {{500, 10000, 500}, "_@_ 10 m"},
        {{0, 40000}, ".@ 50 m"},
    };
    for (const auto& [distances, bars] : kCases) EXPECT_EQ(Trend(distances, false), bars);
}

TEST(LiveTable, AControleeThatWasRemovedIsGoneUntilItAnswersAgain) {
    Events events;
    LiveTable table(&events);
    table.Add(At("0x1234", 1000));
    table.Add(At("0x5678", 1000));
    table.Event("controlees_remove_failed", {"0x5678"});
    table.Event("controlees_removed", {"0x1234"});
    ASSERT_EQ(table.state().peers.size(), 1U);
    EXPECT_EQ(table.state().peers.front().first, "0x5678");
    table.Add(At("0x1234", 1000));
    EXPECT_EQ(table.state().peers.back().second.LossRatio(), 0);
}

}  // namespace
}  // namespace uwbctl
