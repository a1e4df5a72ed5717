// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.CongifUtils"  // Spelled so on purpose: log filters know it.

#include "net/config_utils.h"

#include <android-base/logging.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string_view>

#include "net/regular_file.h"

namespace hardware::velta {
namespace {

constexpr char kBlanks[] = " \t\n\v\f\r";

// Where a line's comment starts; npos when it has none.
size_t FindComment(std::string_view line) {
    return std::min(line.find_first_of(";#"), line.find("//"));
}

std::string_view Trimmed(std::string_view text) {
    const size_t start = std::min(text.find_first_not_of(kBlanks), text.size());
    const size_t end = text.find_last_not_of(kBlanks) + 1;  // 0 when all is blank.
    return text.substr(start, std::max(start, end) - start);
}

// text[size] is NUL.
template <typename T>
bool Convert(const char* text, size_t size, T (*convert)(const char*, char**, int), int base,
             T* value) {
    char* end = nullptr;
    errno = 0;
    const T converted = convert(text, &end, base);
    // A NUL inside the text ends it for the C library, not for us.
    if (end == text || end != text + size || errno != 0) return false;
    *value = converted;
    return true;
}

}  // namespace

void trim(std::string* text) {
    *text = Trimmed(*text);
}

bool ConfigUtils::Load(const char* path) {
    if (path == nullptr) {
        LOG(ERROR) << __func__ << " Bad argument";
        return false;
    }
    std::string error;
    const std::optional<std::string> text = ReadRegularFile(path, &error);
    if (!text) {
        LOG(ERROR) << __func__ << " Cannot open file: " << path << error;
        return false;
    }
    std::string_view rest = *text;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        const size_t comment = FindComment(line);
        const size_t equals = line.find('=');
        if (equals == line.npos || equals > comment || equals + 1 == line.size()) continue;
        entries_.insert_or_assign(
            std::string(Trimmed(line.substr(0, equals))),
            std::string(Trimmed(line.substr(equals + 1, comment - equals - 1))));
    }
    return true;
}

bool ConfigUtils::Save(const char* path) const {
    if (path == nullptr) {
        LOG(ERROR) << __func__ << " Bad argument";
        return false;
    }
    std::ofstream file(path, std::ios::trunc);
    if (!file.is_open()) {
        LOG(ERROR) << __func__ << " Cannot open file: " << path;
        return false;
    }
    // No line ends on purpose: readers of this file take it as one run of text.
    for (const auto& [key, value] : entries_) file << key << " = " << value;
    return true;
}

void ConfigUtils::Clear() {
    entries_.clear();
}

bool ConfigUtils::IsEmpty() const {
    return entries_.empty();
}

void ConfigUtils::Dump() const {
    for (const auto& [key, value] : entries_) LOG(INFO) << __func__ << " " << key << "=" << value;
}

std::string ConfigUtils::GetValue(const std::string& key) const {
    const auto entry = entries_.find(key);
    return entry == entries_.end() ? std::string() : entry->second;
}

std::string ConfigUtils::ConsumeValue(const std::string& key) {
    const auto entry = entries_.find(key);
    if (entry == entries_.end()) return {};
    std::string value = entry->second;
    Erase(entry);
    return value;
}

bool ConfigUtils::Set(const std::string& key, const std::string& value) {
    entries_.insert_or_assign(key, value);
    return true;
}

bool ConfigUtils::Erase(const std::string& key) {
    return entries_.erase(key) > 0;
}

ConfigUtils::iterator ConfigUtils::Erase(iterator position) {
    return entries_.erase(position);
}

template <>
bool ConfigUtils::ToInt<long>(const std::string& text, long& value) {
    return Convert<long>(text.data(), text.size(), strtol, 0, &value);
}

template <>
bool ConfigUtils::ToInt<unsigned long>(const std::string& text, unsigned long& value) {
    return Convert<unsigned long>(text.data(), text.size(), strtoul, 0, &value);
}

bool ConfigUtils::ToArray(const std::string& text, std::vector<char>& bytes) {
    LOG(INFO) << __func__;
    if (text.empty()) return false;
    constexpr size_t kDigits = 2;
    bytes.reserve(bytes.size() + text.size() / (kDigits + 1) + 1);
    for (size_t start = 0;; start += kDigits + 1) {
        const size_t end = std::min(text.find(':', start), text.size());
        if (end - start != kDigits) return false;
        const char field[] = {text[start], text[start + 1], '\0'};
        long byte = 0;
        if (!Convert<long>(field, kDigits, strtol, 16, &byte)) return false;
        bytes.push_back(static_cast<char>(byte));
        if (end == text.size()) return true;
    }
}

}  // namespace hardware::velta
