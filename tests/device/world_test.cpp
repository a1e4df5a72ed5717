// SPDX-License-Identifier: Apache-2.0

// What the simulated radios cannot do, as no radio could; and the scenes that arrange their world.
#include <algorithm>
#include <cmath>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

using WorldTest = OpenTest;

// Slot in RSTU (1200 are 1 ms), slots, block in ms, controlees; and whether a radio can do it.
TEST_F(WorldTest, RefusesTimingThatNoRadioCouldKeep) {
    FiraClient fira(hal, 0);
    const struct {
        int slot, slots, block, controlees;
        bool possible;
    } cases[] = {
        {2400, 20, 1, 1, false},  {2400, 20, 39, 1, false},     {2400, 20, 40, 1, true},
        {2401, 20, 40, 1, false}, {65535, 255, 13927, 1, true}, {65535, 255, 13926, 1, false},
        {239, 10, 50, 1, false},  {240, 10, 50, 1, true},       {2400, 1, 50, 1, false},
        {2400, 2, 50, 1, true},   {2400, 4, 50, 4, false},      {2400, 5, 50, 4, true},
    };
    for (const auto& it : cases) {
        FiraTwrSession session = ControllerSession();
        session.slotDurationRstu = it.slot;
        session.slotsPerRangingRound = it.slots;
        session.rangingBlockDurationMs = it.block;
        for (int i = 1; i < it.controlees; i++) {
            session.destAddressList.push_back(Short(static_cast<uint16_t>(0x100 + i)));
        }
        EXPECT_EQ(fira.Init(session), it.possible ? "OK" : "1: Unsupported operation")
            << it.slot << " x " << it.slots << " in " << it.block << " for " << it.controlees;
        if (it.possible) EXPECT_EQ(fira.Start(), "OK");
        EXPECT_EQ(fira.Reset(), "OK");
    }
    // Nor can a running one take more than it has slots for: ten, and the first is its own.
    fira.Run();
    Addresses more;
    for (int i = 1; i <= 9; i++) more.push_back(Short(static_cast<uint16_t>(0x100 + i)));
    EXPECT_EQ(fira.Add(kSession, more), "OK");
    EXPECT_THAT(fira.Event(), StartsWith("add failed 42"));
    more.pop_back();
    EXPECT_EQ(fira.Add(kSession, more), "OK");
    EXPECT_THAT(fira.Event(), StartsWith("added 42"));
}

TEST_F(WorldTest, WhoIsOutOfRangeDoesNotAnswer) {
    const struct {
        const char* world;
        bool answers;
    } cases[] = {
        {"tag 0x1234 0 199.9 0", true},
        {"tag 0x1234 0 200.1 0", false},
        {"tag 0x1234 120 120 120", false},
        {"tag 0x1234 0 40000 0", false},
        {"tag 0x1234 0 40000 0\nrange 40000.1", true},
        {"range 5.5\ntag 0x1234 0 0 5.4", true},
        {"range 5.5\ntag 0x1234 0 0 -5.6", false},
    };
    FiraClient fira(hal, 0);
    fira.Run();
    for (const auto& [world, answers] : cases) {
        LayOut("noise 0\n"s + world);
        EXPECT_EQ(fira.Fresh().measurements.at(0).status, answers ? 0 : 0x21) << world;
    }
}

TEST_F(WorldTest, ScenesBeginFromNothingAndPathsEnd) {
    const auto bodies = [] {
        const std::string world = ReadText("/sys/kernel/debug/mcps802154_sim/world");
        return std::count(world.begin(), world.end(), '\n') - 1;
    };
    WriteText("/tmp/one.scene", "path 0x1234 0 0 1 0 0.1 1 1 0\ntag 0x5678 0 3 0 1 0 0\n");
    WriteText("/tmp/none.scene", "# The radios alone.\n");
    Shell("scene /tmp/one.scene");
    EXPECT_EQ(bodies(), 4);
    Shell("scene /tmp/none.scene; sleep 0.3");
    EXPECT_EQ(bodies(), 2) << ReadText("/sys/kernel/debug/mcps802154_sim/world");
}

