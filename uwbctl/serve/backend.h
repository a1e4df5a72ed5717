// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace uwbctl {

/** What the web server serves. Its threads call it, several at a time. */
class Backend {
  public:
    virtual ~Backend() = default;

    /**
     * Does what a page asks for.
     *
     * @param name such as "fira/start".
     * @param arguments an object.
     * @return the answer, an object; a Failure says why it cannot be done.
     */
    virtual nlohmann::ordered_json Command(const std::string& name,
                                           const nlohmann::ordered_json& arguments) = 0;

    /** @return what a page needs to build its forms, an object that never changes. */
    virtual nlohmann::ordered_json Forms() const = 0;

    /** @return the file of the latest recording, empty when there is none. */
    virtual std::string Recording() const = 0;
};

}  // namespace uwbctl
