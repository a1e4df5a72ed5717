// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "uwbctl/serve/backend.h"
#include "uwbctl/serve/event_log.h"
#include "uwbctl/serve/gate.h"

namespace uwbctl {

/**
 * Serves the page, the events and the commands over HTTP, on threads of its own:
 *
 *     GET /, /main.js, ...      the page
 *     GET /events               what happens, as server-sent events
 *     GET /forms.json           what the page's forms are made of
 *     GET /recording.jsonl      the latest recording, and its report
 *     GET /report.html
 *     POST /command/NAME        a command and its arguments, as JSON
 */
class WebServer {
  public:
    /**
     * Listens and serves from then on; a Failure says why that is not possible.
     *
     * @param port 0 for any.
     * @param gate, log, backend borrowed.
     */
    WebServer(const std::string& address, int port, const Gate* gate, const EventLog* log,
              Backend* backend);
    /** Ends all connections; the log has to be closed before. */
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    int port() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace uwbctl
