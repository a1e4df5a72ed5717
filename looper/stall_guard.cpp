// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.StallGuard"

#include "looper/stall_guard.h"

#include <android-base/logging.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string>

#include "looper/coarse_clock.h"

namespace hardware::velta {
namespace {

constexpr uint32_t kIdle = 0;
constexpr uint32_t kMillisecondsPerSecond = 1000;
constexpr long kNanosecondsPerMillisecond = 1000000;

// The signal comes when the limit is over: what comes later than this was kept from running, by who
// stopped the process, and could not do better.
constexpr uint32_t kMaxLateness = 500;

// For a log that hangs as well: it may be what the thread hangs in.
constexpr unsigned int kLogSeconds = 2;

// What the signal handler sees. It runs on the loop's thread. Milliseconds have 32 bits, which
// every processor stores at once; they come round after 49 days, and differences do not mind.
std::atomic<uint32_t> g_since = kIdle;  // Milliseconds of CoarseClock.
std::atomic<uint32_t> g_limit = 0;      // Milliseconds.
std::atomic<int> g_fd = StallGuard::kTask;
std::atomic<bool> g_is_armed = false;
timer_t g_timer;

static_assert(std::atomic<uint32_t>::is_always_lock_free);

// Never kIdle.
uint32_t NowMilliseconds() {
    const auto now =
        std::chrono::floor<std::chrono::milliseconds>(CoarseClock::now().time_since_epoch());
    const auto milliseconds = static_cast<uint32_t>(now.count());
    return milliseconds == kIdle ? kIdle + 1 : milliseconds;
}

void SetTimer(uint32_t milliseconds) {
    itimerspec spec = {};
    spec.it_value.tv_sec = static_cast<time_t>(milliseconds / kMillisecondsPerSecond);
    spec.it_value.tv_nsec =
        static_cast<long>(milliseconds % kMillisecondsPerSecond) * kNanosecondsPerMillisecond;
    timer_settime(g_timer, 0, &spec, nullptr);
}

// "descriptor 5 (/dev/binder)"
std::string WhatRuns() {
    const int fd = g_fd;
    if (fd == StallGuard::kTask) return "a posted task";
    std::string number = std::to_string(fd);
    char target[PATH_MAX] = {};
    if (readlink(("/proc/self/fd/" + number).c_str(), target, sizeof(target) - 1) < 0)
        return number;
    return "the callback of descriptor " + number + " (" + target + ")";
}

void OnTimer(int /*signal*/) {
    const int saved_errno = errno;
    const uint32_t since = g_since;
    const uint32_t taken = NowMilliseconds() - since;
    if (since == kIdle) {
        g_is_armed = false;  // Whoever runs next sets the timer anew.
    } else if (taken < g_limit) {
        SetTimer(g_limit - taken);
    } else if (taken - g_limit > kMaxLateness) {
        g_since = NowMilliseconds();
        SetTimer(g_limit);
    } else {
        // The default action ends a process that hangs in the log.
        signal(SIGALRM, SIG_DFL);
        sigset_t alarm_only;
        sigemptyset(&alarm_only);
        sigaddset(&alarm_only, SIGALRM);
        sigprocmask(SIG_UNBLOCK, &alarm_only, nullptr);
        alarm(kLogSeconds);
        LOG(FATAL) << "Stalled: " << WhatRuns() << " has run for " << taken
                   << " ms without an end; giving up, for a supervisor to start this anew";
    }
    errno = saved_errno;
}

}  // namespace

StallGuard::StallGuard(std::chrono::seconds limit) : is_on_(limit.count() > 0) {
    if (!is_on_) return;
    g_limit = static_cast<uint32_t>(std::chrono::milliseconds(limit).count());
    g_since = kIdle;
    g_is_armed = false;
    struct sigaction action = {};
    action.sa_handler = OnTimer;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    CHECK_EQ(timer_create(CLOCK_MONOTONIC, &event, &g_timer), 0);
}

StallGuard::~StallGuard() {
    if (!is_on_) return;
    timer_delete(g_timer);
    signal(SIGALRM, SIG_DFL);
}

void StallGuard::Begin(int fd) {
    if (!is_on_) return;
    g_fd = fd;
    g_since = NowMilliseconds();
    if (!g_is_armed.exchange(true)) SetTimer(g_limit);
}

void StallGuard::End() {
    g_since = kIdle;
}

void StallGuard::NoteProgress() {
    if (is_on_ && g_since != kIdle) g_since = NowMilliseconds();
}

}  // namespace hardware::velta
