// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/arguments.h"

#include <algorithm>

#include "uwbctl/client/json.h"
#include "uwbctl/client/session.h"
#include "uwbctl/client/text.h"
#include "uwbctl/world/scene_printer.h"

namespace uwbctl {

using Json = nlohmann::ordered_json;

void RefuseMember(const Json& arguments, const char* name, const std::string& kind) {
    // Whoever looks on is told of it.
    throw Failure(kUsage, std::string(name) + " is " + kind +
                              (IsSecret(name) ? "" : NotText(arguments.at(name))));
}

const Json& MemberOf(const Json& arguments, const char* name) {
    const auto member = arguments.find(name);
    if (member == arguments.end()) throw Failure(kUsage, std::string(name) + " is missing");
    return *member;
}

std::string TextOf(const Json& arguments, const char* name) {
    const Json& text = MemberOf(arguments, name);
    if (!text.is_string()) RefuseMember(arguments, name, "a text");
    return text.get<std::string>();
}

std::string TextOf(const Json& arguments, const char* name, const std::string& otherwise) {
    return arguments.contains(name) ? TextOf(arguments, name) : otherwise;
}

std::vector<std::string> TextsOf(const Json& arguments, const char* name) {
    const Json& list = MemberOf(arguments, name);
    const bool are_texts =
        list.is_array() &&
        std::all_of(list.begin(), list.end(), [](const Json& item) { return item.is_string(); });
    if (!are_texts) RefuseMember(arguments, name, "a list of texts");
    return list.get<std::vector<std::string>>();
}

bool FlagOf(const Json& arguments, const char* name) {
    const Json& flag = MemberOf(arguments, name);
    if (!flag.is_boolean()) RefuseMember(arguments, name, "true or false");
    return flag.get<bool>();
}

double NumberOf(const Json& arguments, const char* name, double min, double max) {
    const Json& json = MemberOf(arguments, name);
    if (!json.is_number()) RefuseMember(arguments, name, "a number");
    const auto number = json.get<double>();
    if (number >= min && number <= max) return number;
    RefuseMember(arguments, name, NumberText(min) + " to " + NumberText(max));
}

uint64_t WholeNumberOf(const Json& arguments, const char* name, uint64_t max) {
    const Json& number = MemberOf(arguments, name);
    if (number.is_number_unsigned() && number.get<uint64_t>() <= max) return number.get<uint64_t>();
    RefuseMember(arguments, name, "a whole number, 0 to " + std::to_string(max));
}

void CheckMembers(const Json& arguments, const std::vector<std::string_view>& known) {
    for (const auto& [name, value] : arguments.items()) {
        if (std::find(known.begin(), known.end(), name) != known.end()) continue;
        const std::string there =
            Join(known, [](std::string_view member) { return std::string(member); });
        throw Failure(kUsage, "there is no member " + Shortened(name) +
                                  (there.empty() ? "" : " (there are: " + there + ")"));
    }
}

}  // namespace uwbctl
