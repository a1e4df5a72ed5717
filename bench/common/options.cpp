// SPDX-License-Identifier: Apache-2.0
#include "bench/common/options.h"

#include <CLI/CLI.hpp>

namespace hardware::velta::bench {

Options::Options(const std::string& what) : app_(std::make_unique<CLI::App>(what)) {}

Options::~Options() = default;

template <typename T>
void Options::Add(const std::string& name, T* value, const std::string& what) {
    app_->add_option(name, *value, what);
}

template void Options::Add(const std::string&, std::string*, const std::string&);
template void Options::Add(const std::string&, std::vector<std::string>*, const std::string&);
template void Options::Add(const std::string&, int*, const std::string&);
template void Options::Add(const std::string&, uint32_t*, const std::string&);
template void Options::Add(const std::string&, uint64_t*, const std::string&);
template void Options::Add(const std::string&, double*, const std::string&);

void Options::Require(const std::string& name, std::string* value, const std::string& what) {
    app_->add_option(name, *value, what)->required();
}

void Options::AddFlag(const std::string& name, bool* value, const std::string& what) {
    app_->add_flag(name, *value, what);
}

std::optional<int> Options::Parse(int argc, char** argv) {
    try {
        app_->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app_->exit(error);
    }
    return std::nullopt;
}

}  // namespace hardware::velta::bench
