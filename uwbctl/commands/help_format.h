// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace uwbctl {

/** @return text whose lines end before column 80, each but the first with indent blanks before. */
std::string Wrap(const std::string& text, size_t indent);

/** Help that fits a terminal of 80 columns. */
class HelpFormat : public CLI::Formatter {
  public:
    std::string make_option(const CLI::Option* option, bool is_positional) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_expanded(const CLI::App* group) const override;
    std::string make_usage(const CLI::App* app, std::string name) const override;
};

}  // namespace uwbctl
