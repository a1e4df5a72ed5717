// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/text.h"
#include "uwbctl/commands/command.h"

namespace uwbctl {
namespace {

// What "uwbctl country" was asked for.
struct CountryOptions {
    /** As typed; empty for not known. */
    std::optional<std::string> code;
    bool shows = false;
    bool lists = false;
};

std::string Name(const std::string& code) {
    return code.empty() ? "no known country" : "country " + code;
}

// The service takes any text and loads the default for what it does not know.
std::string CheckCode(const std::string& typed) {
    std::string code = typed;
    std::transform(code.begin(), code.end(), code.begin(),
                   [](unsigned char letter) { return toupper(letter); });
    const bool is_code =
        code.size() == 2 && code.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == code.npos;
    if (!code.empty() && !is_code) {
        throw Failure(kUsage, "not a country code: " + typed + " (two letters, such as FR)");
    }
    return code;
}

// Says what the service has loaded, as far as the files can be seen.
std::string LoadedText(const CalibrationFiles& files, const std::string& code) {
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

ExitStatus Show(const CalibrationFiles& files) {
    printf("in force  %s\n", InForceText().c_str());
    if (!files.problem().empty()) {
        printf("files     not known: %s\n", files.problem().c_str());
        return kDone;
    }
    const auto row = [&files](const char* name, const std::string& code) {
        const CountryCalibration calibration = files.Look(code);
        printf("%-9s %-20s %s\n", name, BansText(calibration.banned_channels).c_str(),
               Join(calibration.files, [](const std::string& file) { return file; }).c_str());
    };
    for (const std::string& code : files.Countries()) row(code.c_str(), code);
    row("others", "default");
    row("unknown", "");
    return kDone;
}

ExitStatus Country(Events* events, const CountryOptions& options) {
    const CalibrationFiles files = CalibrationFiles::Find();
    if (options.shows) return Show(files);
    if (options.lists) {
        for (const std::string& code : files.Countries()) puts(code.c_str());
        return kDone;
    }
    if (!options.code) {
        throw Failure(
            kUsage,
            "which country? Such as FR, or \"\" where it is not known; --show tells what is "
            "in force");
    }
    const std::string code = CheckCode(*options.code);
    Client client(events);
    client.Open();
    Check(client.service()->applyCountryRestriction(code),
          "apply the calibration of " + Name(code));
    RememberCountry(code);
    fprintf(stderr, "%s\n", LoadedText(files, code).c_str());
    return kDone;
}

}  // namespace

void AddCountry(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<CountryOptions>();
    CLI::App* country =
        AddCommand(line, app, "country", "Load the calibration of a country",
                   "Examples:\n"
                   "  uwbctl country FR\n"
                   "  uwbctl country \"\"        not known\n"
                   "  uwbctl country --show    what is in force, and what there is\n",
                   options, Country);
    CLI::Option* code =
        country->add_option("code", options->code, "ISO 3166-1 alpha-2 code; \"\": not known")
            ->type_name("COUNTRY");
    CLI::Option* show =
        country
            ->add_flag("--show", options->shows,
                       "Load nothing; show what is in force and which channels each country bans")
            ->excludes(code);
    country
        ->add_flag("--list", options->lists,
                   "Load nothing; list the countries with calibration of their own")
        ->excludes(code)
        ->excludes(show);
}

}  // namespace uwbctl
