// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace hardware::velta {

/**
 * The one loop that the whole process runs on. Every callback runs on the loop's thread, and every
 * operation is called from it.
 */
class EventLoop {
  public:
    /** What a watched descriptor is waited for. Any other number is refused, not undefined. */
    enum ReadyMode : int {
        /** The descriptor is readable. */
        kModeInput = 0,
        /** The descriptor is writable. */
        kModeOutput = 1,
    };

    virtual ~EventLoop() = default;

    /** Runs a copy of task on a later pass of the loop. Tasks run in the order of posting. */
    virtual void PostTask(const std::function<void()>& task) = 0;

    /**
     * Calls a copy of on_ready with fd whenever fd is ready, until StopWatchFileDescriptor().
     * Watching a watched descriptor replaces its callback. fd stays the caller's.
     *
     * @return false, with a log line, when an argument is invalid.
     */
    virtual bool WatchFileDescriptor(int fd, ReadyMode mode,
                                     const std::function<void(int)>& on_ready) = 0;

    /** @return false when fd is not watched. */
    virtual bool StopWatchFileDescriptor(int fd) = 0;

    /** Tells a loop that guards against stalls that what runs now is slow, but does not hang. */
    virtual void NoteProgress() {}
};

}  // namespace hardware::velta
