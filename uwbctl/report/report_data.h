// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/recording/recording.h"
#include "uwbctl/recording/statistics.h"
#include "uwbctl/report/svg_chart.h"

namespace uwbctl {

/** Measurements that brought no distance, and when. */
struct LossSpan {
    double from_s = 0;
    double to_s = 0;
    double count = 0;
};

/** What a report shows of one peer. Times are seconds from the first measurement. */
struct PeerReport {
    std::string name;
    PeerStatistics statistics;
    /** Time and metres, in order of time. */
    std::vector<ChartPoint> distances;
    /** Time and place: metres to the right of and before the radio, seen from above. */
    struct Position {
        double time_s = 0;
        ChartPoint place;
    };
    std::vector<Position> positions;
    std::vector<LossSpan> losses;
    /** Failed measurements by the radio's reason. */
    std::map<int, uint64_t> reasons;
    std::vector<double> azimuth_merits;
    std::vector<double> elevation_merits;
    uint64_t line_of_sight = 0;
    uint64_t line_of_sight_known = 0;
};

/** A recording by peers, in the order in which they appear. */
struct ReportData {
    std::vector<PeerReport> peers;
    /** From the first to the last measurement. */
    double duration_s = 0;
    /** When each of the recording's events was: at the measurement before it. */
    std::vector<double> event_times_s;
    /** Between two rounds, as planned or, when the session does not say, as seen. */
    std::optional<double> interval_s;
    bool has_elevation = false;
};

ReportData ToReportData(const Recording& recording);

}  // namespace uwbctl