// Sixteen tags, so that a second has a lot of measurements; everything that a model does.
TEST_F(WorldTest, ModelsErrAsTheySay) {
    constexpr int kTags = 16;
    constexpr int kReports = 60;
    // At (0, 5) or (5, 5), by a model and what else; "0" stands for each tag.
    const struct {
        const char* model;
        const char* place;
        const char* world;
        double lost, mean_mm, sigma_mm, sigma_degrees, merit;
    } cases[] = {
        {"noise 0", "0 5 0", "", 0, 5000, 0, 0, 240},
        {"noise 100 bias 50 bias_per_m 10", "0 5 0", "", 0, 5100, 100, 0, 240},
        {"noise 10 noise_per_m 30", "0 5 0", "", 0, 5000, 160, 0, 240},
        {"nlos_bias 400 nlos_noise 50", "0 5 0", "", 0, 5000, 0, 0, 240},
        {"nlos_bias 400 nlos_noise 50", "0 5 0", "wall -1 3 1 3", 0, 5400, 50, 0, 120},
        {"nlos_outliers 50 outlier 1000", "0 5 0", "wall -1 3 1 3", 0, 5250, 323, 0, 120},
        {"outliers 10 outlier 600", "0 5 0", "", 0, 5030, 104, 0, 240},
        {"loss 10 loss_per_m 4", "0 5 0", "", 0.30, 5000, 0, 0, 240},
        // 0.3 of those in sight begin one of two: 0.6 lost for each that is not.
        {"burst 30 burst_length 2", "0 5 0", "", 0.375, 5000, 0, 0, 240},
        {"noise 0", "0 5 0", "wall -1 3 1 3 stops", 1, 0, 0, 0, 0},
        {"angle_noise 2 angle_edge 3 fov 120", "5 5 0", "", 0, 7071, 0, 4.25, 112},
        {"angle_noise 2 angle_edge 3 fov 80", "5 5 0", "", 0, 7071, 0, 3.5, 0},
        {"angle_noise 2 fov 120", "0 -5 0", "", 0, 5000, 0, 2, 0},
        {"angle_noise 2 angle_edge 3 fov 120", "5 5 0", "heading radio0 45", 0, 7071, 0, 2, 240},
        {"angle_noise 2 angle_edge 3 fov 120", "0 5 0", "heading radio0 -45", 0, 5000, 0, 4.25,
         112},
        {"angle_noise 2 fov 120", "0 5 0", "heading radio0 180", 0, 5000, 0, 2, 0},
    };
    FiraTwrSession session = ControllerSession();
    session.destAddressList.clear();
    for (int i = 0; i < kTags; i++) {
        session.destAddressList.push_back(Short(static_cast<uint16_t>(0x100 + i)));
    }
    session.slotDurationRstu = 600;
    session.slotsPerRangingRound = 20;
    session.rangingBlockDurationMs = 20;
    for (const auto& it : cases) {
        std::string world = "model * "s + it.model + "\n" + it.world + "\n";
        for (int i = 0; i < kTags; i++) {
            world += "tag " + std::to_string(0x100 + i) + " " + it.place + "\n";
        }
        // The same measurements each time: nothing here is left to chance.
        LayOut(world + "seed 3\nwait");
        FiraClient fira(hal, 0);
        fira.Run(session);
        double n = 0, mm = 0, squares = 0, degrees = 0, degree_squares = 0;
        int merit = 0;
        for (int report = 0; report < kReports; report++) {
            for (const FiraTwrMeasurement& measured : fira.Next().measurements) {
                if (measured.status != 0) continue;
                n++;
                mm += measured.distance;
                squares += std::pow(measured.distance - it.mean_mm, 2);
                merit = static_cast<int>(std::lround(measured.azimuthFigureOfMerit * 255));
                const double angle = measured.azimuth * 180 / M_PI;
                degrees += angle;
                degree_squares += angle * angle;
            }
        }
        fira.Halt();
        EXPECT_EQ(fira.Reset(), "OK");
        EXPECT_NEAR(1 - n / (kTags * kReports), it.lost, it.lost == 1 ? 0 : it.lost / 10)
            << it.model << it.world;
        if (n == 0) continue;
        EXPECT_NEAR(mm / n, it.mean_mm, it.sigma_mm / 10 + 1) << it.model;
        EXPECT_NEAR(std::sqrt(squares / n), it.sigma_mm, it.sigma_mm / 10 + 1) << it.model;
        const double spread = std::sqrt(degree_squares / n - std::pow(degrees / n, 2));
        EXPECT_NEAR(spread, it.sigma_degrees, it.sigma_degrees / 10 + 0.01) << it.model;
        EXPECT_EQ(merit, it.merit) << it.model;
    }
}

TEST_F(WorldTest, PathsAreExactAndRunsRepeat) {
    const auto run = [this](const std::string& world) {
        LayOut(world);
        FiraClient fira(hal, 0);
        fira.Run();
        std::vector<int> distances;
        for (int i = 0; i < 14; i++) {
            const auto& measured = fira.Next().measurements.at(0);
            distances.push_back(measured.status == 0 ? measured.distance : -1);
        }
        fira.Halt();
        EXPECT_EQ(fira.Reset(), "OK");
        return distances;
    };
    // A second of the world for each block of 50 ms: there, a rest, out of the world, back and
    // again.
    const std::string path =
        "tag 0x1234 0 9 0\npath 0x1234 loop\npoint 0x1234 0 0 1 0\npoint 0x1234 4 0 5 0\n"
        "point 0x1234 6 0 5 0 lost\npoint 0x1234 8 0 5 0\npoint 0x1234 12 0 1 0\nrate 20\nwait\n";
    EXPECT_THAT(run("noise 0\n" + path), ElementsAre(1000, 2000, 3000, 4000, 5000, 5000, -1, -1,
                                                     5000, 4000, 3000, 2000, 1000, 2000));
    const std::string noisy = "model * noise 100 loss 20 drift 50\n" + path;
    const auto first = run(noisy);
    EXPECT_EQ(run(noisy), first);
    EXPECT_NE(run("seed 2\n" + noisy), first);
}

