// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace uwbctl {

/** What the gate looks at in a request; empty for a header that is not there. */
struct RequestHead {
    std::string method;
    std::string path;
    /** Every Host header there was. */
    std::vector<std::string> hosts;
    std::string origin;
    /** Sec-Fetch-Site and Sec-Fetch-Mode: what the browser says of where a request comes from. */
    std::string fetch_site;
    std::string fetch_mode;
    std::string content_type;
    std::string token;
};

/** Why a request is refused. */
struct Refusal {
    /** HTTP's. */
    int status;
    std::string reason;
};

/**
 * Lets in who may look on, and who may command. Everybody on this machine may look on, but no page
 * of another site, by whatever name it has made a browser find us. Who commands has the token, and
 * is a page of ours, or says so.
 */
class Gate {
  public:
    /**
     * @param names the host names by which browsers reach us, without ports.
     * @param token not empty.
     */
    Gate(std::set<std::string> names, std::string token)
        : names_(std::move(names)), token_(std::move(token)) {}

    /** @return nothing for a request that may pass. Any thread may call it. */
    std::optional<Refusal> Check(const RequestHead& head) const;
    /** @return whether that is the token of who may command. Any thread may call it. */
    bool HasToken(const std::string& token) const;

  private:
    bool IsOurName(const std::string& host) const;
    std::optional<Refusal> CheckCommand(const RequestHead& head) const;

    const std::set<std::string> names_;
    const std::string token_;
};

/** @return the name in "localhost", "LocalHost:8765" or "[::1]:8765", as the gate compares it. */
std::string HostName(const std::string& host);

/** @return a token that nobody guesses. */
std::string MakeToken();

}  // namespace uwbctl
