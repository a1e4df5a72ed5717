// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/world_desk.h"

#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

namespace uwbctl {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr milliseconds kLongerThanAnInterval{120};

// The virtual radio's file, at rest but for the clock.
class WorldDeskTest : public ::testing::Test {
  protected:
    void Write(const std::string& settings, const std::string& bodies) {
        time_ns_ += 100'000'000;
        android::base::WriteStringToFile(
            "time_ns " + std::to_string(time_ns_) + " " + settings + "\n" + bodies,
            std::string(folder_.path) + "/world");
    }
    std::string ReadWorld() const {
        std::string text;
        android::base::ReadFileToString(std::string(folder_.path) + "/world", &text);
        return text;
    }
    // What pages are told of it.
    std::string Told(WorldDesk* desk) {
        std::this_thread::sleep_for(kLongerThanAnInterval);
        desk->Tick();
        return log_.Read(&place_, milliseconds(0)).value_or("");
    }

    static constexpr char kSettings[] = "seed 1 noise_mm 30 range 200 rate 1 waits 0 scene room";
    static constexpr char kBodies[] =
        "radio 0 0 0 0 0 0 0\ntag 0x1234 1 2 0 0 0 0 los 1\nwall 1 0 2 0\n";

    TemporaryDir folder_;
    EventLog log_{"run", 1 << 20};
    uint64_t place_ = 0;
    int64_t time_ns_ = 0;
};

TEST_F(WorldDeskTest, TellsOfEverythingThatSomebodyElseChanges) {
    Write(kSettings, kBodies);
    WorldDesk desk(&log_, folder_.path);
    EXPECT_THAT(Told(&desk), HasSubstr("\"scene\":\"room\""));
    const struct {
        const char* settings;
        const char* bodies;
    } kCases[] = {
        {"seed 2 noise_mm 30 range 200 rate 1 waits 0 scene room", kBodies},
        {"seed 1 noise_mm 31 range 200 rate 1 waits 0 scene room", kBodies},
        {"seed 1 noise_mm 30 range 100 rate 1 waits 0 scene room", kBodies},
        {"seed 1 noise_mm 30 range 200 rate 2 waits 0 scene room", kBodies},
        {"seed 1 noise_mm 30 range 200 rate 1 waits 1 scene room", kBodies},
        {kSettings, "radio 0 0 0 0 0 0 0\ntag 0x1234 1 2.1 0 0 0 0 los 1\nwall 1 0 2 0\n"},
        {kSettings, "radio 0 0 0 0 0 0 0\ntag 0x1234 1 2 0 0 0 0 los 0\nwall 1 0 2 0\n"},
        {kSettings, "radio 0 0 0 0 0 0 0\ntag 0x1234 1 2 0 0 0 0 los 1\nwall 1 0 2.5 0\n"},
        {kSettings, "radio 0 0 0 0 0 0 0\ntag 0x1234 1 2 0 0 0 0 los 1\nwall 1 0 2 0 stops\n"},
        {kSettings, "radio 0 0 0 0 0 0 0\nwall 1 0 2 0\n"},
        // As a file may be called.
        {"seed 1 noise_mm 30 range 200 rate 1 waits 0 scene r\xFFoom", kBodies},
        {kSettings, "radio 0 0 0 0 0 0 0 heading 90\nwall 1 0 2 0\n"},
    };
    for (const auto& [settings, bodies] : kCases) {
        Write(settings, bodies);
        EXPECT_THAT(Told(&desk), HasSubstr("event: world")) << settings << "\n" << bodies;
        Write(settings, bodies);
        EXPECT_EQ(Told(&desk), "") << "nothing is new, and everything is at rest";
    }
}

TEST_F(WorldDeskTest, KnowsWhereThingsWereBeforeTheyTurned) {
    constexpr ThingId kTag = {.kind = ThingId::Kind::kTag, .number = 0x1234};
    Write(kSettings, "tag 0x1234 0 0 0 1 0 0 los 1\n");
    WorldDesk desk(&log_, folder_.path);
    desk.Tick();
    // At 0.15 s it has turned back, and is at 0.04 again at 0.16 s.
    time_ns_ -= 40'000'000;
    Write(kSettings, "tag 0x1234 0.04 0 0 -1 0 0 los 1\n");
    EXPECT_NEAR(desk.At(kTag, 160'000'000)->at.x, 0.04, 1e-9);
    EXPECT_NEAR(desk.At(kTag, 155'000'000)->at.x, 0.045, 1e-9);
    EXPECT_NEAR(desk.At(kTag, 120'000'000)->at.x, 0.02, 1e-9);
}

// However long ago its history began.
TEST_F(WorldDeskTest, KnowsWhereThingsAre) {
    constexpr ThingId kTag = {.kind = ThingId::Kind::kTag, .number = 0x1234};
    Write(kSettings, kBodies);
    WorldDesk desk(&log_, folder_.path);
    for (int x = 0; x < 200; x++) {
        Write(kSettings, "tag 0x1234 " + std::to_string(x) + " 0 0 10 0 0 los 1\n");
        ASSERT_TRUE(desk.Now(kTag)) << x;
        EXPECT_EQ(desk.Now(kTag)->at.x, x);
    }
    EXPECT_FALSE(desk.At(kTag, 0));
}

// Right is positive; in front and behind look the same.
TEST_F(WorldDeskTest, KnowsAnglesFromWhereTheRadioLooks) {
    constexpr ThingId kRadio = {.kind = ThingId::Kind::kRadio, .number = 0};
    constexpr ThingId kTag = {.kind = ThingId::Kind::kTag, .number = 0x1234};
    const struct {
        const char* heading;
        const char* tag;
        double degrees;
    } kCases[] = {{"0", "2 2 0", 45},   {"45", "2 2 0", 0},       {"-30", "0 2 0", 30},
                  {"45", "0 2 0", -45}, {"-90", "2 0.1 0", 2.86}, {"170", "-2 -2 0", 55}};
    for (const auto& [heading, tag, degrees] : kCases) {
        Write(kSettings, std::string("radio 0 0 0 0 0 0 0 heading ") + heading + "\ntag 0x1234 " +
                             tag + " 0 0 0 los 1\n");
        WorldDesk desk(&log_, folder_.path);
        EXPECT_NEAR(desk.Of(kRadio, kTag, time_ns_)->azimuth_rad, degrees * M_PI / 180, 0.001)
            << heading << ", " << tag;
    }
}

// None of it is for the radio to sort out.
TEST_F(WorldDeskTest, PassesOnOnlyWhatAWorldCanBe) {
    Write(kSettings, kBodies);
    WorldDesk desk(&log_, folder_.path);
    const char* const kTag = R"("id":"0x1234","x":1,"y":1,"z":1)";
    const struct {
        const char* name;
        std::string arguments;
        const char* reason;
    } kCases[] = {
        {"noise", R"("mm":1e308)", "mm is a whole number, 0 to 10000, not 1e+308"},
        {"noise", R"("mm":-1)", "mm is a whole number"},
        {"noise", R"("mm":0.5)", "mm is a whole number"},
        {"noise", R"("mm":1,"m":1)", "there is no member m (there are: mm)"},
        {"save", R"("name":"x")", "there is no member name"},
        {"seed", R"("seed":-1)", "seed is a whole number"},
        {"seed", R"("seed":1.5)", "seed is a whole number"},
        {"seed", R"("seed":1e308)", "seed is a whole number"},
        {"range", R"("m":200001)", "m is 0 to 200000, not 200001"},
        {"rate", R"("rate":3601)", "rate is 0 to 3600"},
        {"rate", R"("rate":1e-300)", "rate is 0, or 0.000001 at least"},
        {"rate", R"("rate":"1")", "rate is a number"},
        {"rate", R"("rate":1,"blocks":1)", "blocks is true or false, not 1"},
        {"heading", R"("id":"radio0","degrees":181)", "degrees is -180 to 180"},
        {"move", R"("id":"0x1234","x":50001,"y":1,"z":1)", "x is -50000 to 50000"},
        {"move", std::string(kTag) + R"(,"vy":1001)", "vy is -1000 to 1000"},
        {"move", R"("id":"0x1234","x":1,"y":1)", "z is missing"},
        {"sight", R"("id":"0x1234","clear":1)", "clear is true or false"},
        {"tea", "", "there is no command world/tea"},
        {"load", R"("text":"# a tag\n\n")", "there is nothing in it"},
        {"load", R"("text":"noise 10\n\u0000")", "not a text"},
        {"load", R"("text":"a\nb\n1\nd")",
         "line 1: a: no such line; line 2: b: no such line; "
         "line 3: 1: no such line; and 1 more"},
    };
    const auto failure = [&desk](const std::string& name, const std::string& arguments) {
        try {
            desk.Command("world/" + name, nlohmann::ordered_json::parse("{" + arguments + "}"));
        } catch (const Failure& thrown) {
            return std::string(thrown.what());
        }
        return std::string();
    };
    const std::string before = ReadWorld();
    for (const auto& [name, arguments, reason] : kCases) {
        EXPECT_THAT(failure(name, arguments), StartsWith(reason)) << name << " " << arguments;
        EXPECT_EQ(ReadWorld(), before) << name << " " << arguments;
    }
    EXPECT_EQ(failure("move", std::string(kTag) + R"(,"vy":-2)"), "");
    EXPECT_THAT(ReadWorld(), StartsWith("tag 0x1234 1 1 1 0 -2 0\n"));
}

}  // namespace
}  // namespace uwbctl
