// SPDX-License-Identifier: Apache-2.0
#include "looper/looper_backed_event_loop.h"

#include <android-base/unique_fd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "../log_capture.h"

namespace hardware::velta {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;

class LooperBackedEventLoopTest : public ::testing::Test {
  protected:
    LooperBackedEventLoopTest() { android::base::Pipe(&reader_, &writer_); }
    ~LooperBackedEventLoopTest() override {
        loop_.StopWatchFileDescriptor(reader_.get());
        loop_.StopWatchFileDescriptor(writer_.get());
    }

    // The loop is the looper of this thread; a pass that does not block is enough to drive it.
    static void Pass() { android::Looper::getForThread()->pollOnce(0); }
    void MakeReadable() { ASSERT_EQ(write(writer_.get(), "x", 1), 1); }
    std::function<void(int)> Note(const std::string& name) {
        return [this, name](int fd) {
            notes_.push_back(name + (fd == reader_.get() ? " reader" : " writer"));
        };
    }

    LooperBackedEventLoop loop_;
    android::base::unique_fd reader_, writer_;
    std::vector<std::string> notes_;
};

TEST_F(LooperBackedEventLoopTest, ModesSelectReadableOrWritable) {
    ASSERT_TRUE(loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput, Note("in")));
    Pass();
    EXPECT_THAT(notes_, ElementsAre());
    ASSERT_TRUE(loop_.WatchFileDescriptor(writer_.get(), EventLoop::kModeOutput, Note("out")));
    Pass();
    EXPECT_THAT(notes_, ElementsAre("out writer"));
    ASSERT_TRUE(loop_.StopWatchFileDescriptor(writer_.get()));
    MakeReadable();
    Pass();
    EXPECT_THAT(notes_, ElementsAre("out writer", "in reader"));
}

TEST_F(LooperBackedEventLoopTest, WatchLastsUntilStopped) {
    MakeReadable();
    ASSERT_TRUE(loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput, Note("a")));
    Pass();
    Pass();
    EXPECT_TRUE(loop_.StopWatchFileDescriptor(reader_.get()));
    Pass();
    EXPECT_THAT(notes_, ElementsAre("a reader", "a reader"));
    EXPECT_FALSE(loop_.StopWatchFileDescriptor(reader_.get()));
}

TEST_F(LooperBackedEventLoopTest, WatchingAgainReplacesTheCallback) {
    MakeReadable();
    loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput, Note("old"));
    EXPECT_TRUE(loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput, Note("new")));
    Pass();
    EXPECT_THAT(notes_, ElementsAre("new reader"));
}

TEST_F(LooperBackedEventLoopTest, CallbackMayStopItsOwnWatch) {
    MakeReadable();
    loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput,
                              [this, name = std::string("own")](int fd) {
                                  EXPECT_TRUE(loop_.StopWatchFileDescriptor(fd));
                                  notes_.push_back(name);
                              });
    Pass();
    Pass();
    EXPECT_THAT(notes_, ElementsAre("own"));
}

TEST_F(LooperBackedEventLoopTest, RejectsUnknownModeWithoutWatching) {
    LogCapture log;
    EXPECT_FALSE(loop_.WatchFileDescriptor(reader_.get(), static_cast<EventLoop::ReadyMode>(2),
                                           Note("never")));
    EXPECT_THAT(log.lines(), ElementsAre(EndsWith("Invalid mode for WatchFileDescriptor().")));
    EXPECT_FALSE(loop_.StopWatchFileDescriptor(reader_.get()));
}

TEST_F(LooperBackedEventLoopTest, TasksRunInOrderAndNeverReentrantly) {
    loop_.PostTask([this] {
        loop_.PostTask([this] { notes_.push_back("inner"); });
        notes_.push_back("first");
    });
    loop_.PostTask([this] { notes_.push_back("second"); });
    EXPECT_THAT(notes_, ElementsAre());
    Pass();
    Pass();
    EXPECT_THAT(notes_, ElementsAre("first", "second", "inner"));
}

TEST_F(LooperBackedEventLoopTest, TaskPostedByADescriptorCallbackRunsAfterIt) {
    MakeReadable();
    loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput, [this](int fd) {
        loop_.PostTask([this] { notes_.push_back("task"); });
        loop_.StopWatchFileDescriptor(fd);
        notes_.push_back("callback");
    });
    Pass();
    Pass();
    EXPECT_THAT(notes_, ElementsAre("callback", "task"));
}

TEST_F(LooperBackedEventLoopTest, PollBlocksForDescriptorsAndTasks) {
    EXPECT_EXIT(
        {
            loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput,
                                      [this](int) { loop_.PostTask([] { _exit(7); }); });
            loop_.PostTask([this] { MakeReadable(); });
            loop_.Poll();
            _exit(1);
        },
        ::testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace hardware::velta
