// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/gate.h"

#include <sys/random.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "uwbctl/client/client.h"

namespace uwbctl {
namespace {

constexpr int kForbidden = 403;
constexpr int kMethodNotAllowed = 405;
constexpr int kMisdirected = 421;
constexpr int kUnsupportedType = 415;

// How long it takes tells nothing about where they differ.
bool AreSame(const std::string& a, const std::string& b) {
    unsigned difference = a.size() == b.size() ? 0 : 1;
    for (size_t i = 0; i < a.size(); i++) {
        difference |= static_cast<unsigned char>(a[i]) ^
                      static_cast<unsigned char>(b.empty() ? 0 : b[i % b.size()]);
    }
    return difference == 0;
}

}  // namespace

std::string HostName(const std::string& host) {
    const size_t bracket = host.find(']');
    const size_t colon = host.find(':', bracket == host.npos ? 0 : bracket);
    std::string name = host.substr(0, colon);
    // A port, or else all of it is one name, which nobody has.
    if (colon != host.npos && host.find_first_not_of("0123456789", colon + 1) != host.npos)
        name = host;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(tolower(c)); });
    return name;
}

bool Gate::HasToken(const std::string& token) const {
    return AreSame(token, token_);
}

bool Gate::IsOurName(const std::string& host) const {
    return names_.contains(HostName(host));
}

std::optional<Refusal> Gate::Check(const RequestHead& head) const {
    // A name of somebody else's that leads here is how another site's page would read us.
    if (head.hosts.size() != 1 || !IsOurName(head.hosts.front())) {
        return Refusal{kMisdirected, "this server has another name"};
    }
    if (head.method != "GET" && head.method != "HEAD" && head.method != "POST") {
        return Refusal{kMethodNotAllowed, "only GET and POST are understood"};
    }
    // A link on another site may open the page; nothing else of theirs may come in.
    const bool is_visit = head.fetch_mode == "navigate" && head.path == "/";
    const bool is_foreign =
        !head.fetch_site.empty() && head.fetch_site != "same-origin" && head.fetch_site != "none";
    if (is_foreign && !is_visit) return Refusal{kForbidden, "a page of another site asks"};
    if (!head.origin.empty() && head.origin != "http://" + head.hosts.front()) {
        return Refusal{kForbidden, "a page of another origin asks"};
    }
    if (head.method == "POST") return CheckCommand(head);
    return std::nullopt;
}

std::optional<Refusal> Gate::CheckCommand(const RequestHead& head) const {
    if (head.origin.empty()) return Refusal{kForbidden, "a command names its origin"};
    if (!HasToken(head.token)) {
        return Refusal{kForbidden,
                       "the token is missing or wrong: the link that uwbctl serve printed has it"};
    }
    if (head.content_type.substr(0, head.content_type.find(';')) != "application/json") {
        return Refusal{kUnsupportedType, "a command is JSON"};
    }
    return std::nullopt;
}

std::string MakeToken() {
    constexpr size_t kBytes = 16;
    constexpr char kDigits[] = "0123456789abcdef";
    unsigned char bytes[kBytes];
    if (getrandom(bytes, sizeof(bytes), 0) != static_cast<ssize_t>(sizeof(bytes))) {
        throw Failure(kRadioFailed, std::string("no random numbers: ") + strerror(errno));
    }
    std::string token;
    for (const unsigned char byte : bytes) token += {kDigits[byte >> 4], kDigits[byte & 0xF]};
    return token;
}

}  // namespace uwbctl
