// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace uwbctl {

/** @return a manual page (section 1, roff) made from a parser's own help. */
std::string ManualPage(const CLI::App& app);

/** @return a bash completion script made from a parser's own commands and options. */
std::string BashCompletion(const CLI::App& app);

}  // namespace uwbctl
