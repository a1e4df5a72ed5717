// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/events.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>

#include "uwbctl/client/output.h"

namespace uwbctl {
namespace {

using std::chrono::milliseconds;
using ::testing::ExitedWithCode;
using ::testing::KilledBySignal;
using Wake = Events::Wake;

// Does something else than wait for events, for longer than a signal lets it.
void Hang() {
    sleep(3);
    exit(EXIT_FAILURE);
}

// In processes of their own: they end by signals.
class EventsDeathTest : public ::testing::Test {
  protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(EventsDeathTest, ASignalEndsWhatNeverWaits) {
    EXPECT_EXIT(
        {
            Events events;
            events.AtDeath([] { fputs("given back", stderr); });
            kill(getpid(), SIGINT);
            Hang();
        },
        KilledBySignal(SIGINT), "given back");
}

TEST_F(EventsDeathTest, ASignalIsHeardWhereItIsWaitedFor) {
    EXPECT_EXIT(
        {
            Events events;
            kill(getpid(), SIGTERM);
            const bool is_heard = events.Wait(milliseconds(5000)) == Wake::kInterrupted;
            // Longer than an unheard signal would be waited for.
            usleep(700'000);
            exit(is_heard && events.Wait(milliseconds(1)) == Wake::kTimeout ? 0 : 1);
        },
        ExitedWithCode(0), "");
}

TEST_F(EventsDeathTest, ASecondSignalDoesNotWait) {
    EXPECT_EXIT(
        {
            Events events;
            kill(getpid(), SIGINT);
            if (events.Wait(milliseconds(5000)) != Wake::kInterrupted) exit(1);
            kill(getpid(), SIGTERM);
            Hang();
        },
        KilledBySignal(SIGTERM), "");
}

TEST_F(EventsDeathTest, KnowsWhetherItsOutputArrives) {
    EXPECT_EXIT(
        {
            if (freopen("/dev/full", "w", stdout) == nullptr) exit(2);
            BufferStandardOutput();
            puts(std::string(30'000, 'x').c_str());
            Events events;
            const bool is_closed = events.Wait(milliseconds(0)) == Wake::kOutputClosed;
            exit(is_closed && FlushStandardOutput() == "No space left on device" ? 0 : 1);
        },
        ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            int ends[2];
            if (pipe2(ends, O_CLOEXEC) != 0) exit(2);
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            Events events;
            puts("nobody wants it");
            const bool is_closed = events.Wait(milliseconds(0)) == Wake::kOutputClosed;
            exit(is_closed && FlushStandardOutput().empty() ? 0 : 1);
        },
        ExitedWithCode(0), "");
}

TEST_F(EventsDeathTest, WhatOneTaskThrowsDoesNotTakeTheNext) {
    Events events;
    int ran = 0;
    events.Post([] { throw std::runtime_error(""); });
    events.Post([&ran] { ran++; });
    EXPECT_THROW(events.Wait(milliseconds(5000)), std::runtime_error);
    EXPECT_EQ(events.Wait(milliseconds(5000)), Wake::kPosted);
    EXPECT_EQ(ran, 1);
}

TEST_F(EventsDeathTest, ASlowTaskIsNotTakenForSilence) {
    Events events;
    events.Post([] { usleep(60'000); });
    EXPECT_EQ(events.Wait(milliseconds(5000)), Wake::kPosted);
    const auto since = std::chrono::steady_clock::now();
    EXPECT_EQ(events.Wait(milliseconds(100)), Wake::kTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - since, milliseconds(100));
}

TEST_F(EventsDeathTest, WhoPostsFasterThanCanBeRunDoesNotTakeAllTheTime) {
    EXPECT_EXIT(
        {
            Events events;
            std::string first;
            std::function<void()> again = [&] {
                first += first.empty() ? "again" : "";
                usleep(1000);
                events.Post(again);
            };
            events.Post(again);
            events.PostFirst([&first] { first = "first"; });
            events.PostFirst([&first] { first += "second"; });
            const bool is_over = events.Wait(milliseconds(0)) == Wake::kPosted;
            kill(getpid(), SIGINT);
            while (events.Wait(milliseconds(5000)) != Wake::kInterrupted) usleep(1);
            exit(is_over && first == "firstsecond" ? 0 : 1);
        },
        ExitedWithCode(0), "");
}

}  // namespace
}  // namespace uwbctl
