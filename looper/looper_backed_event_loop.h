// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Looper.h>
#include <utils/StrongPointer.h>

#include <chrono>

#include "looper/event_loop.h"
#include "looper/stall_guard.h"

namespace hardware::velta {

/** EventLoop over the android::Looper of the thread that constructs it. */
class LooperBackedEventLoop : public EventLoop {
  public:
    /** @param stall_limit how long a callback or task may take before the process ends; 0: any. */
    explicit LooperBackedEventLoop(std::chrono::seconds stall_limit = std::chrono::seconds(0));

    void PostTask(const std::function<void()>& task) override;
    bool WatchFileDescriptor(int fd, ReadyMode mode,
                             const std::function<void(int)>& on_ready) override;
    bool StopWatchFileDescriptor(int fd) override;
    void NoteProgress() override;

    /** Dispatches descriptors and tasks on the calling thread. In practice it never returns. */
    void Poll();

  private:
    android::sp<android::Looper> looper_;
    bool running_;
    StallGuard guard_;
};

}  // namespace hardware::velta
