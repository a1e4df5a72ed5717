// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/json.h"

#include <limits>
#include <set>
#include <stdexcept>
#include <vector>

#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kMostLevels = 32;

void CheckDepth(int depth) {
    if (depth > kMostLevels) {
        throw std::runtime_error("nested deeper than " + std::to_string(kMostLevels) + " levels");
    }
}

Json Parse(const std::string& text, const Json::parser_callback_t& look) {
    constexpr int kTooLarge = 406;
    constexpr size_t kMostSaid = 300;
    try {
        return Json::parse(text, look);
    } catch (const Json::exception& exception) {
        const std::string reason = ReasonOf(exception);
        const size_t number = exception.id == kTooLarge ? reason.find('\'') : reason.npos;
        const bool is_known = number != reason.npos;
        throw std::runtime_error(Shortened(
            is_known ? "a number is too large: " + reason.substr(number) : reason, kMostSaid));
    }
}

}  // namespace

Json ParseJson(const std::string& text) {
    return Parse(text, [](int depth, Json::parse_event_t, const Json&) {
        CheckDepth(depth);
        return true;
    });
}

Json ParseUniqueJson(const std::string& text) {
    using Event = Json::parse_event_t;
    // Of each object that what is read lies in.
    std::vector<std::set<std::string>> names;
    return Parse(text, [&names](int depth, Event event, const Json& json) {
        CheckDepth(depth);
        if (event == Event::object_start) names.emplace_back();
        if (event == Event::object_end) names.pop_back();
        if (event == Event::key && !names.back().insert(json.get<std::string>()).second) {
            const std::string name = PrintableText(Shortened(json.get<std::string>()));
            throw std::runtime_error(name + " is there twice");
        }
        return true;
    });
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
