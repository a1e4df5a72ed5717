// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.CongifUtils"  // Spelled so on purpose: log filters know it.

#include "net/config_utils.h"

#include <android-base/logging.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>

namespace hardware::velta {
namespace {

constexpr char kBlanks[] = " \t\n\v\f\r";

// Where a line's comment starts; npos when it has none.
size_t FindComment(const std::string& line) {
    return std::min(line.find_first_of(";#"), line.find("//"));
}

template <typename T>
bool Convert(const std::string& text, T (*convert)(const char*, char**, int), int base, T* value) {
    char* end = nullptr;
    errno = 0;
    const T converted = convert(text.c_str(), &end, base);
    // A NUL inside the text ends it for the C library, not for us.
    if (end == text.c_str() || end != text.c_str() + text.size() || errno != 0) return false;
    *value = converted;
    return true;
}

}  // namespace

void trim(std::string* text) {
    text->erase(text->find_last_not_of(kBlanks) + 1);
    text->erase(0, text->find_first_not_of(kBlanks));
}

bool ConfigUtils::Load(const char* path) {
    if (path == nullptr) {
        LOG(ERROR) << __func__ << " Bad argument";
        return false;
    }
    std::ifstream file(path);
    if (!file.is_open()) {
        LOG(ERROR) << __func__ << " Cannot open file: " << path;
        return false;
    }
    std::string line;
    while (std::getline(file, line)) {
        const size_t comment = FindComment(line);
        const size_t equals = line.find('=');
        if (equals == std::string::npos || equals > comment || equals + 1 == line.size()) continue;
        std::string key = line.substr(0, equals);
        std::string value = line.substr(equals + 1, comment - equals - 1);
        trim(&key);
        trim(&value);
        entries_.insert_or_assign(std::move(key), std::move(value));
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
    return Convert<long>(text, strtol, 0, &value);
}

template <>
bool ConfigUtils::ToInt<unsigned long>(const std::string& text, unsigned long& value) {
    return Convert<unsigned long>(text, strtoul, 0, &value);
}

bool ConfigUtils::ToArray(const std::string& text, std::vector<char>& bytes) {
    LOG(INFO) << __func__;
    if (text.empty()) return false;
    for (size_t start = 0; start != std::string::npos;) {
        const size_t colon = text.find(':', start);
        const std::string field = text.substr(start, colon - start);
        long byte = 0;
        if (field.size() != 2 || !Convert<long>(field, strtol, 16, &byte)) return false;
        bytes.push_back(static_cast<char>(byte));
        start = colon == std::string::npos ? colon : colon + 1;
    }
    return true;
}

}  // namespace hardware::velta
