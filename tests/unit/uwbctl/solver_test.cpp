// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/solver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "uwbctl/locate/locator.h"

namespace uwbctl {
namespace {

using Places = std::vector<Vec3>;

double Between(const Vec3& a, const Vec3& b) {
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

std::vector<Range> RangesTo(const Places& anchors, const Vec3& at) {
    std::vector<Range> ranges;
    for (const Vec3& anchor : anchors) ranges.push_back({anchor, Between(anchor, at)});
    return ranges;
}

const Places kRoom = {{0, 0, 2.5}, {8, 0, 2.5}, {8, 6, 2.5}, {0, 6, 2.5}};
const Places kCar = {{-0.9, 2.2, 0.7}, {0.9, 2.2, 0.7}, {-0.9, -2.2, 0.7}, {0.9, -2.2, 0.7}};
const Places kTower = {{0, 0, 0}, {8, 0, 2.5}, {8, 6, 0}, {0, 6, 2.5}, {4, 3, 5}};
const Places kShelf = {{0, 0, 0}, {2, 0, 0}, {5, 0, 0}};

TEST(Solver, FindsPlacesFromExactDistances) {
    const struct {
        Places anchors;
        Vec3 at;
        bool is_flat;
        std::optional<Vec3> near;
        // What is said of the geometry, and where else it may be.
        const char* problem;
        std::optional<Vec3> mirror;
    } cases[] = {
        {kRoom, {3, 2, 1}, true, {}, "", {}},
        {kRoom, {0, 0, 1}, true, {}, "", {}},
        {kRoom, {-400, 300, 1}, true, {}, "", {}},
        {kCar, {-9, 6, 1}, true, {}, "", {}},
        {kCar, {30, -50, 1}, true, {}, "", {}},
        {{{0, 0, 0}, {4, 0, 0}, {0, 3, 0}}, {1, 1, 0}, true, {}, "", {}},
        {kShelf, {3, 2, 0}, true, Vec3{3, 1, 0}, "one line", Vec3{3, -2, 0}},
        {kShelf, {3, -2, 0}, true, Vec3{3, -1, 0}, "one line", Vec3{3, 2, 0}},
        {{{0, 0, 0}, {4, 0, 0}}, {1, 2, 0}, true, Vec3{1, 1, 0}, "one line", Vec3{1, -2, 0}},
        {kTower, {3, 2, 1}, false, {}, "", {}},
        {kTower, {100, -20, 30}, false, {}, "", {}},
        {kRoom, {3, 2, 1}, false, {}, "one plane", Vec3{3, 2, 4}},
        {kRoom, {3, 2, 4}, false, Vec3{3, 2, 9}, "one plane", Vec3{3, 2, 1}},
    };
    for (const auto& it : cases) {
        SolverOptions options;
        if (it.is_flat) options.height = it.at.z;
        options.near = it.near;
        const Solution solution = Locate(RangesTo(it.anchors, it.at), options);
        ASSERT_TRUE(solution.location) << solution.problem;
        EXPECT_LT(Between(solution.location->at, it.at), 1e-3)
            << it.at.x << " " << it.at.y << ": " << solution.location->at.x;
        EXPECT_LT(solution.location->residual, 1e-4);
        EXPECT_EQ(solution.problem.empty(), *it.problem == '\0') << solution.problem;
        EXPECT_NE(solution.problem.find(it.problem), std::string::npos) << solution.problem;
        ASSERT_EQ(solution.location->mirror.has_value(), it.mirror.has_value());
        if (it.mirror) EXPECT_LT(Between(*solution.location->mirror, *it.mirror), 1e-3);
    }
}

TEST(Solver, SaysWhyThereIsNoTelling) {
    const struct {
        Places anchors;
        bool is_flat;
        const char* problem;
    } cases[] = {
        {{}, true, "two anchors"},
        {{{0, 0, 0}}, true, "two anchors"},
        {{{1, 1, 0}, {1, 1, 2}}, true, "one place"},
        {kShelf, false, "around it"},
        {{{0, 0, 0}, {4, 0, 0}}, false, "around it"},
    };
    for (const auto& it : cases) {
        SolverOptions options;
        if (it.is_flat) options.height = 0;
        const Solution solution = Locate(RangesTo(it.anchors, {1, 2, 0}), options);
        EXPECT_FALSE(solution.location) << it.problem;
        EXPECT_NE(solution.problem.find(it.problem), std::string::npos) << solution.problem;
    }
}

// The ellipse has to hold as many places as one of a standard deviation does: 39 of a hundred.
TEST(Solver, IsAsSureAsItSays) {
    std::mt19937 random(7);  // NOLINT(cert-msc*): the same each time.
    const Vec3 at{6.5, 1.5, 1};
    const SolverOptions options{.height = at.z, .sigma = 0.05};
    std::normal_distribution<double> noise(0, options.sigma);
    constexpr int kTries = 1000;
    int inside = 0;
    double squares = 0;
    for (int i = 0; i < kTries; i++) {
        std::vector<Range> ranges = RangesTo(kCar, at);
        for (Range& range : ranges) range.metres += noise(random);
        const auto location = Locate(ranges, options).location;
        ASSERT_TRUE(location);
        const double x = location->at.x - at.x;
        const double y = location->at.y - at.y;
        const auto& [major, minor, angle] = location->ellipse;
        const double along = x * std::cos(angle) + y * std::sin(angle);
        const double across = y * std::cos(angle) - x * std::sin(angle);
        if (std::hypot(along / major, across / minor) <= 1) inside++;
        squares += x * x + y * y;
    }
    // It grows when distances fit badly, so it holds a few more: integrated, 47 of a hundred.
    EXPECT_NEAR(inside / double{kTries}, 0.468, 0.05);
    const auto exact = Locate(RangesTo(kCar, at), options).location;
    EXPECT_NEAR(std::sqrt(squares / kTries), exact->dilution * options.sigma, 0.03);
}

TEST(Solver, OneOutlierDoesNotTurnEverythingOver) {
    std::vector<Range> ranges =
        RangesTo({{0, 0, 1}, {8, 0, 1}, {8, 6, 1}, {0, 6, 1}, {4, 6, 1}}, {3, 2, 1});
    ranges[2].metres += 1.5;
    const auto location = Locate(ranges, {.height = 1}).location;
    ASSERT_TRUE(location);
    EXPECT_LT(Between(location->at, {3, 2, 1}), 0.15);
    EXPECT_GT(location->residual, 0.5);
}

// Rounds end with the last anchor, or when one is asked again before another has been.
TEST(Locator, CountsRoundsByTheirAnchors) {
    Locator locator({{"a", {0, 0, 0}}, {"b", {4, 0, 0}}, {"c", {0, 3, 0}}}, {.height = 0});
    const Vec3 at{1, 1, 0};
    const double metres[] = {std::sqrt(2), std::sqrt(10), std::sqrt(5)};
    EXPECT_FALSE(locator.Add("a", 1, metres[0]));
    EXPECT_FALSE(locator.Add("stranger", 2, 7));
    EXPECT_FALSE(locator.Add("c", 3, metres[2]));
    const auto whole = locator.Add("b", 4, metres[1]);
    ASSERT_TRUE(whole && whole->solution.location);
    EXPECT_EQ(whole->timestamp_ns, 4);
    EXPECT_EQ(whole->answers, 3u);
    EXPECT_LT(Between(whole->solution.location->at, at), 1e-3);

    // b is missing, and c did not answer: one circle, which says nothing.
    EXPECT_FALSE(locator.Add("a", 5, metres[0]));
    EXPECT_FALSE(locator.Add("c", 6, std::nullopt));
    const auto poor = locator.Add("a", 7, metres[0]);
    ASSERT_TRUE(poor);
    EXPECT_EQ(poor->answers, 1u);
    EXPECT_FALSE(poor->solution.location);
    // Two circles leave two places; it is where it was before.
    locator.Add("b", 8, metres[1]);
    const auto chosen = locator.Add("c", 9, std::nullopt);
    ASSERT_TRUE(chosen && chosen->solution.location);
    EXPECT_LT(Between(chosen->solution.location->at, at), 1e-3);
}

}  // namespace
}  // namespace uwbctl
