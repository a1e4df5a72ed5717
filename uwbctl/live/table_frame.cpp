// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/table_frame.h"

#include <android-base/stringprintf.h>
#include <android-base/strings.h>

#include <algorithm>
#include <limits>

#include "uwbctl/client/text.h"
#include "uwbctl/client/units.h"

namespace uwbctl {
namespace {

using ::android::base::StringPrintf;

constexpr double kPercent = 100;
// Where a loss is worth a look.
constexpr double kDoubtfulLoss = 0.1;

constexpr const char* kUnicodeLevels[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char* kAsciiLevels[] = {"_", ".", "-", "=", "+", "*", "#", "@"};
constexpr auto kLevels = static_cast<int64_t>(std::size(kUnicodeLevels));

constexpr char kHeader[] =
    "peer      distance m      azimuth deg   elevation deg  rate/s    lost  trend and its height";

std::string AngleCell(const std::optional<Angle>& angle) {
    if (!angle) return "      -       ";
    return StringPrintf("%+6.1f %5.2f  ", ToDegrees(angle->radians), angle->figure_of_merit);
}

// Distance and azimuth; in their place what the radio says when it has none.
FrameLine DistanceCells(const Measurement& latest) {
    if (!latest.distance_mm) {
        return {{StringPrintf("  %-27s", StatusText(latest.status).c_str()), Style::kBad}};
    }
    const double metres = static_cast<double>(*latest.distance_mm) / kMillimetresPerMetre;
    Span sight = {"-    ", Style::kDim};
    if (latest.line_of_sight) {
        sight =
            *latest.line_of_sight ? Span{"LOS  ", Style::kGood} : Span{"NLOS ", Style::kDoubtful};
    }
    return {{StringPrintf("%9.3f ", metres)}, sight, {AngleCell(latest.azimuth)}};
}

FrameLine Row(const std::string& peer, const PeerStatistics& statistics, bool has_unicode) {
    FrameLine line = {{StringPrintf("%-8s ", peer.c_str()), Style::kBold}};
    for (Span& span : DistanceCells(statistics.latest())) line.push_back(std::move(span));
    const auto rate = statistics.Rate();
    line.push_back({AngleCell(statistics.latest().elevation) +
                    StringPrintf("%6s ", rate ? StringPrintf("%.1f", *rate).c_str() : "-")});
    line.push_back({StringPrintf("%6.1f%%  ", statistics.LossRatio() * kPercent),
                    statistics.LossRatio() >= kDoubtfulLoss ? Style::kBad : Style::kPlain});
    line.push_back({Trend(statistics.recent_mm(), has_unicode), Style::kDim});
    return line;
}

using PeerEntry = std::pair<std::string, PeerStatistics>;

std::vector<const PeerEntry*> Sorted(const TableState& state) {
    std::vector<const PeerEntry*> entries;
    for (const PeerEntry& entry : state.peers) entries.push_back(&entry);
    const auto distance = [](const PeerEntry* entry) {
        return entry->second.latest().distance_mm.value_or(std::numeric_limits<int64_t>::max());
    };
    std::stable_sort(entries.begin(), entries.end(), [&](const auto* a, const auto* b) {
        switch (state.order) {
            case PeerOrder::kAddress:
                return a->first < b->first;
            case PeerOrder::kDistance:
                return distance(a) < distance(b);
            case PeerOrder::kLoss:
                return a->second.LossRatio() > b->second.LossRatio();
            case PeerOrder::kSeen:
                break;
        }
        return false;
    });
    return entries;
}

// What of the list of keys there is room for, the first of them; of what is being typed its end.
std::string Prompt(std::string text, size_t columns) {
    while (text.size() > columns && text.find(", ") != text.npos) text.resize(text.rfind(", "));
    if (text.size() > columns) text.erase(0, text.size() - columns);
    return text;
}

// The first characters of a line, counting a multi-byte one as one.
void Cut(size_t columns, FrameLine* line) {
    size_t used = 0;
    for (Span& span : *line) {
        size_t end = 0;
        for (; end < span.text.size(); end++) {
            const bool is_continuation = (static_cast<uint8_t>(span.text[end]) & 0xC0) == 0x80;
            if (!is_continuation && ++used > columns) break;
        }
        span.text.resize(end);
    }
}

// Which of the lines around the peers there is room for: what matters least goes first.
struct Layout {
    bool has_header = true;
    bool has_note = false;
    bool has_prompt = false;
    bool has_more = false;
    size_t peers = 0;
};

Layout MakeLayout(const TableState& state, size_t rows) {
    Layout layout = {.has_note = !state.note.empty(),
                     .has_prompt = !state.prompt.empty(),
                     .peers = state.peers.size()};
    if (rows == 0) return layout;
    const auto around = [&layout] {
        return size_t{1} + layout.has_header + layout.has_note + layout.has_prompt;
    };
    // A peer and how many more there are need a line each.
    const size_t wanted = std::min<size_t>(layout.peers, 2);
    if (around() + wanted > rows) layout.has_header = false;
    if (around() + wanted > rows) layout.has_note = false;
    if (around() + wanted > rows) layout.has_prompt = false;
    const size_t room = rows > around() ? rows - around() : 0;
    if (layout.peers > room) {
        layout.has_more = room > 0;
        layout.peers = room > 0 ? room - 1 : 0;
    }
    return layout;
}

}  // namespace

std::string Trend(const std::deque<int64_t>& distances_mm, bool has_unicode) {
    if (distances_mm.empty()) return "";
    const auto& levels = has_unicode ? kUnicodeLevels : kAsciiLevels;
    const auto [low, high] = std::minmax_element(distances_mm.begin(), distances_mm.end());
    // 1, 2, 5, 10, ... metres: a scale that does not change with every report.
    int64_t height = 1000;
    for (int64_t power = height; height < *high - *low; power *= 10) {
        for (const int64_t step : {1, 2, 5, 10}) {
            height = step * power;
            if (height >= *high - *low) break;
        }
    }
    // The middle in the middle of a bar's step: noise does not make it flicker.
    const int64_t bottom = (*low + *high) / 2 - height * (kLevels + 1) / (2 * kLevels);
    std::string line;
    for (const int64_t distance : distances_mm) {
        line += levels[std::clamp<int64_t>((distance - bottom) * kLevels / height, 0, kLevels - 1)];
    }
    return line + StringPrintf(" %lld m", static_cast<long long>(height / 1000));
}

size_t PeersShown(const TableState& state, FrameSize size) {
    return MakeLayout(state, size.rows).peers;
}

std::vector<FrameLine> MakeFrame(const TableState& state, FrameSize size) {
    const Layout layout = MakeLayout(state, size.rows);
    std::vector<FrameLine> lines;
    lines.push_back({{state.title, Style::kBold}, {"  " + CountText(state.reports, "report")}});
    if (layout.has_header) lines.push_back({{kHeader, Style::kDim}});

    const auto entries = Sorted(state);
    const size_t above = std::min(state.scrolled, entries.size() - layout.peers);
    for (size_t i = above; i < above + layout.peers; i++) {
        lines.push_back(Row(entries[i]->first, entries[i]->second, state.has_unicode));
    }
    if (layout.has_more) {
        const size_t below = entries.size() - above - layout.peers;
        std::vector<std::string> parts;
        if (below > 0) parts.push_back("+" + std::to_string(below) + " more");
        if (above > 0) parts.push_back(std::to_string(above) + " above");
        lines.push_back({{::android::base::Join(parts, ", "), Style::kDim}});
    }
    if (layout.has_note) lines.push_back({{state.note}});
    const size_t columns = size.columns != 0 ? size.columns : state.prompt.size();
    if (layout.has_prompt) lines.push_back({{Prompt(state.prompt, columns), Style::kDim}});
    if (size.columns != 0) {
        for (FrameLine& line : lines) Cut(size.columns, &line);
    }
    return lines;
}

std::string PlainText(const FrameLine& line) {
    std::string text;
    for (const Span& span : line) text += span.text;
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}  // namespace uwbctl
