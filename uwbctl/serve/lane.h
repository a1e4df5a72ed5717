// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <atomic>
#include <functional>
#include <utility>

namespace uwbctl {

/** A queue for the library that keeps nothing: a connection that was accepted goes to wait at once.
 */
class DoneAtOnce : public httplib::TaskQueue {
  public:
    void enqueue(std::function<void()> task) override { task(); }
    void shutdown() override {}
};

/** Threads for one kind of requests, and those who wait for them; its end waits for all of these.
 */
class Lane {
  public:
    /** @param max_in_line how many may wait. */
    Lane(size_t threads, int max_in_line) : pool_(threads), max_in_line_(max_in_line) {}
    ~Lane() { pool_.shutdown(); }
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;

    /** @return whether another one may wait; for the one thread that adds. */
    bool HasRoom() const { return in_line_ < max_in_line_; }
    void Add(std::function<void()> task) {
        in_line_++;
        pool_.enqueue([this, task = std::move(task)] {
            in_line_--;
            task();
        });
    }

  private:
    httplib::ThreadPool pool_;
    const int max_in_line_;
    std::atomic<int> in_line_ = 0;
};

}  // namespace uwbctl
