// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace uwbctl {

// Members of a command's arguments. Each throws a Failure that names the member, or what the JSON
// library throws where it is missing.

/** Throws that a member is something else than the kind it has to be of, such as "a text". */
[[noreturn]] void RefuseMember(const nlohmann::ordered_json& arguments, const char* name,
                               const std::string& kind);

std::string TextOf(const nlohmann::ordered_json& arguments, const char* name);

/** @return a number from min to max. */
double NumberOf(const nlohmann::ordered_json& arguments, const char* name, double min, double max);

/** @return a whole number from 0 to max. */
uint64_t WholeNumberOf(const nlohmann::ordered_json& arguments, const char* name, uint64_t max);

}  // namespace uwbctl
