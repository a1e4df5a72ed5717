// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <termios.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace uwbctl {

/**
 * What a command waits for: callbacks from binder's threads, Ctrl-C, the reader of standard output
 * going away. Construct it before any thread starts: it blocks the signals it waits for.
 *
 * A signal ends the process whatever it is doing. Wait() is told first, so that what was begun can
 * be ended in order; when it does not come to hear of it, as in a call that does not return, when
 * that takes too long, or at a second signal, the process dies of the signal. The service sees to
 * what a client leaves behind.
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
        /** Standard output is not read any more, or cannot be written. */
        kOutputClosed,
    };

    Events();
    ~Events();
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    /** Has Wait() run task on its own thread; callable from any thread. */
    void Post(std::function<void()> task);

    /** As Post(), before all that Post() has: for what people wait for. */
    void PostFirst(std::function<void()> task);

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

    /**
     * Has restore called, on another thread, before the process dies of a signal that could not end
     * it in order; nothing else is called then.
     */
    void AtDeath(std::function<void()> restore);

    /**
     * Waits for the first of all these. Posted functions run before it returns, but where they come
     * faster than they can be run the rest has to wait for the next time.
     */
    Wake Wait(std::chrono::milliseconds timeout);

  private:
    bool RunPosted();
    void WatchSignals();
    void OnTerminalSignal(int number);
    std::optional<int> NextSignal(std::chrono::milliseconds timeout);
    [[noreturn]] void DieOf(int number);

    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    std::deque<std::function<void()>> first_;
    android::base::unique_fd posted_fd_;
    int input_fd_ = -1;
    std::function<void()> on_input_;
    std::function<void(int)> on_terminal_signal_;
    std::function<void()> at_death_;

    android::base::unique_fd signal_fd_;
    // Readable from the first signal until Wait() has heard of it.
    android::base::unique_fd interrupted_fd_;
    std::atomic<bool> has_heard_ = false;
    // The terminal as it was found.
    std::optional<termios> terminal_;
    android::base::unique_fd end_fd_;
    std::thread watcher_;
};

}  // namespace uwbctl
