// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/client.h"
#include "uwbctl/client/session.h"
#include "uwbctl/live/terminal_output.h"

namespace uwbctl {

/** What "uwbctl fira range" was asked for. */
struct FiraRangeOptions {
    /** Interface, empty for the first one. */
    std::string iface;
    std::string preset;
    /** JSON file with members of the session, empty for none. */
    std::string session_file;
    /** Short addresses of the peers, as text. */
    std::vector<std::string> peers;
    /** This device's short address, as text; empty for the role's usual one. */
    std::string address;
    bool is_controlee = false;
    std::optional<uint32_t> session_id;
    std::optional<int> channel;
    std::optional<int> block_duration_ms;
    /** "none", "azimuth", "elevation" or "both"; empty for the session's own. */
    std::string angles;
    /** "NAME=VALUE" for any member of the session. */
    std::vector<std::string> settings;
    /** Reports after which it ends by itself, 0 for none. */
    uint64_t count = 0;
    Format format = Format::kAuto;
    /** File to record into, empty for none. */
    std::string recording;
    /** Whether to read commands from standard input. */
    bool reads_commands = false;
};

/**
 * @return the session that the options make: preset, then file, then options, then settings.
 *         Throws a Failure that names what is wrong.
 */
FiraTwrSession EffectiveSession(const FiraRangeOptions& options);

/**
 * Runs one FiRa session and puts out each measurement, until there were enough reports, the user
 * ends it or nobody reads the output. Leaves no session behind.
 *
 * @return kDone, or throws a Failure.
 */
ExitStatus FiraRange(Events* events, const FiraRangeOptions& options);

/** Explains that controlees are changed by the uwbctl that ranges: throws a Failure. */
[[noreturn]] void ExplainControlees(Events* events, const std::string& verb);

}  // namespace uwbctl
