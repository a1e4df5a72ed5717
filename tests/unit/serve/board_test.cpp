// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/board.h"

#include <android-base/file.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "uwbctl/client/client.h"

namespace uwbctl {
namespace {

TEST(BoardTest, AFullDiskEndsTheRecordingAndNothingElse) {
    const TemporaryDir folder;
    ASSERT_EQ(symlink("/dev/full", (std::string(folder.path) + "/walk-1.jsonl").c_str()), 0);
    EventLog log("run", 4096);
    Board board(&log, folder.path);
    board.Begin({.ifaces = {"wpan0"}, .others = {}, .kind = "fira"});
    EXPECT_THROW(board.StartRecording("wpan0", {}), Failure);
    EXPECT_FALSE(board.is_recording());
    const auto nothing_known = [](const Measurement&) { return std::optional<PeerTruth>(); };
    board.Add("wpan0", {{.peer = "0x1234", .distance_mm = 1000}}, nothing_known);
    board.OnControlees("wpan0", "controlees_removed", {"0x1234"});
    board.StartRecording("wpan0", {});
    board.Add("wpan0", {{.peer = "0x1234", .distance_mm = 1000}}, nothing_known);
    EXPECT_TRUE(board.is_recording());
    board.End("wpan0", "quit");
}

}  // namespace
}  // namespace uwbctl
