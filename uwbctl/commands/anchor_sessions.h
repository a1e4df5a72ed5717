// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "uwbctl/client/client.h"
#include "uwbctl/client/measurement.h"
#include "uwbctl/client/session.h"

namespace uwbctl {

/** Sessions on one or more interfaces at once, for their measurements alone. */
class AnchorSessions {
  public:
    /** @param iface which interface has measured it. */
    using Handler = std::function<void(const std::string& iface, const Measurement& measurement)>;

    /** Opens the hardware; a Failure says why not. */
    AnchorSessions(Events* events, Handler handler);
    ~AnchorSessions();
    AnchorSessions(const AnchorSessions&) = delete;
    AnchorSessions& operator=(const AnchorSessions&) = delete;

    /** @return the names of all interfaces. */
    std::vector<std::string> Interfaces();

    /**
     * Sets a session up and has it range.
     *
     * @param iface empty for the first one.
     * @return the interface's name.
     */
    std::string Start(std::string iface, const FiraTwrSession& session);

    /** Runs until done, the user ends it, or no report comes; a Failure for a radio that gives up.
     */
    Ended Run(const std::function<bool()>& done);

    /** Ends what runs; a Failure when a radio does not confirm it. */
    void Stop();

  private:
    class Session;

    Events* events_;
    Handler handler_;
    Client client_;
    std::vector<std::shared_ptr<Session>> sessions_;
    std::chrono::milliseconds patience_{0};
};

}  // namespace uwbctl
