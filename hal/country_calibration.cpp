// SPDX-License-Identifier: Apache-2.0

// UwbIface: calibration by country.
#define LOG_TAG "velta.uwb.UwbIface"

#include <android-base/logging.h>
#include <android-base/properties.h>
#include <android-base/strings.h>

#include <optional>

#include "hal/ipc_utils.h"
#include "hal/uwb_iface.h"
#include "net/regular_file.h"

namespace hardware::velta {
namespace {

using ::ndk::ScopedAStatus;

constexpr char kPathsProperty[] = "ro.vendor.uwb.calibration.calibrationpaths";
constexpr char kPlaceholder[] = "<country>";

// Stand for the country: of one without files, and when none is known.
constexpr char kDefaultCountry[] = "default";
constexpr char kUnknownCountry[] = "unknown";

// Of a country code in a dump: it is a client's word.
constexpr size_t kMaxCountryShown = 16;

constexpr char kFunction[] = "LoadCountryCalibrations";

// A country is a client's word: it may not lead out of the folder, or end a path early. Such a code
// has no file of its own.
bool IsFileName(const std::string& country) {
    if (country.find_first_of(std::string("/\0", 2)) == std::string::npos) return true;
    LOG(WARNING) << kFunction << ": a country code with '/' or NUL has no file of its own";
    return false;
}

std::vector<std::string> NamesOf(ConfigUtils* store) {
    std::vector<std::string> names;
    for (const auto& [name, value] : *store) names.push_back(name);
    return names;
}

bool TryLoad(const std::string& path, ConfigUtils* store) {
    LOG(INFO) << kFunction << ": trying to load config from " << path;
    return store->Load(path.c_str());
}

}  // namespace

std::string UwbIface::ReplaceCountry(const std::string& line, const std::string& country,
                                     size_t pos) {
    return line.substr(0, pos) + country + line.substr(pos + sizeof(kPlaceholder) - 1);
}

ScopedAStatus UwbIface::LoadCountryCalibrations(const std::string& country) {
    if (!iface_cycled_) {
        // The driver takes calibration only once the radio has been up.
        interface_tool_->SetUpStateIfNecessary(name_.c_str(), true);
        interface_tool_->SetUpStateIfNecessary(name_.c_str(), false);
        iface_cycled_ = true;
    }
    ConfigUtils store;
    const std::string paths = android::base::GetProperty(kPathsProperty, "");
    if (paths.empty()) {
        return Error(ErrorCode::INVALID_STATE, "Property %s is not set", kPathsProperty);
    }
    std::string error;
    const std::optional<std::string> lines = ReadRegularFile(paths, &error);
    if (!lines) {
        LOG(ERROR) << __func__ << " Cannot open file: " << paths << error;  // No colon in this one.
        return Error(ErrorCode::FAILED, "Failed to load calibration config paths file");
    }
    for (const std::string& line : android::base::Split(*lines, "\n")) {
        if (line.empty()) continue;
        if (ScopedAStatus status = LoadCalibrationLine(line, country, &store); !status.isOk()) {
            return status;
        }
    }
    calibration_ = {.country = country.substr(0, kMaxCountryShown),
                    .keys = NamesOf(&store),
                    .applied = std::chrono::steady_clock::now()};
    if (ScopedAStatus status = ConsumeCalibrations(&store); !status.isOk()) return status;
    if (!store.IsEmpty()) {
        LOG(ERROR) << __func__ << " unknown keys in config";  // Nor in this one.
        store.Dump();
        return Error(ErrorCode::FAILED, "Failed to load calibrations, unknown keys");
    }
    calibration_->is_complete = true;
    SetKernelAffinity();
    return ScopedAStatus::ok();
}

ScopedAStatus UwbIface::LoadCalibrationLine(const std::string& line, const std::string& country,
                                            ConfigUtils* store) {
    const size_t pos = line.find(kPlaceholder);
    if (pos == std::string::npos) {
        LOG(INFO) << kFunction << ": load config from " << line;
        if (!store->Load(line.c_str())) {
            return Error(ErrorCode::FAILED, "Failed to load calibration fle");  // Spelled so.
        }
    } else if (country.empty()) {
        if (!TryLoad(ReplaceCountry(line, kUnknownCountry, pos), store)) {
            return Error(ErrorCode::FAILED, "Failed to load calibration default country file");
        }
    } else if (!(IsFileName(country) && TryLoad(ReplaceCountry(line, country, pos), store)) &&
               !TryLoad(ReplaceCountry(line, kDefaultCountry, pos), store)) {
        return Error(ErrorCode::FAILED, "Failed to load calibration country file");
    }
    return ScopedAStatus::ok();
}

// Each consumer removes the keys that it owns; the driver gets the rest.
ScopedAStatus UwbIface::ConsumeCalibrations(ConfigUtils* store) {
    if (!ccc_controller_->ConsumeProperties(*store)) {
        return Error(ErrorCode::FAILED, "Failed to load CCC calibration keys");
    }
    if (!ConsumeProperties(*store) || !fira_controller_->ConsumeProperties(*store)) {
        return Error(ErrorCode::FAILED, "Failed to load HAL calibration keys");
    }
    if (!mcps_utils_->ConsumeCalibration(hw_index_, *store)) {
        return Error(ErrorCode::FAILED, "Failed to load driver calibration keys");
    }
    return ScopedAStatus::ok();
}

}  // namespace hardware::velta
