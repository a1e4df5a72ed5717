// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <cstdio>

namespace uwbctl {
namespace {

ExitStatus ApplyCountry(Events* events, const std::string& country) {
    Client client(events);
    client.Open();
    const std::string what = country.empty() ? "no known country" : "country " + country;
    Check(client.service()->applyCountryRestriction(country), "apply the calibration of " + what);
    fprintf(stderr, "calibration of %s loaded\n", what.c_str());
    return kDone;
}

}  // namespace

void AddCountry(CommandLine* line, CLI::App* app) {
    const auto country = std::make_shared<std::string>();
    AddCommand(line, app, "country", "Load the calibration of a country",
               "Examples:\n  uwbctl country FR\n  uwbctl country       not known\n", country,
               ApplyCountry)
        ->add_option("code", *country,
                     "ISO 3166-1 alpha-2 code, such as FR; without one: not known");
}

}  // namespace uwbctl
