// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/recording/recorder.h"

#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "uwbctl/client/client.h"
#include "uwbctl/recording/recording.h"

namespace uwbctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

FiraTwrSession Session() {
    FiraTwrSession session = MakeSession("fast");
    session.vendorId = {0xAB, 0xCD};
    session.staticStsIV = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6};
    return session;
}

TEST(RecorderTest, WritesWhatIsReadAgainButNoSecrets) {
    const TemporaryFile file;
    {
        const auto output = MakeRecorder(file.path);
        output->Begin("wpan1", Session());
        output->Add({.timestamp_ns = 5, .block = 3, .peer = "0x1234", .distance_mm = -7});
        output->EndReport();
        output->Event("controlees_added", {"0x5678", "0x9abc"});
        output->End("quit", 1);
    }
    const Recording recording = ReadRecording(file.path);
    EXPECT_EQ(recording.iface, "wpan1");
    EXPECT_EQ(recording.session.at("rangingBlockDurationMs"), 50);
    ASSERT_EQ(recording.measurements.size(), 1U);
    EXPECT_EQ(recording.measurements[0].distance_mm, -7);
    ASSERT_EQ(recording.events.size(), 1U);
    EXPECT_EQ(recording.events[0].measurements_before, 1U);
    EXPECT_THAT(recording.events[0].peers, ElementsAre("0x5678", "0x9abc"));
    EXPECT_EQ(recording.end->reason, "quit");
    std::string text;
    ASSERT_TRUE(android::base::ReadFileToString(file.path, &text));
    for (const char* secret : {"a1:a2", "ab:cd"}) EXPECT_THAT(text, Not(HasSubstr(secret)));
}

TEST(RecorderTest, SaysThatTheDiskIsFullAtOnce) {
    const auto output = MakeRecorder("/dev/full");
    try {
        output->Begin("wpan0", Session());
        ADD_FAILURE() << "no failure";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kCannotWrite);
        EXPECT_STREQ(failure.what(), "cannot write /dev/full: No space left on device");
    }
    try {
        MakeRecorder("/nowhere/walk.jsonl");
        ADD_FAILURE() << "no failure";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kCannotWrite);
    }
}

}  // namespace
}  // namespace uwbctl
