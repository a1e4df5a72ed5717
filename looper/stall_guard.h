// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>

namespace hardware::velta {

/**
 * Ends the process when one callback of its loop takes too long: a thread that waits for something
 * that never comes cannot help itself, but whoever supervises the process can start it anew. Binder
 * gives clients such a wait: the first use of a callback asks its process, which may be stopped.
 *
 * It costs a look at the clock for each callback, and wakes nothing while the loop is idle: its
 * timer (SIGALRM) runs out at most once after the last callback. One in a process.
 */
class StallGuard {
  public:
    /** @param limit how long a callback may take; 0 for ever, which costs nothing. */
    explicit StallGuard(std::chrono::seconds limit);
    ~StallGuard();
    StallGuard(const StallGuard&) = delete;
    StallGuard& operator=(const StallGuard&) = delete;

    /** The task that runs is no callback of a descriptor. */
    static constexpr int kTask = -1;

    /** While it lives, a callback runs. */
    class Scope {
      public:
        /** @param fd the descriptor that the callback is for, or kTask. */
        Scope(StallGuard* guard, int fd) : guard_(guard) { guard_->Begin(fd); }
        ~Scope() { guard_->End(); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

      private:
        StallGuard* guard_;
    };

    /** The limit starts again: what runs waits many times, but never for long. */
    void NoteProgress();

  private:
    void Begin(int fd);
    void End();

    bool is_on_;
};

}  // namespace hardware::velta
