// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <nlohmann/json.hpp>
#include <string>

#include "uwbctl/client/json.h"

namespace uwbctl {

// Statuses of answers, as HTTP has them.
inline constexpr int kOk = 200;
inline constexpr int kBadRequest = 400;
inline constexpr int kNotFound = 404;
inline constexpr int kUnavailable = 503;

inline void Answer(int status, const nlohmann::ordered_json& json, httplib::Response* response) {
    response->status = status;
    response->set_content(JsonText(json), "application/json");
}

/** {"error": reason}. */
inline void Refuse(int status, const std::string& reason, httplib::Response* response) {
    Answer(status, {{"error", reason}}, response);
}

}  // namespace uwbctl
