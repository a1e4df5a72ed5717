// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/report_charts.h"

#include <algorithm>
#include <cmath>

#include "uwbctl/text.h"

namespace uwbctl {
namespace {

std::vector<std::string> NamesOf(const ReportData& data) {
    std::vector<std::string> names;
    for (const PeerReport& peer : data.peers) names.push_back(peer.name);
    return names;
}

// A line is broken where rounds are missing in it.
std::vector<std::vector<ChartPoint>> Unbroken(const std::vector<ChartPoint>& points,
                                              std::optional<double> interval_s) {
    // With room for jitter: the next round but one is at twice the interval.
    constexpr double kLongest = 1.6;
    std::vector<std::vector<ChartPoint>> lines;
    for (size_t i = 0; i < points.size(); i++) {
        const bool is_break =
            i == 0 || (interval_s && points[i].x - points[i - 1].x > kLongest * *interval_s);
        if (is_break) lines.emplace_back();
        lines.back().push_back(points[i]);
    }
    return lines;
}

Axis DistanceAxis(const ReportData& data) {
    // Less is noise: it must not fill the chart as if it meant something.
    constexpr double kLeastRange = 0.2;
    constexpr int kTicks = 6;
    double low = HUGE_VAL;
    double high = -HUGE_VAL;
    for (const PeerReport& peer : data.peers) {
        for (const ChartPoint& point : peer.distances) {
            low = std::min(low, point.y);
            high = std::max(high, point.y);
        }
    }
    const double padding = std::max(kLeastRange - (high - low), 0.0) / 2;
    // Zero is where the radio is; it is shown when that costs little of the chart.
    const bool from_zero = low >= 0 && low < high / 2;
    return ValueAxis(from_zero ? 0 : low - padding, high + padding, kTicks, "Distance (m)");
}

// How long a piece of time is of which one number is shown.
double WindowOf(const ReportData& data) {
    constexpr double kWindows = 60;
    // Fewer rounds, and the number is that of the window's edges.
    constexpr double kRounds = 10;
    const double least = data.interval_s ? *data.interval_s * kRounds : 1;
    const double window = RoundStep(std::max({data.duration_s / kWindows, least, 1e-3}));
    return std::min(window, std::max(data.duration_s, 1e-3));
}

double HighestRate(const ReportData& data, double window, size_t windows,
                   std::vector<std::vector<double>>* rates) {
    double highest = 0;
    for (const PeerReport& peer : data.peers) {
        std::vector<double> counts(windows);
        for (const ChartPoint& point : peer.distances) {
            const auto index = static_cast<size_t>(point.x / window);
            // The last, incomplete window says nothing of the rate.
            if (index < windows) counts[index] += 1 / window;
        }
        for (const double count : counts) highest = std::max(highest, count);
        rates->push_back(std::move(counts));
    }
    return highest;
}

}  // namespace

std::string EventText(const RecordedEvent& event) {
    std::string peers = Join(event.peers, [](const std::string& peer) { return peer; });
    if (event.name == "controlees_added") return peers + " added";
    if (event.name == "controlees_removed") return peers + " removed";
    if (event.name == "controlees_add_failed") return peers + " not added: the radio refused";
    if (event.name == "controlees_remove_failed") return peers + " not removed: the radio refused";
    return event.name + " (" + peers + ")";
}

std::string DistanceChart(const Recording& recording, const ReportData& data) {
    constexpr int kHeight = 320;
    constexpr int kPerPeer = 18;
    if (std::all_of(data.peers.begin(), data.peers.end(),
                    [](const PeerReport& peer) { return peer.distances.empty(); })) {
        return "";
    }
    const int height = std::max(kHeight, kPerPeer * static_cast<int>(data.peers.size()));
    SvgChart chart("Distance of each peer over time", height, TimeAxis(data.duration_s),
                   DistanceAxis(data));
    for (size_t i = 0; i < recording.events.size(); i++) {
        chart.Upright(data.event_times_s[i], EventText(recording.events[i]));
    }
    std::vector<std::pair<size_t, double>> ends;
    for (size_t i = 0; i < data.peers.size(); i++) {
        const auto& points = data.peers[i].distances;
        if (points.empty()) continue;
        chart.Lines(i, Unbroken(points, data.interval_s));
        chart.Dots(i, points);
        ends.emplace_back(i, points.back().y);
    }
    chart.PeerLabels(ends, NamesOf(data));
    return chart.Finish();
}

std::string RateChart(const ReportData& data) {
    constexpr int kRowHeight = 56;
    constexpr int kLowRowHeight = 30;
    constexpr size_t kFewPeers = 4;
    constexpr int kSteps = 5;
    const double window = WindowOf(data);
    const auto windows = static_cast<size_t>(std::floor(data.duration_s / window + 1e-9));
    std::vector<std::vector<double>> rates;
    double highest = HighestRate(data, window, windows, &rates);
    if (highest == 0) return "";
    if (data.interval_s) highest = std::max(highest, 1 / *data.interval_s);

    std::string charts;
    for (size_t i = 0; i < rates.size(); i++) {
        const bool is_last = i + 1 == rates.size();
        Axis y = ValueAxis(0, highest, kSteps, i == 0 ? "Distances per second (1/s)" : "");
        y.ticks = {y.ticks.front(), y.ticks.back()};
        SvgChart chart("Update rate of " + data.peers[i].name,
                       rates.size() <= kFewPeers ? kRowHeight : kLowRowHeight,
                       TimeAxis(data.duration_s), y);
        if (!is_last) chart.HideTimes();
        if (data.interval_s) chart.Level(1 / *data.interval_s, "");
        std::vector<ChartPoint> steps;
        for (size_t w = 0; w < windows; w++) {
            steps.push_back({window * static_cast<double>(w), rates[i][w]});
            steps.push_back({window * static_cast<double>(w + 1), rates[i][w]});
        }
        chart.Area(i, steps);
        chart.Lines(i, {steps});
        chart.PeerLabels({{i, y.high / 2}}, NamesOf(data));
        charts += chart.Finish();
    }
    return charts + "<figcaption>Counted over " + NumberText(window, window < 1 ? 3 : 0) +
           "\u00A0s each" +
           (data.interval_s ? "; the dashed line is one distance a round, " +
                                  NumberText(1 / *data.interval_s, 1) + " a second"
                            : "") +
           ".</figcaption>";
}

std::string LossChart(const ReportData& data) {
    constexpr int kColumns = 240;
    constexpr int kRow = 22;
    constexpr double kBarHeight = 0.7;
    constexpr int kLevels = 4;
    const size_t count = data.peers.size();
    if (count == 0) return "";
    const double column = data.duration_s > 0 ? data.duration_s / kColumns : 1;
    Axis y;
    y.high = static_cast<double>(count);
    SvgChart chart("When measurements of each peer were lost", kRow * static_cast<int>(count),
                   TimeAxis(data.duration_s), y);
    const auto column_of = [&](double time_s) {
        return std::clamp(static_cast<int>(time_s / column), 0, kColumns - 1);
    };
    std::vector<std::pair<size_t, double>> labels;
    for (size_t i = 0; i < count; i++) {
        const PeerReport& peer = data.peers[i];
        std::vector<double> lost(kColumns);
        std::vector<double> all(kColumns);
        for (const ChartPoint& point : peer.distances) all[column_of(point.x)]++;
        for (const LossSpan& span : peer.losses) {
            const int first = column_of(std::min(span.from_s, span.to_s));
            const int last = column_of(std::max(span.from_s, span.to_s));
            for (int c = first; c <= last; c++) {
                lost[c] += span.count / (last - first + 1);
                all[c] += span.count / (last - first + 1);
            }
        }
        const double middle = static_cast<double>(count - i) - 0.5;
        const double low = middle - kBarHeight / 2;
        const double high = middle + kBarHeight / 2;
        chart.Box("track", {0, low}, {column * kColumns, high}, "");
        for (int c = 0; c < kColumns; c++) {
            if (lost[c] == 0) continue;
            const int level = std::clamp(
                static_cast<int>(std::ceil(lost[c] / all[c] * kLevels - 1e-9)), 1, kLevels);
            chart.Box("lost l" + std::to_string(level), {column * c, low}, {column * (c + 1), high},
                      NumberText(lost[c] / all[c] * 100) + " % lost at " +
                          NumberText(column * c, 1) + " s");
        }
        labels.emplace_back(i, middle);
    }
    chart.PeerLabels(labels, NamesOf(data));
    return chart.Finish() +
           "<figcaption>Lost of what was due at that moment: "
           "<span class=\"key l1\"></span>up to 25\u00A0% <span class=\"key l2\"></span>50\u00A0% "
           "<span class=\"key l3\"></span>75\u00A0% <span class=\"key l4\"></span>all"
           "</figcaption>";
}

std::string MeritHistogram(const ReportData& data, bool elevation) {
    constexpr int kBins = 10;
    constexpr int kHeight = 200;
    constexpr int kTicks = 4;
    std::vector<std::vector<double>> bins(kBins, std::vector<double>(data.peers.size()));
    std::vector<double> totals(kBins);
    double all = 0;
    for (size_t i = 0; i < data.peers.size(); i++) {
        const PeerReport& peer = data.peers[i];
        for (const double merit : elevation ? peer.elevation_merits : peer.azimuth_merits) {
            const int bin = static_cast<int>(std::clamp(merit * kBins, 0.0, kBins - 1.0));
            bins[bin][i]++;
            totals[bin]++;
            all++;
        }
    }
    if (all == 0) return "";
    const std::string name = elevation ? "elevation" : "azimuth";
    Axis x = ValueAxis(0, 1, 5, "Figure of merit of the " + name);
    SvgChart chart("Histogram of the figure of merit of the " + name, kHeight, x,
                   ValueAxis(0, *std::max_element(totals.begin(), totals.end()) / all * 100, kTicks,
                             "Share of angles (%)"));
    for (int bin = 0; bin < kBins; bin++) {
        double low = 0;
        for (size_t i = 0; i < data.peers.size(); i++) {
            const double share = bins[bin][i] / all * 100;
            if (share == 0) continue;
            constexpr double kGap = 0.006;
            chart.Box(
                "bar " + PeerClass(i), {bin / 10.0 + kGap, low},
                {(bin + 1) / 10.0 - kGap, low + share},
                data.peers[i].name + ": " + NumberText(bins[bin][i]) + " of " + NumberText(all));
            low += share;
        }
    }
    return chart.Finish();
}

}  // namespace uwbctl
