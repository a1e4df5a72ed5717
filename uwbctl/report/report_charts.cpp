// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/report/report_charts.h"

#include <algorithm>
#include <cmath>

#include "uwbctl/client/text.h"

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
            // Off the edges by half a round, where jitter would move it from window to window.
            const double time_s = point.x + data.interval_s.value_or(0) / 2;
            const auto index = static_cast<size_t>(time_s / window);
            // The last, incomplete window says nothing of the rate.
            if (index < windows) counts[index] += 1 / window;
        }
        for (const double count : counts) highest = std::max(highest, count);
        rates->push_back(std::move(counts));
    }
    return highest;
}

// The share of losses in each of so many columns of time; 0 where nothing was due.
std::vector<double> LossShares(const PeerReport& peer, double column, size_t columns) {
    std::vector<double> lost(columns);
    std::vector<double> all(columns);
    const auto column_of = [&](double time_s) {
        return std::min(static_cast<size_t>(std::max(time_s, 0.0) / column), columns - 1);
    };
    for (const ChartPoint& point : peer.distances) all[column_of(point.x)]++;
    for (const LossSpan& span : peer.losses) {
        // Rounds that never came were due at even times; of very many, the picture needs not all.
        const auto rounds = static_cast<size_t>(std::min(span.count, static_cast<double>(columns)));
        for (size_t i = 1; i <= rounds; i++) {
            const double part = static_cast<double>(i) / static_cast<double>(rounds + 1);
            const double time_s = span.from_s + (span.to_s - span.from_s) * part;
            lost[column_of(time_s)] += span.count / static_cast<double>(rounds);
            all[column_of(time_s)] += span.count / static_cast<double>(rounds);
        }
    }
    for (size_t c = 0; c < columns; c++) {
        if (lost[c] > 0) lost[c] /= all[c];
    }
    return lost;
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
    const std::vector<std::string> names = NamesOf(data);
    for (size_t i = 0; i < rates.size(); i++) {
        const bool is_last = i + 1 == rates.size();
        Axis y = ValueAxis(0, highest, kSteps, i == 0 ? "Distances per second (1/s)" : "");
        // Low rows have no room for the zero of one above the top of the next.
        y.ticks = rates.size() <= kFewPeers ? std::vector{y.ticks.front(), y.ticks.back()}
                                            : std::vector{y.ticks.back()};
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
        chart.PeerLabels({{i, y.high / 2}}, names);
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
    constexpr double kMostColumns = 240;
    constexpr int kRow = 22;
    constexpr double kBarHeight = 0.7;
    // Shares up to which it is one shade; beyond them, the darkest.
    constexpr double kLevels[] = {0.05, 0.2, 0.5};
    const size_t count = data.peers.size();
    if (count == 0) return "";
    // A column narrower than a round would be empty now and then.
    const double least = data.interval_s.value_or(0);
    const double column = data.duration_s > 0 ? std::max(data.duration_s / kMostColumns, least) : 1;
    Axis y;
    y.high = static_cast<double>(count);
    const Axis x = TimeAxis(data.duration_s);
    SvgChart chart("When measurements of each peer were lost", kRow * static_cast<int>(count), x,
                   y);
    std::vector<std::pair<size_t, double>> labels;
    for (size_t i = 0; i < count; i++) {
        const double middle = static_cast<double>(count - i) - 0.5;
        const double low = middle - kBarHeight / 2;
        const double high = middle + kBarHeight / 2;
        chart.Box("track", {0, low}, {x.high, high}, "");
        const std::vector<double> shares =
            LossShares(data.peers[i], column, static_cast<size_t>(data.duration_s / column) + 1);
        for (size_t c = 0; c < shares.size(); c++) {
            if (shares[c] == 0) continue;
            const auto level =
                std::lower_bound(std::begin(kLevels), std::end(kLevels), shares[c] - 1e-9) -
                std::begin(kLevels) + 1;
            const double begin = column * static_cast<double>(c);
            chart.Box("lost l" + std::to_string(level), {begin, low},
                      {std::min(begin + column, x.high), high},
                      NumberText(shares[c] * 100) + " % lost at " + NumberText(begin, 1) + " s");
        }
        labels.emplace_back(i, middle);
    }
    chart.PeerLabels(labels, NamesOf(data));
    return chart.Finish() +
           "<figcaption class=\"keys\">Lost of what was due at that moment: "
           "<span><span class=\"key l1\"></span>up to 5\u00A0%</span> "
           "<span><span class=\"key l2\"></span>20\u00A0%</span> "
           "<span><span class=\"key l3\"></span>50\u00A0%</span> "
           "<span><span class=\"key l4\"></span>more</span>"
           "</figcaption>";
}

bool HasPeerBars(const ReportData& data) {
    constexpr size_t kMost = 6;
    return data.peers.size() <= kMost;
}

std::string MeritHistogram(const ReportData& data, bool elevation) {
    constexpr int kBins = 10;
    constexpr int kHeight = 200;
    constexpr int kTicks = 4;
    const bool by_peer = HasPeerBars(data);
    const size_t parts = by_peer ? data.peers.size() : 1;
    std::vector<std::vector<double>> bins(kBins, std::vector<double>(parts));
    std::vector<double> totals(parts);
    for (size_t i = 0; i < data.peers.size(); i++) {
        const PeerReport& peer = data.peers[i];
        const size_t part = by_peer ? i : 0;
        for (const double merit : elevation ? peer.elevation_merits : peer.azimuth_merits) {
            bins[static_cast<int>(std::clamp(merit * kBins, 0.0, kBins - 1.0))][part]++;
            totals[part]++;
        }
    }
    double highest = 0;
    for (size_t i = 0; i < parts; i++) {
        // A peer of few angles is as tall as one of many.
        for (auto& bin : bins) highest = std::max(highest, totals[i] > 0 ? bin[i] / totals[i] : 0);
    }
    if (highest == 0) return "";
    const std::string name = elevation ? "elevation" : "azimuth";
    Axis x = ValueAxis(0, 1, 5, "Figure of merit of the " + name);
    SvgChart chart("Histogram of the figure of merit of the " + name, kHeight, x,
                   ValueAxis(0, highest * 100, kTicks,
                             by_peer ? "Share of each peer\u2019s angles (%)"
                                     : "Share of all peers\u2019 angles (%)"));
    constexpr double kGap = 0.006;
    const double width = (1.0 / kBins - 2 * kGap) / static_cast<double>(parts);
    for (int bin = 0; bin < kBins; bin++) {
        for (size_t i = 0; i < parts; i++) {
            if (bins[bin][i] == 0) continue;
            const double left =
                static_cast<double>(bin) / kBins + kGap + width * static_cast<double>(i);
            chart.Box("bar " + (by_peer ? PeerClass(i) : "all"), {left, 0},
                      {left + width, bins[bin][i] / totals[i] * 100},
                      (by_peer ? data.peers[i].name + ": " : "") + NumberText(bins[bin][i]) +
                          " of " + NumberText(totals[i]));
        }
    }
    return chart.Finish();
}

}  // namespace uwbctl
