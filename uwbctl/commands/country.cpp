// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <optional>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/country.h"
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
    const std::string code = CheckCountry(*options.code);
    Client client(events);
    client.Open();
    fprintf(stderr, "%s\n", ApplyCountry(client.service(), code).c_str());
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
