// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/live_table.h"

#include <android-base/stringprintf.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using ::android::base::StringPrintf;
using std::chrono::steady_clock;

// Faster than that nobody reads.
constexpr std::chrono::milliseconds kDrawInterval{100};

constexpr size_t kDefaultWidth = 100;
constexpr double kMillimetresPerMetre = 1000;
constexpr double kPercent = 100;

constexpr const char* kUnicodeLevels[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char* kAsciiLevels[] = {"_", ".", "-", "=", "+", "*", "#", "@"};

bool HasUnicode() {
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = getenv(variable);
        if (value == nullptr || *value == '\0') continue;
        return strstr(value, "UTF-8") != nullptr || strstr(value, "utf8") != nullptr;
    }
    return false;
}

size_t TerminalWidth() {
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kDefaultWidth;
    return size.ws_col;
}

std::string AngleCell(const std::optional<Angle>& angle) {
    if (!angle) return "      -      ";
    return StringPrintf("%+6.1f %5.2f ", ToDegrees(angle->radians), angle->figure_of_merit);
}

std::string TrendLine(const std::deque<int64_t>& distances, bool has_unicode) {
    const auto& levels = has_unicode ? kUnicodeLevels : kAsciiLevels;
    if (distances.empty()) return "";
    const auto [low, high] = std::minmax_element(distances.begin(), distances.end());
    std::string line;
    for (const int64_t distance : distances) {
        const int64_t span = std::max<int64_t>(*high - *low, 1);
        const auto last = static_cast<int64_t>(std::size(levels)) - 1;
        line += levels[(distance - *low) * last / span];
    }
    return line;
}

// The first characters of a line, counting a multi-byte one as one.
std::string Cut(const std::string& line, size_t width) {
    size_t columns = 0;
    size_t end = 0;
    while (end < line.size()) {
        const bool is_continuation = (static_cast<uint8_t>(line[end]) & 0xC0) == 0x80;
        if (!is_continuation && ++columns > width) break;
        end++;
    }
    return line.substr(0, end);
}

}  // namespace

LiveTable::LiveTable() : has_unicode_(HasUnicode()) {}

void LiveTable::Begin(const std::string& iface, const FiraTwrSession& session) {
    title_ = StringPrintf("%s  session %u  channel %d  block %d ms  %s", iface.c_str(),
                          static_cast<uint32_t>(session.id), session.channelNumber,
                          session.rangingBlockDurationMs, toString(session.deviceType).c_str());
    if (session.isBlockStridingEnabled) block_stride_ = int64_t{session.blockStridingValue} + 1;
    Draw();
}

void LiveTable::Add(const Measurement& measurement) {
    auto entry = std::find_if(peers_.begin(), peers_.end(), [&measurement](const auto& peer) {
        return peer.first == measurement.peer;
    });
    if (entry == peers_.end()) {
        entry = peers_.emplace(peers_.end(), measurement.peer, PeerStatistics(block_stride_));
    }
    entry->second.Add(measurement);
}

void LiveTable::Event(const std::string& event, const std::vector<std::string>& peers) {
    if (event == "controlees_removed") {
        for (auto& [peer, statistics] : peers_) {
            if (std::find(peers.begin(), peers.end(), peer) != peers.end()) statistics.Leave();
        }
    }
    note_ = event + ": " + Join(peers, [](const std::string& peer) { return peer; });
    Draw();
}

void LiveTable::EndReport() {
    reports_++;
    if (steady_clock::now() - last_draw_ >= kDrawInterval) Draw();
}

void LiveTable::Prompt(const std::string& text) {
    prompt_ = text;
    Draw();
}

void LiveTable::End(const std::string& reason, uint64_t /*reports*/) {
    note_ = "ended: " + reason;
    prompt_.clear();
    Draw();
    fflush(stdout);
}

std::string LiveTable::Row(const std::string& peer, const PeerStatistics& statistics) const {
    const Measurement& latest = statistics.latest();
    std::string distance = "  no distance";
    if (latest.distance_mm) {
        distance = StringPrintf("%9.3f %s",
                                static_cast<double>(*latest.distance_mm) / kMillimetresPerMetre,
                                !latest.line_of_sight   ? "-   "
                                : *latest.line_of_sight ? "LOS "
                                                        : "NLOS");
    } else if (latest.status != 0) {
        distance = StringPrintf("  status 0x%02x", latest.status);
    }
    const auto rate = statistics.Rate();
    return StringPrintf("%-8s %-14s %s %s %6s %6.1f%%  ", peer.c_str(), distance.c_str(),
                        AngleCell(latest.azimuth).c_str(), AngleCell(latest.elevation).c_str(),
                        rate ? StringPrintf("%.1f", *rate).c_str() : "-",
                        statistics.LossRatio() * kPercent) +
           TrendLine(statistics.recent_mm(), has_unicode_);
}

std::vector<std::string> LiveTable::Lines() const {
    std::vector<std::string> lines;
    lines.push_back(title_ +
                    StringPrintf("  %llu reports", static_cast<unsigned long long>(reports_)));
    lines.emplace_back(
        "peer      distance m      azimuth deg   elevation deg  rate/s    lost  trend");
    for (const auto& [peer, statistics] : peers_) lines.push_back(Row(peer, statistics));
    lines.push_back(note_);
    lines.push_back(prompt_);
    return lines;
}

// Over the lines of the last time: each is cleared, so that nothing of it is left.
void LiveTable::Draw() {
    const size_t width = TerminalWidth();
    if (lines_drawn_ > 0) printf("\033[%zuA", lines_drawn_);
    const std::vector<std::string> lines = Lines();
    for (const std::string& line : lines) printf("\r\033[K%s\n", Cut(line, width).c_str());
    lines_drawn_ = lines.size();
    last_draw_ = steady_clock::now();
    fflush(stdout);
}

}  // namespace uwbctl
