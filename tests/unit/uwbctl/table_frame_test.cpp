// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/table_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace uwbctl {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

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

}  // namespace
}  // namespace uwbctl
