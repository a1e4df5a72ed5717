// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "looper/event_loop.h"

namespace hardware::velta {

/** Holds watches and tasks until the test runs them. */
class FakeEventLoop : public EventLoop {
  public:
    struct Watch {
        ReadyMode mode;
        std::function<void(int)> on_ready;
    };

    void PostTask(const std::function<void()>& task) override { tasks.push_back(task); }
    bool WatchFileDescriptor(int fd, ReadyMode mode,
                             const std::function<void(int)>& on_ready) override {
        watch_calls++;
        if (accept_watches) watches[fd] = {mode, on_ready};
        return accept_watches;
    }
    bool StopWatchFileDescriptor(int fd) override { return watches.erase(fd) > 0; }

    /** One pass of the loop for fd; as in the real loop, the callback outlives its removal. */
    void Ready(int fd) {
        const auto on_ready = watches.at(fd).on_ready;
        on_ready(fd);
    }

    std::map<int, Watch> watches;
    std::vector<std::function<void()>> tasks;
    int watch_calls = 0;
    bool accept_watches = true;
};

}  // namespace hardware::velta
