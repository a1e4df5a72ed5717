// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace uwbctl {

/** What the calibration files hold for one country. */
struct CountryCalibration {
    /** False when the files of "default" stand in for the country's own. */
    bool has_own_file = false;
    /** Those that differ by country. */
    std::vector<std::string> files;
    /** Channels that sessions are refused on. */
    std::vector<int> banned_channels;
};

/**
 * The calibration files that the service loads by country, as far as this process may read them.
 * The service tells nothing about them; on a phone a client may see none.
 */
class CalibrationFiles {
  public:
    /** Those that the system properties of this machine name. */
    static CalibrationFiles Find();

    /** @param paths_file the list of files, one a line, "<country>" standing for the code. */
    explicit CalibrationFiles(const std::string& paths_file);

    /** @return why nothing is known; empty when something is. */
    const std::string& problem() const { return problem_; }

    /** @return the codes that have a file of their own, sorted. */
    std::vector<std::string> Countries() const;

    /** @return what is loaded for a code; empty for a country that is not known. */
    CountryCalibration Look(const std::string& code) const;

  private:
    std::string problem_;
    std::vector<std::string> lines_;
};

/** @return such as "bans channel 5", "bans channels 5, 9" or "bans no channel". */
std::string BansText(const std::vector<int>& channels);

/** What uwbctl loaded last; another client may have loaded something else since. */
struct LoadedCountry {
    /** Empty for a country that is not known. */
    std::string code;
    std::chrono::seconds age{0};
};

/** Remembers, until the next boot, that the calibration of a country was loaded. */
void RememberCountry(const std::string& code);

/** @return what was remembered since boot, if anything. */
std::optional<LoadedCountry> RememberedCountry();

/** @return what can be said about the calibration in force, in one sentence. */
std::string InForceText();

/**
 * @return lines to add to a refused start, of which the service gives no reason: whether the
 *         calibration bans the channel, as far as that can be known.
 */
std::string ChannelHint(int channel);

}  // namespace uwbctl
