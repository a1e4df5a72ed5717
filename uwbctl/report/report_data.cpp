// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/report/report_data.h"

#include <algorithm>
#include <cmath>

#include "uwbctl/client/units.h"

namespace uwbctl {
namespace {

constexpr double kMillisecondsPerSecond = 1000;

int64_t NumberOf(const nlohmann::ordered_json& session, const char* name) {
    const auto found = session.find(name);
    return found != session.end() && found->is_number_integer() ? found->get<int64_t>() : 0;
}

// How far the block counter goes from one round to the next.
int64_t StrideOf(const nlohmann::ordered_json& session) {
    const auto enabled = session.find("isBlockStridingEnabled");
    if (enabled == session.end() || !enabled->is_boolean() || !enabled->get<bool>()) return 1;
    return std::max<int64_t>(NumberOf(session, "blockStridingValue"), 0) + 1;
}

class Sorter {
  public:
    explicit Sorter(const Recording& recording)
        : recording_(recording), stride_(StrideOf(recording.session)) {}

    ReportData Sort();

  private:
    PeerReport* PeerOf(const std::string& name);
    double SecondsOf(const Measurement& measurement) const {
        return (static_cast<double>(measurement.timestamp_ns) - first_ns_) / kNanosecondsPerSecond;
    }
    void TakeEvents(size_t measurements_before);
    void Take(const Measurement& measurement);
    void TakeSuccess(const Measurement& measurement, double time_s, PeerReport* peer);
    void Finish();

    const Recording& recording_;
    const int64_t stride_;
    double first_ns_ = 0;
    double last_event_s_ = 0;
    std::map<std::string, size_t> indexes_;
    ReportData data_;
};

PeerReport* Sorter::PeerOf(const std::string& name) {
    const auto [found, is_new] = indexes_.emplace(name, data_.peers.size());
    if (is_new) {
        data_.peers.emplace_back();
        data_.peers.back().name = name;
        data_.peers.back().statistics = PeerStatistics(stride_);
    }
    return &data_.peers[found->second];
}

ReportData Sorter::Sort() {
    const auto& all = recording_.measurements;
    if (!all.empty()) {
        const auto [first, last] = std::minmax_element(
            all.begin(), all.end(),
            [](const auto& a, const auto& b) { return a.timestamp_ns < b.timestamp_ns; });
        first_ns_ = static_cast<double>(first->timestamp_ns);
        data_.duration_s = SecondsOf(*last);
    }
    for (size_t i = 0; i < all.size(); i++) {
        TakeEvents(i);
        Take(all[i]);
        last_event_s_ = SecondsOf(all[i]);
    }
    TakeEvents(all.size());
    Finish();
    return std::move(data_);
}

void Sorter::TakeEvents(size_t measurements_before) {
    while (data_.event_times_s.size() < recording_.events.size()) {
        const RecordedEvent& event = recording_.events[data_.event_times_s.size()];
        if (event.measurements_before > measurements_before) return;
        data_.event_times_s.push_back(last_event_s_);
        if (event.name != "controlees_removed") continue;
        for (const std::string& name : event.peers) {
            const auto found = indexes_.find(name);
            if (found != indexes_.end()) data_.peers[found->second].statistics.Leave();
        }
    }
}

void Sorter::Take(const Measurement& measurement) {
    PeerReport* peer = PeerOf(measurement.peer);
    const double time_s = SecondsOf(measurement);
    const double previous_s = SecondsOf(peer->statistics.latest());
    const uint64_t missing_before = peer->statistics.missing();
    peer->statistics.Add(measurement);
    if (const uint64_t missing = peer->statistics.missing() - missing_before; missing > 0) {
        peer->losses.push_back({previous_s, time_s, static_cast<double>(missing)});
    }
    if (measurement.distance_mm) {
        TakeSuccess(measurement, time_s, peer);
    } else {
        peer->losses.push_back({time_s, time_s, 1});
        peer->reasons[measurement.status]++;
    }
}

void Sorter::TakeSuccess(const Measurement& measurement, double time_s, PeerReport* peer) {
    const double metres = static_cast<double>(*measurement.distance_mm) / kMillimetresPerMetre;
    peer->distances.push_back({time_s, metres});
    if (measurement.line_of_sight) {
        peer->line_of_sight_known++;
        if (*measurement.line_of_sight) peer->line_of_sight++;
    }
    double level_metres = metres;
    if (measurement.elevation) {
        data_.has_elevation = true;
        peer->elevation_merits.push_back(measurement.elevation->figure_of_merit);
        level_metres *= std::cos(measurement.elevation->radians);
    }
    if (measurement.azimuth) {
        peer->azimuth_merits.push_back(measurement.azimuth->figure_of_merit);
        const double azimuth = measurement.azimuth->radians;
        peer->positions.push_back(
            {time_s, {level_metres * std::sin(azimuth), level_metres * std::cos(azimuth)}});
    }
}

void Sorter::Finish() {
    const auto by_x = [](const ChartPoint& a, const ChartPoint& b) { return a.x < b.x; };
    const auto by_time = [](const auto& a, const auto& b) { return a.time_s < b.time_s; };
    std::vector<double> intervals;
    for (PeerReport& peer : data_.peers) {
        // A radio that stamps on its own may do so out of turn.
        std::stable_sort(peer.distances.begin(), peer.distances.end(), by_x);
        std::stable_sort(peer.positions.begin(), peer.positions.end(), by_time);
        for (size_t i = 1; i < peer.distances.size(); i++) {
            intervals.push_back(peer.distances[i].x - peer.distances[i - 1].x);
        }
    }
    if (const int64_t block_ms = NumberOf(recording_.session, "rangingBlockDurationMs");
        block_ms > 0) {
        data_.interval_s =
            static_cast<double>(block_ms) / kMillisecondsPerSecond * static_cast<double>(stride_);
    } else if (!intervals.empty()) {
        const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
        std::nth_element(intervals.begin(), middle, intervals.end());
        if (*middle > 0) data_.interval_s = *middle;
    }
}

}  // namespace

ReportData ToReportData(const Recording& recording) {
    return Sorter(recording).Sort();
}

}  // namespace uwbctl
