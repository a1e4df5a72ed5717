// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/arguments.h"

#include "uwbctl/client/client.h"
#include "uwbctl/client/json.h"
#include "uwbctl/world/scene_printer.h"

namespace uwbctl {

using Json = nlohmann::ordered_json;

void RefuseMember(const Json& arguments, const char* name, const std::string& kind) {
    throw Failure(kUsage,
                  std::string(name) + " is " + kind + ", not " + JsonText(arguments.at(name)));
}

std::string TextOf(const Json& arguments, const char* name) {
    if (!arguments.at(name).is_string()) RefuseMember(arguments, name, "a text");
    return arguments.at(name).get<std::string>();
}

double NumberOf(const Json& arguments, const char* name, double min, double max) {
    const Json& json = arguments.at(name);
    if (!json.is_number()) RefuseMember(arguments, name, "a number");
    const auto number = json.get<double>();
    if (number >= min && number <= max) return number;
    RefuseMember(arguments, name, NumberText(min) + " to " + NumberText(max));
}

uint64_t WholeNumberOf(const Json& arguments, const char* name, uint64_t max) {
    const Json& number = arguments.at(name);
    if (number.is_number_unsigned() && number.get<uint64_t>() <= max) return number.get<uint64_t>();
    RefuseMember(arguments, name, "a whole number, 0 to " + std::to_string(max));
}

}  // namespace uwbctl
