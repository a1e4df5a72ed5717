// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/events.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "uwbctl/client/output.h"

namespace uwbctl {
namespace {

using std::chrono::milliseconds;

// Between two waits a command is busy for less than that, unless it hangs.
constexpr milliseconds kUntilHeard{500};
// To end a session in order takes up to five seconds, and two calls.
constexpr milliseconds kToTidyUp{8000};

// A terminal that takes nothing does not keep the process.
constexpr unsigned kSecondsToDie = 1;

// Before time and signals are looked at again.
constexpr milliseconds kLongestRun{50};

constexpr int kEventFdFlags = EFD_CLOEXEC | EFD_NONBLOCK;

}  // namespace

Events::Events()
    : posted_fd_(eventfd(0, kEventFdFlags)),
      interrupted_fd_(eventfd(0, kEventFdFlags)),
      end_fd_(eventfd(0, kEventFdFlags)) {
    signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal_fd_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    termios terminal = {};
    if (tcgetattr(STDIN_FILENO, &terminal) == 0) terminal_ = terminal;
    watcher_ = std::thread([this] { WatchSignals(); });
}

Events::~Events() {
    eventfd_write(end_fd_.get(), 1);
    watcher_.join();
}

// The next that ends the process: 0 when none came in time, nothing when the watch ends.
std::optional<int> Events::NextSignal(milliseconds timeout) {
    pollfd fds[] = {{.fd = signal_fd_.get(), .events = POLLIN, .revents = 0},
                    {.fd = end_fd_.get(), .events = POLLIN, .revents = 0}};
    const auto& [signal_poll, end_poll] = fds;
    for (;;) {
        const int ready = poll(fds, std::size(fds), static_cast<int>(timeout.count()));
        if (ready == 0) return 0;
        if (ready < 0) continue;
        if (end_poll.revents != 0) return std::nullopt;
        signalfd_siginfo info = {};
        if (read(signal_fd_.get(), &info, sizeof(info)) <= 0) continue;
        const auto number = static_cast<int>(info.ssi_signo);
        if (number != SIGWINCH && number != SIGTSTP) return number;
        OnTerminalSignal(number);
    }
}

void Events::WatchSignals() {
    constexpr milliseconds kNoTimeout{-1};
    const std::optional<int> first = NextSignal(kNoTimeout);
    if (!first) return;
    eventfd_write(interrupted_fd_.get(), 1);
    std::optional<int> second = NextSignal(kUntilHeard);
    if (second == 0 && has_heard_) second = NextSignal(kToTidyUp);
    if (second) DieOf(*second != 0 ? *second : *first);
}

void Events::DieOf(int number) {
    alarm(kSecondsToDie);
    mutex_.lock();
    if (at_death_) at_death_();
    // From the background the terminal is not ours to set.
    if (terminal_ && tcgetpgrp(STDIN_FILENO) == getpgrp()) {
        tcsetattr(STDIN_FILENO, TCSANOW, &*terminal_);
    }
    signal(number, SIG_DFL);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, number);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    raise(number);
    abort();
}

void Events::Post(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
    eventfd_write(posted_fd_.get(), 1);
}

void Events::PostFirst(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    first_.push_back(std::move(task));
    eventfd_write(posted_fd_.get(), 1);
}

bool Events::RunPosted() {
    const auto deadline = std::chrono::steady_clock::now() + kLongestRun;
    // One by one: what a task throws must not take the others with it.
    for (bool has_run = false;; has_run = true) {
        // What is left keeps the next wait short.
        if (std::chrono::steady_clock::now() >= deadline) return true;
        std::function<void()> task;
        {
            const std::lock_guard lock(mutex_);
            auto& queue = first_.empty() ? posted_ : first_;
            if (queue.empty()) return has_run;
            task = std::move(queue.front());
            queue.pop_front();
            // Not later: a wait that this ended, with nothing left to run, would pass for a
            // timeout.
            eventfd_t count = 0;
            if (first_.empty() && posted_.empty()) eventfd_read(posted_fd_.get(), &count);
        }
        task();
    }
}

void Events::WatchInput(int fd, std::function<void()> on_ready) {
    input_fd_ = fd;
    on_input_ = std::move(on_ready);
}

void Events::WatchTerminal(std::function<void(int)> on_signal) {
    const std::lock_guard lock(mutex_);
    on_terminal_signal_ = std::move(on_signal);
}

void Events::AtDeath(std::function<void()> restore) {
    const std::lock_guard lock(mutex_);
    at_death_ = std::move(restore);
}

// Who watches hears of it in Wait(); it may have changed its mind by then.
void Events::OnTerminalSignal(int number) {
    std::unique_lock lock(mutex_);
    const bool is_watched = static_cast<bool>(on_terminal_signal_);
    lock.unlock();
    if (is_watched) {
        Post([this, number] {
            if (on_terminal_signal_) on_terminal_signal_(number);
        });
    } else if (number == SIGTSTP) {
        kill(getpid(), SIGSTOP);
    }
}

Events::Wake Events::Wait(milliseconds timeout) {
    // Asking standard output for nothing still reports that its reader has gone; -1 is passed over.
    pollfd fds[] = {{.fd = posted_fd_.get(), .events = POLLIN, .revents = 0},
                    {.fd = interrupted_fd_.get(), .events = POLLIN, .revents = 0},
                    {.fd = STDOUT_FILENO, .events = 0, .revents = 0},
                    {.fd = input_fd_, .events = POLLIN, .revents = 0}};
    const auto& [posted_poll, signal_poll, output_poll, input_poll] = fds;
    const int ready =
        poll(fds, std::size(fds), static_cast<int>(std::max(timeout, milliseconds(0)).count()));
    bool posted = RunPosted();
    // Being continued after a stop may end the wait as well.
    if (ready < 0) return Wake::kPosted;
    if (ready > 0 && signal_poll.revents != 0) {
        has_heard_ = true;
        eventfd_t count = 0;
        eventfd_read(interrupted_fd_.get(), &count);
        return Wake::kInterrupted;
    }
    if (ready > 0 && (output_poll.revents & (POLLERR | POLLHUP)) != 0) return Wake::kOutputClosed;
    if (!FlushStandardOutput().empty()) return Wake::kOutputClosed;
    if (ready > 0 && input_poll.revents != 0) {
        posted = true;
        const auto on_input = on_input_;  // It may end its own watch.
        on_input();
    }
    return posted ? Wake::kPosted : Wake::kTimeout;
}

}  // namespace uwbctl
