// SPDX-License-Identifier: Apache-2.0
#include "host/stderr_logger.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

namespace hardware::velta {
namespace {

constexpr char kSeverities[] = "VDIWEFF";
constexpr size_t kMaxKept = 16 << 10;

// The ids of the process and the calling thread, asked for once: after a fork anew.
thread_local std::string g_ids;

void ForgetIds() {
    g_ids.clear();
}

const std::string& OwnIds() {
    if (g_ids.empty()) {
        static const int registered = pthread_atfork(nullptr, nullptr, ForgetIds);
        static_cast<void>(registered);
        char text[32];
        snprintf(text, sizeof(text), " %5d %5d ", getpid(), gettid());
        g_ids = text;
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

void AppendNumber(unsigned int number, size_t width, std::string* text) {
    char digits[std::numeric_limits<unsigned int>::digits10 + 1];
    const char* end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    const auto size = static_cast<size_t>(end - digits);
    if (size < width) text->append(width - size, '0');
    text->append(digits, size);
}

// "11-22 04:36:15.696   140   140 I tag: place.cpp:165 ", by hand: the printf family took a tenth
// of all the time in which a session is set up.
void AppendPrefix(android::base::LogSeverity severity, std::string_view tag, const char* file,
                  unsigned int line, std::string* text) {
    constexpr size_t kTagWidth = 8;
    constexpr size_t kMillisecondsWidth = 3;
    const TimeText& now = Now();
    *text += now.seconds;
    *text += '.';
    AppendNumber(static_cast<unsigned int>(now.milliseconds), kMillisecondsWidth, text);
    *text += OwnIds();
    *text += kSeverities[severity];
    *text += ' ';
    *text += tag;
    if (tag.size() < kTagWidth) text->append(kTagWidth - tag.size(), ' ');
    *text += ": ";
    if (file == nullptr) return;
    *text += file;
    *text += ':';
    AppendNumber(line, 0, text);
    *text += ' ';
}

// A reader that has gone is no reason to stop serving.
void WriteAll(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = TEMP_FAILURE_RETRY(write(STDERR_FILENO, text.data(), text.size()));
        if (count <= 0) return;
        text.remove_prefix(static_cast<size_t>(count));
    }
}

}  // namespace

void LogToStderr(android::base::LogId /*id*/, android::base::LogSeverity severity, const char* tag,
                 const char* file, unsigned int line, const char* message) {
    thread_local std::string text;  // Keeps its memory, but that of a client's novel.
    text.clear();
    AppendPrefix(severity, tag == nullptr ? "nullptr" : tag, file, line, &text);
    const size_t prefix_size = text.size();
    // Each line of the message is a line of the log.
    for (const char* rest = message;;) {
        const char* end = strchr(rest, '\n');
        text.append(rest, end == nullptr ? strlen(rest) : static_cast<size_t>(end - rest));
        text += '\n';
        if (end == nullptr) break;
        rest = end + 1;
        text.append(text, 0, prefix_size);
    }
    WriteAll(text);
    if (text.capacity() > kMaxKept) std::string().swap(text);
}

}  // namespace hardware::velta
