// SPDX-License-Identifier: Apache-2.0
#include "host/properties_file.h"

#include <android-base/properties.h>
#include <android-base/strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace hardware::velta {

bool LoadSystemProperties(std::string* error) {
    const char* named = getenv(kPropertiesFileVariable);
    if (named != nullptr) return LoadPropertiesFile(named, error);
    return access(kDefaultPropertiesFile, F_OK) != 0 ||
           LoadPropertiesFile(kDefaultPropertiesFile, error);
}

bool LoadPropertiesFile(const std::string& path, std::string* error) {
    std::ifstream file(path);
    if (!file.is_open()) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(file, line); number++) {
        const std::string text = android::base::Trim(line);
        if (text.empty() || text.front() == '#') continue;
        const size_t equals = text.find('=');
        const std::string key = android::base::Trim(text.substr(0, equals));
        if (equals == std::string::npos || key.empty()) {
            *error = path + ":" + std::to_string(number) + ": not a \"key=value\" line: " + text;
            return false;
        }
        if (!android::base::SetProperty(key, android::base::Trim(text.substr(equals + 1)))) {
            *error = path + ":" + std::to_string(number) + ": property cannot be set: " + key;
            const bool has_value = !android::base::GetProperty(key, "").empty();
            if (has_value) *error += ", which has a value already";
            return false;
        }
    }
    if (file.bad()) {
        *error = path + ": cannot be read";
        return false;
    }
    return true;
}

}  // namespace hardware::velta
