// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>

#include <cstddef>
#include <list>
#include <string>

#include "looper/event_loop.h"

namespace hardware::velta {

/**
 * Hands texts to descriptors of others without ever waiting for them: what a descriptor does not
 * take at once is written when it can be, on the event loop. A reader that has gone, or one of too
 * many that do not read, goes without the rest.
 */
class DumpDelivery {
  public:
    /** @param event_loop borrowed. */
    explicit DumpDelivery(EventLoop* event_loop) : event_loop_(event_loop) {}
    ~DumpDelivery();
    DumpDelivery(const DumpDelivery&) = delete;
    DumpDelivery& operator=(const DumpDelivery&) = delete;

    /**
     * Delivers to a duplicate of fd, which stays the caller's. A file on a file system that hangs
     * is waited for all the same: files cannot be asked whether they are ready.
     *
     * @return false when fd is no descriptor.
     */
    bool Deliver(int fd, std::string text);

    /** As many wait for slow readers; each more ends the oldest. */
    static constexpr size_t kMaxPending = 4;

  private:
    struct Pending {
        android::base::unique_fd fd;
        std::string text;
        size_t written = 0;
    };

    // Writes what is taken; true when there is nothing left to do.
    static bool Write(Pending* pending);
    static bool WriteWhatFits(Pending* pending);
    void OnWritable(int fd);
    void End(std::list<Pending>::iterator pending);

    EventLoop* event_loop_;
    std::list<Pending> pending_;  // Watched by the loop; the oldest first.
};

}  // namespace hardware::velta
