// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/recording/statistics.h"

#include <gtest/gtest.h>

namespace uwbctl {
namespace {

Measurement InBlock(int block, std::optional<int64_t> distance_mm) {
    Measurement measurement;
    measurement.timestamp_ns = block * int64_t{100'000'000};
    measurement.block = block;
    measurement.distance_mm = distance_mm;
    return measurement;
}

TEST(PeerStatisticsTest, CountsFailuresAndBlocksThatNeverCame) {
    PeerStatistics statistics;
    statistics.Add(InBlock(1, 1000));
    statistics.Add(InBlock(2, std::nullopt));
    statistics.Add(InBlock(5, 3000));
    // A session that was started anew loses nothing by it.
    statistics.Add(InBlock(0, std::nullopt));
    EXPECT_EQ(statistics.distances(), 2u);
    EXPECT_EQ(statistics.losses(), 4u);
    EXPECT_EQ(statistics.missing(), 2u);
    EXPECT_DOUBLE_EQ(statistics.LossRatio(), 4.0 / 6);
    EXPECT_DOUBLE_EQ(*statistics.Mean(), 2000);
    EXPECT_NEAR(*statistics.Spread(), 1414.2, 0.1);
    EXPECT_EQ(statistics.worst_gap_ns(), 400'000'000);
    EXPECT_DOUBLE_EQ(*statistics.AverageRate(), 2.5);
}

TEST(PeerStatisticsTest, DoesNotCountSkippedBlocksAndTimeAway) {
    PeerStatistics statistics(4);
    statistics.Add(InBlock(0, 1000));
    statistics.Add(InBlock(4, 1000));
    EXPECT_EQ(statistics.losses(), 0u);
    statistics.Add(InBlock(12, 1000));
    EXPECT_EQ(statistics.losses(), 1u);
    statistics.Leave();
    statistics.Add(InBlock(400, 1000));
    statistics.Add(InBlock(404, 1000));
    EXPECT_EQ(statistics.losses(), 1u);
    EXPECT_EQ(statistics.worst_gap_ns(), 800'000'000);
    EXPECT_DOUBLE_EQ(*statistics.AverageRate(), 3 / 1.6);
}

// Ten a second for long, then two a second: what is shown is what it is now.
TEST(PeerStatisticsTest, TheRateIsOfTheLastFewDistances) {
    PeerStatistics statistics;
    for (int block = 0; block < 100; block++) statistics.Add(InBlock(block, 1000 + block));
    EXPECT_DOUBLE_EQ(*statistics.Rate(), 10);
    for (int block = 104; block <= 204; block += 5) statistics.Add(InBlock(block, 5000));
    EXPECT_DOUBLE_EQ(*statistics.Rate(), 2);
    EXPECT_NEAR(*statistics.AverageRate(), 120 / 20.4, 1e-9);
    EXPECT_EQ(statistics.recent_mm().size(), 20U);
    EXPECT_EQ(statistics.minimum_mm(), 1000);
    EXPECT_EQ(statistics.maximum_mm(), 5000);
    EXPECT_EQ(statistics.worst_gap_ns(), 500'000'000);
}

TEST(PeerStatisticsTest, HasNoNumbersBeforeTheyMeanSomething) {
    PeerStatistics statistics;
    EXPECT_FALSE(statistics.Mean());
    EXPECT_EQ(statistics.LossRatio(), 0);
    statistics.Add(InBlock(0, 1000));
    EXPECT_FALSE(statistics.Spread());
    EXPECT_FALSE(statistics.Rate());
    EXPECT_FALSE(statistics.AverageRate());
}

}  // namespace
}  // namespace uwbctl