TEST_F(WorldTest, RadiosGoAlongWithAFasterWorldIfAsked) {
    // From one report to the next, a metre a second ahead: blocks of 50 ms, way, our time.
    const struct {
        const char* rate;
        int blocks;
        double mm, seconds;
    } cases[] = {
        {"rate 1", 1, 50, 50e-3},
        {"rate 10 blocks", 1, 50, 5e-3},
        // The radios are never slower than life, and report once in a millisecond at most.
        {"rate 0.5 blocks", 1, 25, 50e-3},
        {"rate 500 blocks", 10, 500, 1e-3},
    };
    constexpr int kReports = 40;
    for (const auto& [rate, blocks, mm, seconds] : cases) {
        LayOut("noise 0\ntag 0x1234 0 10 0 0 1 0\nwait\n"s + rate);
        FiraClient fira(hal, 0);
        fira.Run();
        FiraReport before = fira.Next();
        const auto began = std::chrono::steady_clock::now();
        for (int i = 1; i < kReports; i++) {
            const FiraReport now = fira.Next();
            EXPECT_EQ(now.data.blockIndex, before.data.blockIndex + blocks) << rate;
            EXPECT_EQ(now.measurements.at(0).timestampNs,
                      before.measurements.at(0).timestampNs + int64_t{blocks} * 50'000'000)
                << rate;
            EXPECT_NEAR(now.measurements.at(0).distance, before.measurements.at(0).distance + mm, 1)
                << rate;
            before = now;
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        EXPECT_LT(took.count(), kReports * seconds * 1.5 + 0.2) << rate;
        // The world's file is of the reports' clock, and says where that finds things.
        if (mm == blocks * 50) ExpectTruth(fira.Next().measurements.at(0), 0, "tag 0x1234");
        fira.Halt();
        EXPECT_EQ(fira.Reset(), "OK");
    }
    // A new world has everybody's clock again, for who ranges already as well.
    LayOut("tag 0x1234 0 3 0\nrate 100 blocks");
    FiraClient fira(hal, 0);
    fira.Run();
    fira.Next();
    LayOut("tag 0x1234 0 3 0");
    double ahead = 1;
    for (int i = 0; i < 1000 && ahead > 0; i++) {
        const int64_t timestamp_ns = fira.Next().measurements.at(0).timestampNs;
        const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
        ahead = static_cast<double>(timestamp_ns - now.count()) / 1e9;
    }
    EXPECT_LE(ahead, 0);
    EXPECT_GT(ahead, -5);
}

TEST_F(WorldTest, AMistakeInASceneLeavesTheWorldAlone) {
    LayOut("tag 0x1234 0 3 0");
    // There are two radios here, which the scene's text alone does not say.
    WriteText("/tmp/bad.scene", "# A comment\nnoise 0\nradio 2 0 0 0\n");
    EXPECT_THAT(Shell("scene /tmp/bad.scene 2>&1 || true"),
                StartsWith("uwbctl: /tmp/bad.scene:3: 2: no such radio"));
    EXPECT_THAT(ReadText("/sys/kernel/debug/mcps802154_sim/world"), HasSubstr("tag 0x1234 "));
}

using LocateTest = DeviceTest;

// What is printed of the error is against the true place.
TEST_F(LocateTest, FindsWhatMoves) {
    const struct {
        const char* scene;
        const char* command;
        double rms;
    } cases[] = {
        {"room", "--height 1 -a 0xa001 -a 0xa002 -a 0xa003 -a 0xa004", 0.06},
        {"room", "--3d -a 0xa001 -a 0xa002 -a 0xa003 -a 0xa004 -a 0x0001", 0.2},
    };
    for (const auto& [scene, command, rms] : cases) {
        const std::string said =
            Shell("scene "s + scene + "; uwbctl locate -n 30 -b 50 " + command +
                  " 2>&1 >/dev/null | sed -n 's/.*rms \\([0-9.]*\\) m.*/\\1/p'");
        ASSERT_FALSE(said.empty());
        EXPECT_GT(std::stod(said), 0.005);
        EXPECT_LT(std::stod(said), rms);
    }
}

}  // namespace
}  // namespace hardware::velta::device
