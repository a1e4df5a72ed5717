// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/request_check.h"

#include <android-base/parseint.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "uwbctl/serve/answer.h"
#include "uwbctl/serve/connection.h"

namespace uwbctl {
namespace {

using httplib::Request;

constexpr size_t kMaxPath = 256;

constexpr int kLengthRequired = 411;
constexpr int kTooLarge = 413;
constexpr int kPathTooLong = 414;

RequestHead HeadOf(const Request& request) {
    RequestHead head = {.method = request.method,
                        .path = request.path,
                        .hosts = {},
                        .origin = request.get_header_value("Origin"),
                        .fetch_site = request.get_header_value("Sec-Fetch-Site"),
                        .fetch_mode = request.get_header_value("Sec-Fetch-Mode"),
                        .content_type = request.get_header_value("Content-Type"),
                        .token = request.get_header_value("X-Token")};
    const auto [first, last] = request.headers.equal_range("Host");
    for (auto host = first; host != last; ++host) head.hosts.push_back(host->second);
    return head;
}

}  // namespace

std::optional<Refusal> CheckRequest(const Gate& gate, const Request& request) {
    // The library's patterns call themselves once a character.
    if (request.path.size() > kMaxPath) return Refusal{kPathTooLong, "no path is that long"};
    if (request.has_header("Transfer-Encoding")) {
        return Refusal{kLengthRequired, "a request says how long it is"};
    }
    // None of our paths is written so, and by its path a request is given to those who serve it.
    if (request.target.substr(0, request.target.find('?')).find('%') != std::string::npos) {
        return Refusal{kNotFound, "there is nothing here"};
    }
    if (request.get_header_value_count("Content-Length") > 1) {
        return Refusal{kBadRequest, "Content-Length is said twice"};
    }
    uint64_t length = 0;
    const std::string text = request.get_header_value("Content-Length");
    if (request.has_header("Content-Length") && (!std::all_of(text.begin(), text.end(), isdigit) ||
                                                 !android::base::ParseUint(text, &length))) {
        return Refusal{kBadRequest, "Content-Length is no number"};
    }
    if (length > kMaxBody) return Refusal{kTooLarge, "that is more than a command needs"};
    return gate.Check(HeadOf(request));
}

}  // namespace uwbctl
