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

namespace uwbctl {

using std::chrono::milliseconds;

Events::Events() : posted_fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal_fd_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

void Events::Post(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
    eventfd_write(posted_fd_.get(), 1);
}

bool Events::RunPosted() {
    std::deque<std::function<void()>> posted;
    {
        const std::lock_guard lock(mutex_);
        eventfd_t count = 0;
        eventfd_read(posted_fd_.get(), &count);
        posted.swap(posted_);
    }
    for (const auto& task : posted) task();
    return !posted.empty();
}

void Events::WatchInput(int fd, std::function<void()> on_ready) {
    input_fd_ = fd;
    on_input_ = std::move(on_ready);
}

void Events::WatchTerminal(std::function<void(int)> on_signal) {
    on_terminal_signal_ = std::move(on_signal);
}

Events::Wake Events::TakeSignal() {
    signalfd_siginfo info = {};
    (void)!read(signal_fd_.get(), &info, sizeof(info));
    const auto number = static_cast<int>(info.ssi_signo);
    if (number != SIGWINCH && number != SIGTSTP) return Wake::kInterrupted;
    if (on_terminal_signal_) {
        on_terminal_signal_(number);
    } else if (number == SIGTSTP) {
        kill(getpid(), SIGSTOP);
    }
    return Wake::kPosted;
}

Events::Wake Events::Wait(milliseconds timeout) {
    // Asking standard output for nothing still reports that its reader has gone; -1 is passed over.
    pollfd fds[] = {{.fd = posted_fd_.get(), .events = POLLIN, .revents = 0},
                    {.fd = signal_fd_.get(), .events = POLLIN, .revents = 0},
                    {.fd = STDOUT_FILENO, .events = 0, .revents = 0},
                    {.fd = input_fd_, .events = POLLIN, .revents = 0}};
    const auto& [posted_poll, signal_poll, output_poll, input_poll] = fds;
    const int ready =
        poll(fds, std::size(fds), static_cast<int>(std::max(timeout, milliseconds(0)).count()));
    bool posted = RunPosted();
    // Being continued after a stop may end the wait as well.
    if (ready < 0) return Wake::kPosted;
    if (ready > 0 && signal_poll.revents != 0) return TakeSignal();
    if (ready > 0 && (output_poll.revents & (POLLERR | POLLHUP)) != 0) return Wake::kOutputClosed;
    if (ready > 0 && input_poll.revents != 0) {
        posted = true;
        const auto on_input = on_input_;  // It may end its own watch.
        on_input();
    }
    return posted ? Wake::kPosted : Wake::kTimeout;
}

}  // namespace uwbctl
