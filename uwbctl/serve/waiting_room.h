// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "uwbctl/serve/connection.h"

namespace uwbctl {

/**
 * Where connections wait until a whole request of theirs has arrived, and until what they were
 * answered is taken: all of them on one thread, so that any number that sends or takes nothing, or
 * slowly, is in nobody's way. When it is full, who has waited longest has to go.
 */
class WaitingRoom {
  public:
    /** Takes a connection, or leaves it when nobody has time for it. */
    using Serve = std::function<void(std::unique_ptr<Connection>*)>;

    /** @param serve is shown those whose request is there, on the room's thread. */
    explicit WaitingRoom(Serve serve);
    ~WaitingRoom() { Close(); }
    WaitingRoom(const WaitingRoom&) = delete;
    WaitingRoom& operator=(const WaitingRoom&) = delete;

    /** Any thread may call it; it waits where more enter at once than the room takes. */
    void Enter(std::unique_ptr<Connection> connection);
    /** Closes the connections that wait, and those that enter from then on. */
    void Close();

  private:
    void Run();
    void Wait() const;
    void Admit();
    void ServeReady();
    static bool GoesOn(Connection* connection);

    const Serve serve_;
    const android::base::unique_fd wake_;
    std::mutex mutex_;
    std::condition_variable admitted_;
    std::vector<std::unique_ptr<Connection>> entering_;
    bool is_closed_ = false;
    // The thread's own; who has waited longest is first.
    std::vector<std::unique_ptr<Connection>> waiting_;
    std::thread thread_;
};

}  // namespace uwbctl
