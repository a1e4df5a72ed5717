// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/ICccController.h>
#include <aidl/hardware/velta/uwb/IFiraController.h>
#include <aidl/hardware/velta/uwb/ISimpleRangingController.h>
#include <aidl/hardware/velta/uwb/IUwb.h>
#include <aidl/hardware/velta/uwb/IUwbIface.h>
#include <android-base/strings.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/client/events.h"

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
    /** A file or standard output cannot be written. */
    kCannotWrite = 6,
    /** All went well, but no peer has answered. */
    kNoAnswer = 7,
};

/** Ends the command: one line for the terminal, and the exit status. */
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, const std::string& message)
        // It would end at a byte that ends a text.
        : std::runtime_error(android::base::StringReplace(message, std::string(1, '\0'), "\\x00",
                                                          /*all=*/true)),
          status_(status) {}
    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

/**
 * Throws a Failure with what was asked and what the service answered, unless status is OK.
 *
 * @param asked such as "open the hardware".
 * @param reason what else is known of the reason, where the service gives none: it takes the place
 *               of the advice where to look. Asked for after a failure only; may return nothing.
 */
void Check(const ndk::ScopedAStatus& status, const std::string& asked,
           const std::function<std::string()>& reason = nullptr);

/** A connection to the service. */
class Client {
  public:
    using IUwb = ::aidl::hardware::velta::uwb::IUwb;
    using IUwbIface = ::aidl::hardware::velta::uwb::IUwbIface;
    using IFiraController = ::aidl::hardware::velta::uwb::IFiraController;
    using ICccController = ::aidl::hardware::velta::uwb::ICccController;
    using ISimpleRangingController = ::aidl::hardware::velta::uwb::ISimpleRangingController;

    /** Connects; a Failure names what is missing. events must outlive the client. */
    explicit Client(Events* events);
    /** With a service of this process, which does not die. */
    explicit Client(std::shared_ptr<IUwb> service) : service_(std::move(service)) {}
    /** Close(). */
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /** @return the service, null when it is not registered; a Failure when binder is not there. */
    static std::shared_ptr<IUwb> FindService();

    /** Waits until the service is registered; false after timeout, or when the user ends it. */
    static bool WaitForService(Events* events, std::chrono::seconds timeout);

    /** Takes the hardware for this process, unless it has it already; a Failure says who has it
     * when it is taken. */
    void Open();

    /** As Open(), but @return false when another client has it: much can be read all the same. */
    bool TryOpen();

    /** Gives the hardware back if Open() took it. */
    void Close();

    /** @return the interface of that name, or the only or first one for an empty name. */
    std::shared_ptr<IUwbIface> GetIface(std::string* name);

    /** @return the controllers of such an interface; a Failure where it has none. */
    std::shared_ptr<IFiraController> GetFira(std::string* name);
    std::shared_ptr<ICccController> GetCcc(std::string* name);
    std::shared_ptr<ISimpleRangingController> GetSimpleRanging(std::string* name);

    IUwb* service() { return service_.get(); }

    /** Throws a Failure once the service has died. */
    void CheckAlive() const;

  private:
    struct DeathNotice;

    std::shared_ptr<IUwb> service_;
    ndk::ScopedAIBinder_DeathRecipient death_recipient_;
    // Binder's from the link to its end.
    DeathNotice* notice_ = nullptr;
    bool is_open_ = false;
    // The notice of a death may still be under way when this is gone.
    std::shared_ptr<bool> has_died_ = std::make_shared<bool>(false);
};

/** How RunUntil() ended. */
enum class Ended {
    /** What was waited for is there. */
    kDone,
    /** By a signal, such as Ctrl-C's. */
    kInterrupted,
    /** Nobody reads the output any more. */
    kOutputClosed,
    /** Nothing came from the service for too long. */
    kSilent,
};

/**
 * Runs what the service's callbacks post until done.
 *
 * @param patience how long nothing at all may come.
 * @return why it ended; a Failure when the service dies.
 */
Ended RunUntil(Events* events, const Client& client, std::chrono::milliseconds patience,
               const std::function<bool()>& done);

/** How long a radio may take to report a stop: it does so after the round that it is in. */
inline constexpr std::chrono::milliseconds kStopPatience{5000};

/**
 * As RunUntil(), but nothing that the user does ends it: for what has to be tidied up.
 *
 * @return whether it was done in time.
 */
bool FinishWithin(Events* events, const Client& client, std::chrono::milliseconds time,
                  const std::function<bool()>& done);

}  // namespace uwbctl
