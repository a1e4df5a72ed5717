// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/recording/recording.h"

#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "uwbctl/client/client.h"

namespace uwbctl {
namespace {

using ::testing::HasSubstr;

constexpr char kSession[] =
    R"({"type":"session","format":"uwbctl-recording","version":1,"time":"t","iface":"wpan0"})"
    "\n";
constexpr char kMeasurement[] =
    R"({"type":"measurement","timestamp_ns":1,"session_id":42,"block":7,"peer":"0x1234","status":0,)"
    R"("distance_mm":1500,"line_of_sight":true,"azimuth_rad":0.5,"azimuth_fom":0.9,)"
    R"("elevation_rad":null,"elevation_fom":null})"
    "\n";

// The measurement with another value for a member.
std::string With(const std::string& member, const std::string& value) {
    auto json = nlohmann::ordered_json::parse(kMeasurement);
    json[member] = "VALUE";
    std::string text = json.dump() + "\n";
    return text.replace(text.find("\"VALUE\""), sizeof("VALUE") + 1, value);
}

std::string SessionWith(const std::string& member) {
    const std::string text = kSession;
    return text.substr(0, text.rfind('}')) + R"(,"session":{)" + member + "}}\n";
}

Recording Read(const std::string& text) {
    TemporaryFile file;
    EXPECT_TRUE(android::base::WriteStringToFile(text, file.path));
    return ReadRecording(file.path);
}

TEST(RecordingTest, KeepsWhatItKnowsAndSkipsTheRest) {
    const Recording recording =
        Read(std::string(kSession) + kMeasurement +
             R"({"type":"event","event":"controlees_removed","peers":["0x1234"]})" + "\n" +
             R"({"type":"weather","sun":true})" + "\n" + kMeasurement +
             R"({"type":"end","reason":"count","reports":2})");
    EXPECT_EQ(recording.iface, "wpan0");
    ASSERT_EQ(recording.measurements.size(), 2u);
    EXPECT_EQ(recording.measurements[0].distance_mm, 1500);
    EXPECT_EQ(recording.measurements[0].azimuth->radians, 0.5);
    EXPECT_EQ(recording.measurements[0].azimuth->figure_of_merit, 0.9);
    ASSERT_EQ(recording.events.size(), 1u);
    EXPECT_EQ(recording.events[0].measurements_before, 1u);
    EXPECT_EQ(recording.skipped, 1u);
    EXPECT_EQ(recording.end->reports, 2u);
    EXPECT_FALSE(recording.is_last_line_cut);
}

TEST(RecordingTest, KeepsWhatCameBeforeACut) {
    const std::string text = std::string(kSession) + kMeasurement + kMeasurement;
    const Recording recording = Read(text.substr(0, text.size() - 20));
    EXPECT_EQ(recording.measurements.size(), 1u);
    EXPECT_TRUE(recording.is_last_line_cut);
    EXPECT_FALSE(recording.end);
    // As much as a session's members can hold.
    EXPECT_EQ(Read(SessionWith(R"("id":4294967295)")).session.at("id"), 4294967295);
}

TEST(RecordingTest, SaysWhatIsWrongAndWhere) {
    const std::string session = kSession;
    const struct {
        std::string text;
        const char* error;
    } cases[] = {
        {"", ": empty"},
        {kMeasurement, ":1: a recording starts with"},
        {R"({"type":"session","format":"other"})", ":1: not a recording of uwbctl"},
        {R"({"type":"session","format":"uwbctl-recording","version":2})",
         ":1: recording of version 2"},
        {R"({"type":"session","format":"uwbctl-recording","version":1})",
         ":1: not a session line: key"},
        {session.substr(0, 40), ":1: not a session line: "},
        {session + "{\"type\":\n" + kMeasurement, ":2: not a line of a recording: "},
        {session + "{\"type\":\"measurement\"}\n", ":2: not a measurement: key 'timestamp_ns'"},
        {session + With("block", "2147483648"), ":2: not a measurement: block is not a whole"},
        {session + With("timestamp_ns", "-1"), ":2: not a measurement: timestamp_ns is negative"},
        {session + With("timestamp_ns", "9223372036854775808"), "timestamp_ns is not a whole"},
        {session + With("session_id", "-1"), "session_id is not a whole"},
        {session + With("azimuth_rad", "1e999"),
         ":2: not a line of a recording: a number is too large: '1e999'"},
        {session + With("peer", "7"), ":2: not a measurement: peer: type must be string"},
        {session + With("azimuth_fom", "\"\""), "azimuth_fom: type must be number"},
        {session + std::string(200'000, '['), ":2: not a line of a recording: nested deeper"},
        {SessionWith(R"("blockStridingValue":9223372036854775807)"),
         ":1: not a session line: blockStridingValue is out of range"},
        {SessionWith(R"("id":4294967296)"), ":1: not a session line: id is out of range"},
        {R"({"type":"session","format":"uwbctl-recording","version":1,"time":"t","iface":"\u001b[2J"})",
         ":1: the name of iface"},
        {session + "{\"type\":\"event\"}\n", ":2: not an event: key 'event'"},
        {session + kMeasurement + session, ":3: a second session"},
    };
    for (const auto& [text, error] : cases) {
        try {
            Read(text);
            ADD_FAILURE() << "no error where there should be: " << error;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status(), kUsage);
            EXPECT_THAT(failure.what(), HasSubstr(error));
        }
    }
    EXPECT_THROW(ReadRecording("/"), Failure);
    EXPECT_THROW(ReadRecording("/nowhere/walk.jsonl"), Failure);
    EXPECT_THROW(ReadRecording("/dev/zero"), Failure);
    TemporaryFile file;
    ASSERT_TRUE(android::base::WriteStringToFile(session + kMeasurement, file.path));
    EXPECT_THROW(ReadRecording(file.path, [] { return false; }), Failure);
    EXPECT_NO_THROW(ReadRecording(file.path, [] { return true; }));
}

}  // namespace
}  // namespace uwbctl
