// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>

namespace uwbctl {

/**
 * What a command waits for: callbacks from binder's threads, Ctrl-C, the reader of standard output
 * going away. Construct it before any thread starts: it blocks the signals it waits for.
 */
class Events {
  public:
    enum class Wake {
        /** Posted functions have run. */
        kPosted,
        /** The time is over. */
        kTimeout,
        /** SIGINT, SIGTERM or SIGHUP. */
        kInterrupted,
        /** Nobody reads standard output any more. */
        kOutputClosed,
    };

    Events();

    /** Has Wait() run task on its own thread; callable from any thread. */
    void Post(std::function<void()> task);

    /**
     * Has Wait() call on_ready whenever fd is readable, and return kPosted then; fd -1 ends it.
     *
     * @param fd borrowed.
     */
    void WatchInput(int fd, std::function<void()> on_ready);

    /**
     * Has Wait() call on_signal for SIGWINCH and SIGTSTP (the terminal's size has changed, the user
     * wants the process to stop) and return kPosted then. Without it the one is passed over, the
     * other stops the process.
     */
    void WatchTerminal(std::function<void(int number)> on_signal);

    /** Waits for the first of all these; posted functions run before it returns. */
    Wake Wait(std::chrono::milliseconds timeout);

  private:
    bool RunPosted();
    Wake TakeSignal();

    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    android::base::unique_fd posted_fd_;
    android::base::unique_fd signal_fd_;
    int input_fd_ = -1;
    std::function<void()> on_input_;
    std::function<void(int)> on_terminal_signal_;
};

}  // namespace uwbctl
