// SPDX-License-Identifier: Apache-2.0
#include "looper/looper_backed_event_loop.h"

#include <android-base/unique_fd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "../log_capture.h"

namespace hardware::velta {
namespace {

using ::testing::ElementsAre;

class LooperBackedEventLoopTest : public ::testing::Test {
  protected:
    LooperBackedEventLoopTest() { EXPECT_TRUE(android::base::Pipe(&reader_, &writer_)); }
    ~LooperBackedEventLoopTest() override {
        loop_.StopWatchFileDescriptor(reader_.get());
        loop_.StopWatchFileDescriptor(writer_.get());
    }

    // The loop is the looper of this thread; passes that do not block are enough to drive it.
    static void Pass() { android::Looper::getForThread()->pollOnce(0); }
    void MakeReadable() { ASSERT_EQ(write(writer_.get(), "x", 1), 1); }
    bool Watch(int fd, EventLoop::ReadyMode mode, const std::string& name) {
        return loop_.WatchFileDescriptor(fd, mode, [this, name, fd](int ready) {
            EXPECT_EQ(ready, fd);
            notes_.push_back(name);
        });
    }

    LooperBackedEventLoop loop_;
    android::base::unique_fd reader_, writer_;
    std::vector<std::string> notes_;
};

TEST_F(LooperBackedEventLoopTest, WatchesForReadableOrWritableUntilStopped) {
    ASSERT_TRUE(Watch(reader_.get(), EventLoop::kModeInput, "in"));
    Pass();
    ASSERT_TRUE(Watch(writer_.get(), EventLoop::kModeOutput, "out"));
    Pass();
    Pass();
    EXPECT_THAT(notes_, ElementsAre("out", "out"));
    EXPECT_TRUE(loop_.StopWatchFileDescriptor(writer_.get()));
    EXPECT_FALSE(loop_.StopWatchFileDescriptor(writer_.get()));
    MakeReadable();
    Pass();
    EXPECT_TRUE(Watch(reader_.get(), EventLoop::kModeInput, "other"));  // Replaces the callback.
    Pass();
    EXPECT_THAT(notes_, ElementsAre("out", "out", "in", "other"));
}

TEST_F(LooperBackedEventLoopTest, RejectsUnknownModeWithoutWatching) {
    LogCapture log;
    EXPECT_FALSE(Watch(reader_.get(), static_cast<EventLoop::ReadyMode>(2), "never"));
    EXPECT_THAT(log.lines(),
                ElementsAre(::testing::EndsWith("Invalid mode for WatchFileDescriptor().")));
    EXPECT_FALSE(loop_.StopWatchFileDescriptor(reader_.get()));
}

TEST_F(LooperBackedEventLoopTest, TasksRunInOrderAndNeverReentrantly) {
    MakeReadable();
    loop_.WatchFileDescriptor(reader_.get(), EventLoop::kModeInput,
                              [this, name = std::string(40, 'x')](int fd) {
                                  loop_.PostTask([this] { notes_.push_back("task"); });
                                  EXPECT_TRUE(loop_.StopWatchFileDescriptor(fd));  // Its own.
                                  notes_.push_back(name);
                              });
    Pass();
    Pass();
    EXPECT_THAT(notes_, ElementsAre(std::string(40, 'x'), "task"));
    notes_.clear();
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

TEST_F(LooperBackedEventLoopTest, PollSleepsUntilSomethingIsReady) {
    const android::base::unique_fd timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    const itimerspec later = {.it_interval = {}, .it_value = {.tv_sec = 0, .tv_nsec = 500'000'000}};
    ASSERT_EQ(timerfd_settime(timer.get(), 0, &later, nullptr), 0);
    EXPECT_EXIT(
        {
            loop_.WatchFileDescriptor(timer.get(), EventLoop::kModeInput, [](int) {
                rusage used = {};
                getrusage(RUSAGE_SELF, &used);
                const auto microseconds = used.ru_utime.tv_usec + used.ru_stime.tv_usec;
                _exit(used.ru_utime.tv_sec + used.ru_stime.tv_sec == 0 && microseconds < 250'000);
            });
            loop_.Poll();
        },
        ::testing::ExitedWithCode(1), "");
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

// The limit is for one wait; a thread that says that it gets on may go on.
TEST(StallGuardTest, EndsAProcessWhoseCallbackHangs) {
    const auto run = [](const std::function<void(EventLoop*)>& task) {
        LooperBackedEventLoop loop(std::chrono::seconds(1));
        loop.PostTask([&] { task(&loop); });
        loop.PostTask([] { _exit(7); });
        loop.Poll();
    };
    const auto nap = [] { usleep(400'000); };
    EXPECT_DEATH(run([](EventLoop* /*loop*/) {
                     for (;;) pause();
                 }),
                 "Stalled: a posted task has run for 1");
    EXPECT_EXIT(run([&](EventLoop* loop) {
                    for (int i = 0; i < 5; i++) {
                        nap();
                        loop->NoteProgress();
                    }
                }),
                ::testing::ExitedWithCode(7), "");
    // Who is stopped, by a debugger or a freezer, does not hang.
    EXPECT_EXIT(run([&](EventLoop* /*loop*/) {
                    const pid_t self = getpid();
                    if (fork() == 0) {
                        for (int i = 0; i < 5; i++) nap();
                        _exit(kill(self, SIGCONT));
                    }
                    raise(SIGSTOP);
                    nap();
                }),
                ::testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace hardware::velta
