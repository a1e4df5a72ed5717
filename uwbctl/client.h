// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/IUwb.h>
#include <aidl/hardware/velta/uwb/IUwbIface.h>
#include <android-base/unique_fd.h>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace uwbctl {

/** Exit statuses; scripts rely on them. */
enum ExitStatus : int {
    kDone = 0,
    kUsage = 2,
    /** The service is not there, or another client holds it. */
    kNoService = 3,
    /** The service refused the call. */
    kRefused = 4,
    /** The radio or the session failed after it was set up. */
    kRadioFailed = 5,
};

/** Ends the command: one line for the terminal, and the exit status. */
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

/**
 * Throws a Failure with what was asked and what the service answered, unless status is OK.
 *
 * @param asked such as "open the hardware".
 */
void Check(const ndk::ScopedAStatus& status, const std::string& asked);

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

    /** Waits for the first of all these; posted functions run before it returns. */
    Wake Wait(std::chrono::milliseconds timeout);

  private:
    bool RunPosted();

    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    android::base::unique_fd posted_fd_;
    android::base::unique_fd signal_fd_;
};

/** A connection to the service. */
class Client {
  public:
    using IUwb = ::aidl::hardware::velta::uwb::IUwb;
    using IUwbIface = ::aidl::hardware::velta::uwb::IUwbIface;

    /** Connects; a Failure names what is missing. events must outlive the client. */
    explicit Client(Events* events);
    /** Closes the hardware if Open() took it. */
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /** Waits until the service is registered; false after timeout. */
    static bool WaitForService(std::chrono::seconds timeout);

    /** Takes the hardware for this process. */
    void Open();

    /** @return the interface of that name, or the only or first one for an empty name. */
    std::shared_ptr<IUwbIface> GetIface(std::string* name);

    IUwb* service() { return service_.get(); }

    /** Throws a Failure once the service has died. */
    void CheckAlive() const;

  private:
    Events* events_;
    std::shared_ptr<IUwb> service_;
    ndk::ScopedAIBinder_DeathRecipient death_recipient_;
    bool is_open_ = false;
    bool has_died_ = false;
};

}  // namespace uwbctl
