// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace hardware::velta::bench {

/**
 * A program's options, by CLI11; that library is compiled here once for all programs, most of whose
 * building it would be. What options are read into is borrowed, and keeps its value where an option
 * is not there.
 */
class Options {
  public:
    /** @param what what the program does, for its help. */
    explicit Options(const std::string& what);
    ~Options();

    /**
     * Of a text, any number of texts, or a number.
     *
     * @param name such as "--seed"; without dashes for what stands alone.
     */
    template <typename T>
    void Add(const std::string& name, T* value, const std::string& what);
    /** Something that stands alone and has to be there. */
    void Require(const std::string& name, std::string* value, const std::string& what);
    /** True when it is there. */
    void AddFlag(const std::string& name, bool* value, const std::string& what);

    /** @return the status to end with, when help was asked for or something is wrong. */
    std::optional<int> Parse(int argc, char** argv);

  private:
    std::unique_ptr<CLI::App> app_;
};

}  // namespace hardware::velta::bench
