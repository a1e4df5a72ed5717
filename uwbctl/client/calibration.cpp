// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/calibration.h"

#include <android-base/file.h>
#include <android-base/properties.h>
#include <android-base/strings.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using ::android::base::ReadFileToString;
using ::android::base::Split;
using ::android::base::Trim;

constexpr char kPathsProperty[] = "ro.vendor.uwb.calibration.calibrationpaths";
// Where a Linux host keeps its properties.
constexpr char kPropertiesVariable[] = "VELTA_UWB_PROPERTIES";
constexpr char kPropertiesFile[] = "/etc/velta-uwb/build.prop";

constexpr char kPlaceholder[] = "<country>";
constexpr char kDefaultCountry[] = "default";
constexpr char kUnknownCountry[] = "unknown";
constexpr char kBannedKey[] = "restricted_channels";
constexpr int kChannels = 16;

// Gone with the next boot, as what the driver was given is.
constexpr char kMemory[] = "/run/uwbctl.country";
constexpr char kNobodyKnows[] = "the service does not tell, and uwbctl has loaded none";

// The value of a key in "key = value" lines; the last one wins.
std::optional<std::string> FindValue(const std::string& path, const std::string& key) {
    std::string text;
    if (!ReadFileToString(path, &text)) return std::nullopt;
    std::optional<std::string> value;
    for (std::string line : Split(text, "\n")) {
        line.resize(std::min({line.size(), line.find_first_of(";#"), line.find("//")}));
        const size_t equals = line.find('=');
        if (equals == std::string::npos || Trim(line.substr(0, equals)) != key) continue;
        value = Trim(line.substr(equals + 1));
    }
    return value;
}

std::string PathsFile() {
    std::string set = android::base::GetProperty(kPathsProperty, "");
    if (!set.empty()) return set;
    const char* properties = getenv(kPropertiesVariable);
    return FindValue(properties == nullptr ? kPropertiesFile : properties, kPathsProperty)
        .value_or("");
}

std::string ForCountry(const std::string& line, const std::string& country) {
    const size_t at = line.find(kPlaceholder);
    return line.substr(0, at) + country + line.substr(at + sizeof(kPlaceholder) - 1);
}

std::vector<int> Channels(const std::string& bit_set) {
    const auto bits = strtoul(bit_set.c_str(), nullptr, 0);
    std::vector<int> channels;
    for (int channel = 0; channel < kChannels; channel++) {
        if ((bits >> channel & 1) != 0) channels.push_back(channel);
    }
    return channels;
}

std::string AgeText(std::chrono::seconds age) {
    constexpr int64_t kMinute = 60;
    constexpr int64_t kHour = 60 * kMinute;
    const int64_t seconds = age.count();
    // It stays as it is for a while: pages are told of what changes.
    if (seconds < kMinute) return "less than a minute ago";
    if (seconds < kHour) {
        return CountText(static_cast<uint64_t>(seconds / kMinute), "minute") + " ago";
    }
    return CountText(static_cast<uint64_t>(seconds / kHour), "hour") + " ago";
}

// Which country's it is, and since when.
std::string WhoseText(const LoadedCountry& loaded, const CalibrationFiles& files) {
    std::string text = loaded.code.empty() ? "for no known country" : loaded.code;
    text += ", loaded by uwbctl " + AgeText(loaded.age);
    if (!files.problem().empty() || files.Look(loaded.code).has_own_file) return text;
    return text + " (has no file of its own: the default one)";
}

}  // namespace

CalibrationFiles CalibrationFiles::Find() {
    return CalibrationFiles(PathsFile());
}

CalibrationFiles::CalibrationFiles(const std::string& paths_file) {
    std::string text;
    if (paths_file.empty()) {
        problem_ = std::string("the property ") + kPathsProperty + " cannot be seen from here";
    } else if (!ReadFileToString(paths_file, &text)) {
        problem_ = "the list of calibration files, " + paths_file + ", cannot be read from here";
    } else {
        lines_ = Split(text, "\n");
    }
}

std::vector<std::string> CalibrationFiles::Countries() const {
    std::vector<std::string> codes;
    for (const std::string& line : lines_) {
        const size_t before = line.find(kPlaceholder);
        if (before == std::string::npos) continue;
        const size_t after = line.size() - before - (sizeof(kPlaceholder) - 1);
        glob_t found = {};
        if (glob(ForCountry(line, "*").c_str(), 0, nullptr, &found) == 0) {
            for (size_t i = 0; i < found.gl_pathc; i++) {
                const std::string path = found.gl_pathv[i];
                codes.push_back(path.substr(before, path.size() - before - after));
            }
        }
        globfree(&found);
    }
    std::sort(codes.begin(), codes.end());
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
    std::erase_if(codes, [](const std::string& code) {
        return code == kDefaultCountry || code == kUnknownCountry;
    });
    return codes;
}

CountryCalibration CalibrationFiles::Look(const std::string& code) const {
    CountryCalibration calibration;
    for (const std::string& line : lines_) {
        std::string path = line;
        if (line.find(kPlaceholder) != std::string::npos) {
            path = ForCountry(line, code.empty() ? kUnknownCountry : code);
            const bool is_own = access(path.c_str(), R_OK) == 0;
            if (!is_own) path = ForCountry(line, kDefaultCountry);
            calibration.has_own_file |= is_own;
            calibration.files.push_back(path);
        }
        if (const auto banned = FindValue(path, kBannedKey)) {
            calibration.banned_channels = Channels(*banned);
        }
    }
    return calibration;
}

std::string BansText(const std::vector<int>& channels) {
    if (channels.empty()) return "bans no channel";
    return std::string("bans channel") + (channels.size() == 1 ? " " : "s ") +
           Join(channels, [](int channel) { return std::to_string(channel); });
}

void RememberCountry(const std::string& code) {
    // Where that cannot be kept, nothing is said about it later.
    android::base::WriteStringToFile(code, kMemory);
}

std::optional<LoadedCountry> RememberedCountry() {
    LoadedCountry loaded;
    struct stat info = {};
    if (stat(kMemory, &info) != 0 || !ReadFileToString(kMemory, &loaded.code)) return std::nullopt;
    loaded.age = std::chrono::seconds(std::max<time_t>(time(nullptr) - info.st_mtime, 0));
    return loaded;
}

std::string InForceText() {
    const auto loaded = RememberedCountry();
    if (!loaded) return std::string("not known: ") + kNobodyKnows;
    const CalibrationFiles files = CalibrationFiles::Find();
    std::string whose = WhoseText(*loaded, files);
    if (!files.problem().empty()) return whose;
    return whose + "; " + BansText(files.Look(loaded->code).banned_channels);
}

std::string ChannelHint(int channel) {
    const std::string number = std::to_string(channel);
    const auto loaded = RememberedCountry();
    const CalibrationFiles files = CalibrationFiles::Find();
    const auto banned = loaded ? files.Look(loaded->code).banned_channels : std::vector<int>();
    const bool is_banned = std::find(banned.begin(), banned.end(), channel) != banned.end();
    // What is known to allow it is not to blame.
    if (loaded && files.problem().empty() && !is_banned) return "";
    return std::string("\n  the calibration in force ") +
           (is_banned
                ? "bans channel " + number + ": " + WhoseText(*loaded, files)
                : "may ban channel " + number + ": " + (loaded ? InForceText() : kNobodyKnows)) +
           "\n  \"uwbctl country --show\" lists the countries";
}

}  // namespace uwbctl
