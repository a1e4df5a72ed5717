// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/json.h"

#include <limits>
#include <stdexcept>

#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kMostLevels = 32;

}  // namespace

Json ParseJson(const std::string& text) {
    const auto check_depth = [](int depth, Json::parse_event_t, const Json&) {
        if (depth <= kMostLevels) return true;
        throw std::runtime_error("nested deeper than " + std::to_string(kMostLevels) + " levels");
    };
    try {
        return Json::parse(text, check_depth);
    } catch (const Json::exception& exception) {
        throw std::runtime_error(ReasonOf(exception));
    }
}

std::string JsonText(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string NotText(const Json& json) {
    return json.is_structured() ? "" : ", not " + Shortened(JsonText(json));
}

std::string ReasonOf(const std::exception& exception) {
    const std::string what = exception.what();
    // "[json.exception.…] " stands before what people need.
    const size_t end = what.find("] ");
    return what.starts_with("[json") && end != std::string::npos ? what.substr(end + 2) : what;
}

std::optional<int64_t> WholeNumber(const Json& json) {
    if (!json.is_number_integer()) return std::nullopt;
    if (json.is_number_unsigned() &&
        json.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
        return std::nullopt;
    }
    return json.get<int64_t>();
}

}  // namespace uwbctl
