// SPDX-License-Identifier: Apache-2.0
#include "host/stderr_logger.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

namespace hardware::velta {
namespace {

constexpr char kSeverities[] = "VDIWEFF";

// A prefix that does not fit is cut; its tags and file names are our own.
constexpr size_t kMaxPrefix = 256;

// The process id, and that of the calling thread, asked for once: after a fork anew.
struct Ids {
    pid_t process = 0;
    pid_t thread = 0;
};
thread_local Ids g_ids;

void ForgetIds() {
    g_ids = {};
}

const Ids& OwnIds() {
    if (g_ids.process == 0) {
        static const int registered = pthread_atfork(nullptr, nullptr, ForgetIds);
        static_cast<void>(registered);
        g_ids = {.process = getpid(), .thread = gettid()};
    }
    return g_ids;
}

// The time of day; all but the milliseconds is formatted once a second.
struct TimeText {
    char seconds[sizeof("12-31 23:59:59")] = {};
    int milliseconds = 0;
};

const TimeText& Now() {
    constexpr int kNanosecondsPerMillisecond = 1000000;
    thread_local time_t formatted = 0;
    thread_local TimeText text;
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != formatted) {
        tm parts = {};
        localtime_r(&now.tv_sec, &parts);
        strftime(text.seconds, sizeof(text.seconds), "%m-%d %H:%M:%S", &parts);
        formatted = now.tv_sec;
    }
    text.milliseconds = static_cast<int>(now.tv_nsec / kNanosecondsPerMillisecond);
    return text;
}

}  // namespace

void LogToStderr(android::base::LogId /*id*/, android::base::LogSeverity severity, const char* tag,
                 const char* file, unsigned int line, const char* message) {
    const Ids& ids = OwnIds();
    const TimeText& now = Now();
    char prefix[kMaxPrefix];
    int size =
        snprintf(prefix, sizeof(prefix), "%s.%03d %5d %5d %c %-8s: ", now.seconds, now.milliseconds,
                 ids.process, ids.thread, kSeverities[severity], tag == nullptr ? "nullptr" : tag);
    if (file != nullptr && size > 0 && static_cast<size_t>(size) < sizeof(prefix)) {
        snprintf(prefix + size, sizeof(prefix) - static_cast<size_t>(size), "%s:%u ", file, line);
    }
    thread_local std::string text;  // Keeps its memory.
    text.clear();
    // Each line of the message is a line of the log.
    for (const char* rest = message; rest != nullptr;) {
        const char* end = strchr(rest, '\n');
        text += prefix;
        text.append(rest, end == nullptr ? strlen(rest) : static_cast<size_t>(end - rest));
        text += '\n';
        rest = end == nullptr ? nullptr : end + 1;
    }
    // A reader that has gone is no reason to stop serving.
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) return;
}

}  // namespace hardware::velta
