// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {

// Members of a command's arguments. Each throws a Failure that names the member, when it is missing
// or of another kind.

/** Throws that a member is something else than the kind it has to be of, such as "a text". */
[[noreturn]] void RefuseMember(const nlohmann::ordered_json& arguments, const char* name,
                               const std::string& kind);

/** @return a member of any kind. */
const nlohmann::ordered_json& MemberOf(const nlohmann::ordered_json& arguments, const char* name);

std::string TextOf(const nlohmann::ordered_json& arguments, const char* name);
/** @return otherwise where the member is missing. */
std::string TextOf(const nlohmann::ordered_json& arguments, const char* name,
                   const std::string& otherwise);

/** @return a list of texts. */
std::vector<std::string> TextsOf(const nlohmann::ordered_json& arguments, const char* name);

bool FlagOf(const nlohmann::ordered_json& arguments, const char* name);

/** @return a number from min to max. */
double NumberOf(const nlohmann::ordered_json& arguments, const char* name, double min, double max);

/** @return a whole number from 0 to max. */
uint64_t WholeNumberOf(const nlohmann::ordered_json& arguments, const char* name, uint64_t max);

/** Throws a Failure that names a member that a command does not have. */
void CheckMembers(const nlohmann::ordered_json& arguments,
                  const std::vector<std::string_view>& known);

/** What a command's arguments may have, and what does it for whoever owns the command. */
template <typename Owner>
struct Verb {
    std::vector<std::string_view> members;
    std::function<nlohmann::ordered_json(Owner*, const nlohmann::ordered_json&)> run;
};

template <typename Owner>
using Verbs = std::map<std::string, Verb<Owner>, std::less<>>;

/** @return what a verb runs that has no answer of its own: a member function of Owner, or the like.
 */
template <typename Run>
auto Doing(Run run) {
    return [run](auto* owner, const nlohmann::ordered_json& arguments) {
        std::invoke(run, owner, arguments);
        return nlohmann::ordered_json::object();
    };
}

/** @return the answer of a command; throws a Failure for one that there is not. */
template <typename Owner>
nlohmann::ordered_json RunVerb(const Verbs<Owner>& verbs, const std::string& name,
                               const nlohmann::ordered_json& arguments, Owner* owner) {
    const auto verb = verbs.find(name);
    if (verb == verbs.end()) throw Failure(kUsage, "there is no command " + Shortened(name));
    CheckMembers(arguments, verb->second.members);
    return verb->second.run(owner, arguments);
}

}  // namespace uwbctl
