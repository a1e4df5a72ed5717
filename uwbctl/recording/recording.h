// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/measurement.h"

namespace uwbctl {

/** Something that happened to the session's peers while it ran. */
struct RecordedEvent {
    /** Such as "controlees_added". */
    std::string name;
    std::vector<std::string> peers;
    /** How many measurements came before it: events have no time of their own. */
    size_t measurements_before = 0;
};

/** How a recording ended by itself. */
struct RecordingEnd {
    /** Such as "count" or "interrupted". */
    std::string reason;
    uint64_t reports = 0;
};

/** What a file holds that "uwbctl record" or "--json" has written. */
struct Recording {
    /** When it started, UTC, such as "2026-11-21T08:00:00Z". */
    std::string time;
    std::string iface;
    /** The effective session: an object with the names of FiraTwrSession. */
    nlohmann::ordered_json session = nlohmann::ordered_json::object();
    std::vector<Measurement> measurements;
    std::vector<RecordedEvent> events;
    /** Nothing when the recording was cut short. */
    std::optional<RecordingEnd> end;
    /** Whether the last line is only the beginning of one. */
    bool is_last_line_cut = false;
    /** Lines of types that are not known here, as a newer version may write. */
    uint64_t skipped = 0;
};

/**
 * Reads a recording. One that was cut short is fine; anything else that is wrong is a Failure that
 * names the file and the line.
 *
 * @param goes_on asked before each line where it is given; a Failure once it says no.
 */
Recording ReadRecording(const std::string& file, const std::function<bool()>& goes_on = nullptr);

}  // namespace uwbctl
