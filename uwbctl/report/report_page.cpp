// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/report/report_page.h"

#include <android-base/file.h>
#include <android-base/stringprintf.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "uwbctl/client/session.h"
#include "uwbctl/client/text.h"
#include "uwbctl/client/units.h"
#include "uwbctl/report/report_charts.h"
#include "uwbctl/report/report_data.h"
#include "uwbctl/report/report_style.h"

namespace uwbctl {
namespace {

using ::android::base::StringPrintf;
using Json = nlohmann::ordered_json;

// What stands where there is no number.
constexpr char kNone[] = "\u2013";

std::string DurationText(double seconds) {
    constexpr double kMinute = 60;
    constexpr double kHour = 3600;
    if (seconds < 1) return NumberText(seconds * 1000) + "\u00A0ms";
    if (seconds < 10) return NumberText(seconds, 2) + "\u00A0s";
    if (seconds < 2 * kMinute) return NumberText(seconds, 1) + "\u00A0s";
    const bool is_hours = seconds >= kHour;
    const double unit = is_hours ? kHour : kMinute;
    const double whole = std::floor(seconds / unit);
    return NumberText(whole) + (is_hours ? "\u00A0h " : "\u00A0min ") +
           NumberText(std::floor((seconds - whole * unit) / (unit / kMinute))) +
           (is_hours ? "\u00A0min" : "\u00A0s");
}

// "2026-11-21T08:00:00Z" as people write it; anything else as it is.
std::string TimeText(const std::string& time) {
    tm parts = {};
    char text[64];
    const char* end = strptime(time.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    if (end == nullptr || *end != '\0' ||
        strftime(text, sizeof(text), "%-d\u00A0%B %Y, %H:%M:%S\u00A0UTC", &parts) == 0) {
        return time;
    }
    return text;
}

// A value of the session as text; empty when it is not there.
std::string SessionText(const Json& session, const char* name) {
    const auto found = session.find(name);
    if (found == session.end() || found->is_null()) return "";
    return found->is_string() ? found->get<std::string>() : found->dump();
}

std::string LowerCase(std::string text) {
    for (char& c : text)
        c = c == '_' ? ' ' : static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string Plural(double count, const char* thing) {
    return NumberText(count) + "\u00A0" + thing + (count == 1 ? "" : "s");
}

void AddFact(const char* name, const std::string& value, std::string* html) {
    if (value.empty()) return;
    *html += std::string("<div><dt>") + name + "</dt><dd>" + EscapeHtml(value) + "</dd></div>";
}

std::string EndText(const std::optional<RecordingEnd>& end) {
    if (!end) return "not recorded";
    const std::string reports = " after " + Plural(static_cast<double>(end->reports), "report");
    if (end->reason == "count") return "as asked," + reports;
    if (end->reason == "interrupted") return "by the user," + reports;
    if (end->reason == "stopped by the radio") return "by the radio," + reports;
    return end->reason + "," + reports;
}

std::string Facts(const Recording& recording) {
    const Json& session = recording.session;
    const std::string type = SessionText(session, "deviceType");
    const std::string role = SessionText(session, "deviceRole");
    const std::string block = SessionText(session, "rangingBlockDurationMs");
    std::string facts;
    AddFact("Device", LowerCase(type + (type.empty() || role.empty() ? "" : ", ") + role), &facts);
    AddFact("Address", SessionText(session, "deviceAddress"), &facts);
    AddFact("Channel", SessionText(session, "channelNumber"), &facts);
    AddFact("Ranging block", block.empty() ? "" : block + "\u00A0ms", &facts);
    AddFact("Ended", EndText(recording.end), &facts);
    return "<dl class=\"facts\">" + facts + "</dl>\n";
}

std::string Note(const std::string& text) {
    return "<p class=\"note\">" + text + "</p>\n";
}

std::string Header(const Recording& recording, const ReportData& data) {
    uint64_t distances = 0;
    uint64_t losses = 0;
    for (const PeerReport& peer : data.peers) {
        distances += peer.statistics.distances();
        losses += peer.statistics.losses();
    }
    const std::string id = SessionText(recording.session, "id");
    std::string html = "<header><p class=\"kicker\">UWB ranging report</p>\n<h1>" +
                       EscapeHtml(recording.iface + (id.empty() ? "" : ", session " + id)) +
                       "</h1>\n<p class=\"lead\">" + EscapeHtml(TimeText(recording.time)) +
                       " \u00B7 " + DurationText(data.duration_s) + " \u00B7 " +
                       Plural(static_cast<double>(data.peers.size()), "peer") + " \u00B7 " +
                       Plural(static_cast<double>(distances), "distance");
    if (losses > 0) html += ", " + NumberText(static_cast<double>(losses)) + " lost";
    html += "</p>\n" + Facts(recording);
    if (!recording.end) {
        html += Note(std::string("This recording was cut short: it has no end") +
                     (recording.is_last_line_cut ? ", and its last line is incomplete" : "") +
                     ". The numbers are of what is there.");
    }
    if (recording.skipped > 0) {
        html += Note(Plural(static_cast<double>(recording.skipped), "line") +
                     " of a kind that this version does not know left out.");
    }
    return html + "</header>\n";
}

std::string Metres(std::optional<double> millimetres) {
    return millimetres ? NumberText(*millimetres / kMillimetresPerMetre, 3) : kNone;
}

std::string Percent(double part, double all) {
    // One in a thousand is not nothing.
    const double percent = part / all * 100;
    return NumberText(percent, percent > 0 && percent < 10 ? 1 : 0);
}

std::string NumbersTable(const ReportData& data) {
    struct Column {
        const char* name;
        const char* unit;
    };
    constexpr Column kColumns[] = {{"Count", ""},      {"Mean", "m"},   {"Spread", "m"},
                                   {"Min", "m"},       {"Max", "m"},    {"Rate", "1/s"},
                                   {"Worst gap", "s"}, {"Losses", "%"}, {"Line of sight", "%"}};
    std::string html = "<table><thead><tr><th scope=\"col\">Peer</th>";
    for (const Column& column : kColumns) {
        html += StringPrintf("<th scope=\"col\">%s<small>%s</small></th>", column.name,
                             *column.unit ? column.unit : "\u00A0");
    }
    html += "</tr></thead>\n<tbody>\n";
    for (size_t i = 0; i < data.peers.size(); i++) {
        const PeerReport& peer = data.peers[i];
        const PeerStatistics& numbers = peer.statistics;
        const bool has_any = numbers.distances() > 0;
        const auto if_any = [&](int64_t mm) {
            return Metres(has_any ? std::optional<double>(mm) : std::nullopt);
        };
        const std::optional<double> rate = numbers.AverageRate();
        const std::string values[] = {
            NumberText(static_cast<double>(numbers.distances())),
            Metres(numbers.Mean()),
            Metres(numbers.Spread()),
            if_any(numbers.minimum_mm()),
            if_any(numbers.maximum_mm()),
            rate ? NumberText(*rate, 2) : kNone,
            numbers.distances() > 1
                ? NumberText(static_cast<double>(numbers.worst_gap_ns()) / kNanosecondsPerSecond, 2)
                : kNone,
            Percent(numbers.LossRatio(), 1),
            peer.line_of_sight_known > 0 ? Percent(static_cast<double>(peer.line_of_sight),
                                                   static_cast<double>(peer.line_of_sight_known))
                                         : kNone};
        html += "<tr><th scope=\"row\"><span>" + PeerMark(i, false) + " " + EscapeHtml(peer.name) +
                "</span></th>";
        for (size_t column = 0; column < std::size(kColumns); column++) {
            const std::string name =
                std::string(kColumns[column].name) +
                (*kColumns[column].unit ? std::string(", ") + kColumns[column].unit : "");
            html += "<td data-name=\"" + name + "\">" + values[column] + "</td>";
        }
        html += "</tr>\n";
    }
    return html +
           "</tbody></table>\n<p class=\"small\">Spread is the standard deviation, and has "
           "the peer\u2019s movement in it. Losses are measurements without a distance and "
           "rounds that never came; the worst gap is the longest time between two "
           "distances.</p>\n";
}

std::string Section(const char* title, const std::string& figure, const char* otherwise,
                    const std::string& more = "") {
    return std::string("<section><figure><h2>") + title + "</h2>\n" + more +
           (figure.empty() ? std::string("<p class=\"none\">") + otherwise + "</p>" : figure) +
           "</figure></section>\n";
}

std::string EventList(const Recording& recording, const ReportData& data) {
    std::string html;
    for (size_t i = 0; i < recording.events.size(); i++) {
        html += (html.empty() ? "" : " \u00B7 ") + DurationText(data.event_times_s[i]) + ", " +
                EscapeHtml(EventText(recording.events[i]));
    }
    return html.empty() ? "" : "<figcaption>Dashed: " + html + ".</figcaption>";
}

std::string LossReasons(const ReportData& data) {
    std::map<int, uint64_t> reasons;
    uint64_t missing = 0;
    for (const PeerReport& peer : data.peers) {
        for (const auto& [status, count] : peer.reasons) reasons[status] += count;
        missing += peer.statistics.missing();
    }
    std::string html;
    for (const auto& [status, count] : reasons) {
        html += (html.empty() ? "" : ", ") + NumberText(static_cast<double>(count)) +
                "\u00A0with " + StatusText(status);
    }
    if (missing > 0) {
        html += (html.empty() ? "" : ", ") + NumberText(static_cast<double>(missing)) +
                "\u00A0never reported";
    }
    return html.empty() ? "" : "<figcaption>In all " + html + ".</figcaption>";
}

std::string Legend(const ReportData& data) {
    std::string html = "<p class=\"legend\">";
    for (size_t i = 0; i < data.peers.size(); i++) {
        html += "<span>" + PeerMark(i, false) + " " + EscapeHtml(data.peers[i].name) + "</span>";
    }
    return html + "</p>\n";
}

std::string Charts(const Recording& recording, const ReportData& data) {
    const bool has_losses =
        std::any_of(data.peers.begin(), data.peers.end(),
                    [](const PeerReport& peer) { return peer.statistics.losses() > 0; });
    const std::string distances = DistanceChart(recording, data);
    const std::string azimuth = MeritHistogram(data, false);
    const std::string elevation = MeritHistogram(data, true);
    std::string merits = azimuth + elevation;
    if (!azimuth.empty() && !elevation.empty()) merits = "<div class=\"two\">" + merits + "</div>";
    return Section("Distance over time",
                   distances.empty() ? "" : distances + EventList(recording, data),
                   "No distance was measured.") +
           Section("Seen from above", TopView(data),
                   "No azimuth was measured, so there is no view from above.") +
           Section("Update rate", RateChart(data), "Too few distances for a rate.") +
           Section("Losses", has_losses ? LossChart(data) + LossReasons(data) : "",
                   "Nothing was lost.") +
           Section("Figure of merit of the angles", merits, "No angle was measured.",
                   merits.empty() || !HasPeerBars(data) ? "" : Legend(data));
}

// All but what someone could range in a peer's place with.
std::string SessionParameters(const Json& session) {
    std::string rows;
    for (const auto& [name, value] : session.items()) {
        AddFact(EscapeHtml(name).c_str(),
                IsSecret(name) ? "not shown" : SessionText(session, name.c_str()), &rows);
    }
    if (rows.empty()) return "";
    return "<section><h2>Session parameters</h2>\n<dl class=\"parameters\">" + rows +
           "</dl></section>\n";
}

void WriteFile(const std::string& page, const std::string& file) {
    // Links stay: what they lead to is written.
    std::error_code error;
    const std::filesystem::path target = std::filesystem::weakly_canonical(file, error);
    const std::string path = error ? file : target.string();
    struct stat info = {};
    const bool exists = stat(path.c_str(), &info) == 0;
    if (exists && S_ISDIR(info.st_mode)) {
        throw Failure(kCannotWrite, file + " is a folder; name a file, such as out.html");
    }
    // A pipe or a device is written to, not replaced.
    const bool is_direct = exists && !S_ISREG(info.st_mode);
    const std::string name = is_direct ? path : path + ".tmp" + std::to_string(getpid());
    const android::base::unique_fd fd(
        open(name.c_str(),
             is_direct ? O_WRONLY | O_CLOEXEC : O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    const bool is_good = fd.ok() && android::base::WriteStringToFd(page, fd.get()) &&
                         (is_direct || rename(name.c_str(), path.c_str()) == 0);
    if (is_good) return;
    const int why = errno;
    if (fd.ok() && !is_direct) unlink(name.c_str());
    throw Failure(kCannotWrite, "cannot write " + file + ": " + strerror(why));
}

// "walk.html" for "walk.jsonl", beside it.
std::string PageNameOf(const std::string& recording) {
    return std::filesystem::path(recording).replace_extension(".html").string();
}

}  // namespace

std::string ReportPage(const Recording& recording) {
    const ReportData data = ToReportData(recording);
    // The policy keeps the promise that nothing is fetched, even if a recording meant mischief.
    std::string page =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" "
        "content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
        EscapeHtml("UWB ranging report: " + recording.iface + ", " + recording.time) +
        "</title>\n<style>" + kReportStyle + "</style>\n</head>\n<body>\n<main>\n" +
        Header(recording, data);
    if (data.peers.empty()) {
        page +=
            "<section><h2>Nothing was measured</h2>\n<p class=\"none\">The recording has a "
            "session, but no measurement.</p></section>\n";
    } else {
        page += "<section><h2>Numbers</h2>\n" + NumbersTable(data) + "</section>\n" +
                Charts(recording, data);
    }
    return page + SessionParameters(recording.session) +
           "<footer>Made by uwbctl report.</footer>\n</main>\n</body>\n</html>\n";
}

ExitStatus WriteReport(const std::string& recording, const std::string& wanted) {
    const std::string out = wanted.empty() ? PageNameOf(recording) : wanted;
    struct stat from = {};
    struct stat to = {};
    if (out != "-" && stat(recording.c_str(), &from) == 0 && stat(out.c_str(), &to) == 0 &&
        from.st_dev == to.st_dev && from.st_ino == to.st_ino) {
        throw Failure(kUsage, out + " is the recording itself; name another file for the page");
    }
    const std::string page = ReportPage(ReadRecording(recording));
    if (out == "-") {
        fputs(page.c_str(), stdout);
    } else {
        WriteFile(page, out);
        if (wanted.empty()) fprintf(stderr, "%s\n", out.c_str());
    }
    return kDone;
}

}  // namespace uwbctl
