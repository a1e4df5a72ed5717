// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/country.h"

#include <algorithm>
#include <cctype>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

std::string Name(const std::string& code) {
    return code.empty() ? "no known country" : "country " + code;
}

// Says what the service has loaded, as far as the files can be seen.
std::string LoadedText(const std::string& code) {
    const CalibrationFiles files = CalibrationFiles::Find();
    if (!files.problem().empty()) {
        std::string text = "calibration of " + Name(code) + " loaded";
        if (code.empty()) return text;
        return text + ", or the default one in its place: whether " + code +
               " has its own is not known (" + files.problem() + ")";
    }
    const CountryCalibration calibration = files.Look(code);
    const std::string bans = BansText(calibration.banned_channels);
    if (calibration.has_own_file) return "calibration of " + Name(code) + " loaded: it " + bans;
    return Name(code) + " has no calibration of its own: the default one is loaded, which " + bans +
           ", whatever the law there says (countries with their own: " +
           Join(files.Countries(), [](const std::string& known) { return known; }) + ")";
}

}  // namespace

// The service takes any text and loads the default for what it does not know.
std::string CheckCountry(const std::string& typed) {
    std::string code = typed;
    std::transform(code.begin(), code.end(), code.begin(),
                   [](unsigned char letter) { return toupper(letter); });
    const bool is_code =
        code.size() == 2 && code.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == code.npos;
    if (!code.empty() && !is_code) {
        throw Failure(kUsage,
                      "not a country code: " + Shortened(typed) + " (two letters, such as FR)");
    }
    return code;
}

std::string ApplyCountry(::aidl::hardware::velta::uwb::IUwb* service, const std::string& code) {
    Check(service->applyCountryRestriction(code), "apply the calibration of " + Name(code));
    RememberCountry(code);
    return LoadedText(code);
}

}  // namespace uwbctl
