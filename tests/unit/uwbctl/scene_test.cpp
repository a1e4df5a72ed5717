// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "uwbctl/client/client.h"
#include "uwbctl/world/replay.h"
#include "uwbctl/world/scene_file.h"

namespace uwbctl {
namespace {

using ::testing::HasSubstr;

TEST(Scene, NamesWordAndLineOfEachMistake) {
    const struct {
        const char* line;
        const char* word;
        const char* why;
    } cases[] = {
        {"walks 5", "walks", "did you mean walk?"},
        {"radio 7 0 0 0", "7", "no such radio"},
        {"radio x 0 0 0", "x", "not a radio's number"},
        {"tag 0x12g4 1 2 3", "0x12g4", "not an address"},
        {"tag radio0 1 2 3", "radio0", "not an address"},
        {"tag 18446744073709551616 1 2 3", "18446744073709551616", "not an address"},
        {"tag 1 1 2", "2", "what follows? metres"},
        {"tag 1 1 2 3 4", "4", "what follows? metres a second"},
        {"tag 1 1 2 3 4 5 6 7", "7", "one word too many"},
        {"tag 1 1 2 50001", "50001", "metres: from -50000 to 50000"},
        {"tag 1 1 2 nan", "nan", "not a number"},
        {"tag 1 1 2 1e3", "1e3", "not a number"},
        {"tag 1 1 2 3 0 0 1001", "1001", "metres a second: from"},
        {"los 2 1", "0x0002", "no such tag"},
        {"los 1 2", "2", "neither 0 nor 1"},
        {"heading 1 90", "1", "not a radio"},
        {"heading radio2 90", "radio2", "no such radio"},
        {"heading radio0 181", "181", "180"},
        {"remove 2", "0x0002", "no such tag"},
        {"path 1 0 0 0 0 5 1 1", "1", "what follows?"},
        {"path 1 0 0 0 0 lots", "lots", "not a number (seconds)"},
        {"path 1 5 0 0 0 4 1 1 0", "4", "not after 5"},
        {"path 1 0 0 0 0 1 2000 1 0", "1", "too soon"},
        {"walk 1 1 0 0", "1", "how fast?"},
        {"walk 1 pause 3", "pause", "where?"},
        {"walk 1 speed 0 1 0 0", "0", "metres a second: from 0.001"},
        {"walk 1 speed 2", "2", "what follows?"},
        {"model ofice", "ofice", "did you mean office?"},
        {"model nois 3", "nois", "did you mean noise?"},
        {"model noise", "noise", "what follows? mm"},
        {"model fov 181", "181", "deg: from 1 to 180"},
        {"model 2 office", "2", "no such tag"},
        {"wall 0 0 1", "1", "what follows?"},
        {"wall 0 0 1 1 2", "2", "one word too many"},
        {"range -3", "-3", "metres: from 0"},
        {"noise 1.5", "1.5", "not a whole number"},
        {"seed -1", "-1", "not a whole number"},
        {"rate 3601", "3601", "a factor: from 0 to 3600"},
        {"rate 60 bloks", "bloks", "one word too many"},
        {"wait 3", "3", "one word too many"},
        {"rate 0.0000001", "0.0000001", "0, or 0.000001 at least"},
        {"range 0.0000004", "0.0000004", "0, or 0.000001 at least"},
        {"tag 0x0001 1 1 1", "0x0001", "in a line above already"},
    };
    for (const auto& [line, word, why] : cases) {
        const ParsedScene parsed =
            ParseScene("# A comment\ntag 1 0 0 0\n\t" + std::string(line) + " # why\r\n", 2);
        ASSERT_EQ(parsed.mistakes.size(), 1u) << line;
        EXPECT_EQ(parsed.mistakes[0].line, 3) << line;
        EXPECT_EQ(parsed.mistakes[0].word, word) << line;
        EXPECT_THAT(parsed.mistakes[0].why, HasSubstr(why)) << line;
    }
    EXPECT_EQ(ParseScene("radio 0 1 1 1\nradio 0 2 2 2\n").mistakes.size(), 1u);
    EXPECT_LT(ParseScene("wall " + std::string(100'000, 'x')).mistakes[0].word.size(), 100u);
    EXPECT_EQ(ParseScene("los 5 1\n\nwall\nnoise 7\n").mistakes.size(), 2u);
}

// Each on the left says the same as the plain lines on the right; and what is printed is read back.
TEST(Scene, IsReadAndPrinted) {
    const struct {
        const char* text;
        const char* printed;
    } cases[] = {
        {"", ""},
        {"clear\nnoise 30\nseed 1", ""},
        {"tag 1 0 0 0\ntag 2 3 4 -0.5  0 1 0\nremove 1\ntag 1 0 0 0\nremove 1",
         "tag 0x0002 3 4 -0.5  0 1 0\n"},
        {"radio 1 +1 2.5000001 3\nnoise 5\nrange 12.5\nseed 7\nrate 60 blocks\nwait",
         "seed 7\nrate 60 blocks\nwait\nrange 12.5\nnoise 5\nradio 1 1 2.5 3\n"},
        {"tag 4660 0 1 0\nlos 0x1234 0", "tag 0x1234 0 1 0\nlos 0x1234 0\n"},
        {"heading radio1 -90\nradio 0 1 2 3\nheading radio0 45.5\nwalk radio0 speed 1 0 0 0",
         "radio 1 0 2 0\nheading radio1 -90\npath radio0  0 0 0 0\nheading radio0 45.5\n"},
        {"wall 0 1 2 3 stops\nwall 0 0 0 1", "wall 0 1 2 3 stops\nwall 0 0 0 1\n"},
        // A walk is a path: three seconds there, two of rest, three back.
        {"walk 9 speed 2  0 1 0  6 1 0 nlos  pause 2",
         "path 0x0009  0 0 1 0  3 6 1 0 nlos  5 6 1 0 nlos  8 0 1 0\n"},
        {"walk radio0 once speed 1  0 1 0  speed 0.5  1 1 0",
         "path radio0 once  0 0 1 0  2 1 1 0\n"},
        {"path 9 0 0 1 0 los 1 0 2 0 lost 2 0 1 0",
         "path 0x0009  0 0 1 0  1 0 2 0 lost  2 0 1 0\n"},
        // A tag that is put somewhere leaves its path and keeps its model.
        {"model car\npath 9 0 1 1 1\nmodel 9 ideal noise 4\ntag 9 2 2 2",
         "model car\ntag 0x0009 2 2 2\nmodel 0x0009 ideal noise 4\n"},
        {"model bias 3 fov 90\ntag 9 0 0 0\nmodel 9 bias 0 burst 1 burst_length 2.5",
         "model ideal bias 3 fov 90\ntag 0x0009 0 0 0\n"
         "model 0x0009 ideal fov 90 burst 1 burst_length 2.5\n"},
    };
    for (const auto& [text, printed] : cases) {
        const ParsedScene parsed = ParseScene(text);
        EXPECT_TRUE(parsed.mistakes.empty()) << text << parsed.mistakes[0].why;
        EXPECT_EQ(PrintScene(parsed.scene), printed);
        EXPECT_EQ(PrintScene(ParseScene(printed).scene), printed);
    }
}

TEST(Scene, WallsAreBetweenOnlyWhatTheyPart) {
    const Wall wall{.x1 = 0, .y1 = 1, .x2 = 4, .y2 = 1};
    const struct {
        Vec3 from, to;
        bool is_between;
    } cases[] = {
        {{1, 0, 0}, {1, 2, 9}, true},   {{1, 0, 0}, {1, 0.9, 0}, false},
        {{5, 0, 0}, {5, 2, 0}, false},  {{0, 0, 0}, {0, 2, 0}, false},
        {{-2, 0, 0}, {4, 3, 0}, false}, {{-2, 0, 0}, {5, 2, 0}, true},
    };
    for (const auto& [from, to, is_between] : cases) {
        EXPECT_EQ(IsBetween(wall, from, to), is_between) << from.x << " to " << to.x;
        EXPECT_EQ(IsBetween(wall, to, from), is_between) << to.x << " to " << from.x;
    }
}

TEST(Replay, GoesWhereItWasMeasured) {
    Recording recording;
    const auto add = [&recording](double seconds, const char* peer, std::optional<int64_t> mm,
                                  std::optional<double> azimuth, bool los = true) {
        Measurement it{.timestamp_ns = 5'000'000'000 + static_cast<int64_t>(seconds * 1e9),
                       .peer = peer,
                       .status = mm ? 0 : 0x21,
                       .distance_mm = mm,
                       .line_of_sight = los};
        if (azimuth) it.azimuth = Angle{.radians = *azimuth};
        recording.measurements.push_back(it);
    };
    add(0, "0x1234", 2000, {});
    add(0, "0x5678", {}, {});
    add(0.2, "0x1234", 3000, M_PI / 2, false);
    add(0.2, "0x5678", 1000, {});
    add(0.4, "0x1234", {}, {});
    EXPECT_EQ(PrintScene(ReplayScene(recording)),
              "wait\nnoise 0\n"
              "path 0x1234 once  0 0 2 0  0.2 3 0 0 nlos  0.4 3 0 0 lost\n"
              "path 0x5678 once  0 0 1 0 lost  0.2 0 1 0\n");
    recording.measurements = {recording.measurements[1]};
    EXPECT_THROW(ReplayScene(recording), Failure);
}

}  // namespace
}  // namespace uwbctl
