// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Looper.h>
#include <utils/StrongPointer.h>

#include "looper/event_loop.h"

namespace hardware::velta {

/** EventLoop over the android::Looper of the thread that constructs it. */
class LooperBackedEventLoop : public EventLoop {
  public:
    LooperBackedEventLoop();

    void PostTask(const std::function<void()>& task) override;
    bool WatchFileDescriptor(int fd, ReadyMode mode,
                             const std::function<void(int)>& on_ready) override;
    bool StopWatchFileDescriptor(int fd) override;

    /** Dispatches descriptors and tasks on the calling thread. In practice it never returns. */
    void Poll();

  private:
    android::sp<android::Looper> looper_;
    bool running_;
};

}  // namespace hardware::velta
