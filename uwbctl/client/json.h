// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace uwbctl {

/**
 * @return the value that a text from outside has, its members in their order; throws a
 *         std::runtime_error that says what is wrong with it. Nothing in it nests deeper than a
 *         session or a measurement could: what walks it calls itself at each level.
 */
nlohmann::ordered_json ParseJson(const std::string& text);

/** ParseJson(), and nothing in it has one member twice, of which all but the last would be ignored.
 */
nlohmann::ordered_json ParseUniqueJson(const std::string& text);

/** @return a whole number, nothing for anything else and for what 64 bits with a sign cannot hold.
 */
std::optional<int64_t> WholeNumber(const nlohmann::ordered_json& json);

/** @return it in one line; bytes that are no UTF-8, which names of files may have, are replaced. */
std::string JsonText(const nlohmann::ordered_json& json);

/**
 * @return ", not VALUE" for a message about a value that is not as it should be. Empty for one that
 *         has others in it: some of those may be secret.
 */
std::string NotText(const nlohmann::ordered_json& json);

/** @return what the library says of a value that is not as it should be, without its own prefix. */
std::string ReasonOf(const std::exception& exception);

/** @return a member; throws what the library says of one that is of another kind, with its name. */
template <typename T>
T GetMember(const nlohmann::ordered_json& json, const std::string& name) {
    const nlohmann::ordered_json& member = json.at(name);
    try {
        return member.get<T>();
    } catch (const nlohmann::ordered_json::type_error& error) {
        throw std::invalid_argument(name + ": " + ReasonOf(error));
    }
}

}  // namespace uwbctl
