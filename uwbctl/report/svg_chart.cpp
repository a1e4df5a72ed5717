// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/report/svg_chart.h"

#include <android-base/stringprintf.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace uwbctl {
namespace {

using ::android::base::StringPrintf;

// Whole numbers in these are finer than any screen or printer shows.
constexpr double kCanvasWidth = 4000;
constexpr double kCanvasHeight = 2000;

// Columns of a line in each of which four points are enough to draw it.
constexpr double kColumns = 1000;

// Colours of the page's style; beyond them, the same colours with dashes and hollow marks.
constexpr size_t kColours = 8;

constexpr int kLabelPx = 16;

constexpr double kMinute = 60;
constexpr double kHour = 3600;

std::string Percent(double share) {
    std::string text = StringPrintf("%.2f", share * 100);
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text + "%";
}

int DecimalsFor(double step) {
    constexpr int kMost = 6;
    return std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 0, kMost);
}

std::string ClockText(double seconds, double step) {
    const auto whole = static_cast<long long>(std::llround(seconds));
    if (step >= kMinute && whole >= 0)
        return StringPrintf("%lld:%02lld", whole / 3600, whole / 60 % 60);
    return StringPrintf("%lld:%02lld", whole / 60, whole % 60);
}

// The first, lowest, highest and last point of each column, in their order.
std::vector<ChartPoint> Thin(const std::vector<ChartPoint>& line, const Axis& x) {
    std::vector<ChartPoint> kept;
    for (size_t begin = 0; begin < line.size();) {
        const double column = std::floor(x.Share(line[begin].x) * kColumns);
        size_t end = begin;
        size_t low = begin;
        size_t high = begin;
        for (; end < line.size() && std::floor(x.Share(line[end].x) * kColumns) == column; end++) {
            if (line[end].y < line[low].y) low = end;
            if (line[end].y > line[high].y) high = end;
        }
        std::array<size_t, 4> chosen = {begin, low, high, end - 1};
        std::sort(chosen.begin(), chosen.end());
        for (size_t i = 0; i < chosen.size(); i++) {
            if (i == 0 || chosen[i] != chosen[i - 1]) kept.push_back(line[chosen[i]]);
        }
        begin = end;
    }
    return kept;
}

// Moves places, which are in order, apart until each has its room; none leaves 0 to height.
void MoveApart(std::vector<double>* places, double height) {
    const double room = std::min<double>(kLabelPx, height / std::max<size_t>(places->size(), 1));
    double least = room / 2;
    for (double& place : *places) {
        place = std::max(place, least);
        least = place + room;
    }
    double most = height - room / 2;
    for (auto place = places->rbegin(); place != places->rend(); ++place) {
        *place = std::min(*place, most);
        most = *place - room;
    }
}

}  // namespace

std::string EscapeHtml(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

std::string NumberText(double value, int decimals) {
    constexpr double kTooLong = 1e12;
    if (std::abs(value) >= kTooLong) return StringPrintf("%.3g", value);
    const std::string digits = StringPrintf("%.*f", decimals, std::abs(value));
    const size_t whole = std::min(digits.find('.'), digits.size());
    // Nothing rounds to "minus zero".
    const bool is_zero = digits.find_first_not_of("0.") == std::string::npos;
    std::string text = value < 0 && !is_zero ? "\u2212" : "";
    for (size_t i = 0; i < digits.size(); i++) {
        constexpr size_t kGroup = 3;
        if (i > 0 && i < whole && whole > kGroup + 1 && (whole - i) % kGroup == 0) text += "\u202F";
        text += digits[i];
    }
    return text;
}

double RoundStep(double value) {
    const double power = std::pow(10, std::floor(std::log10(value)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= value * (1 - 1e-9)) return factor * power;
    }
    return 10 * power;
}

Axis ValueAxis(double low, double high, int ticks, std::string title) {
    Axis axis;
    axis.title = std::move(title);
    const double step =
        RoundStep(std::max((high - low) / ticks, 1e-6 * std::max(std::abs(high), 1.0)));
    const double first = std::floor(low / step + 1e-9);
    const double last = std::max(std::ceil(high / step - 1e-9), first + 1);
    axis.low = first * step;
    axis.high = last * step;
    for (int i = 0; i <= static_cast<int>(last - first); i++) {
        const double value = (first + i) * step;
        axis.ticks.push_back({value, NumberText(value, DecimalsFor(step))});
    }
    return axis;
}

Axis TimeAxis(double seconds) {
    // So many fit a telephone.
    constexpr int kTicks = 6;
    constexpr double kLongest = 24 * kHour;
    Axis axis;
    // A single moment has a place, too.
    axis.high = seconds > 0 ? seconds : 1;
    double step = RoundStep(axis.high / kTicks);
    const bool is_clock = axis.high > 2 * kMinute && axis.high < 1000 * kHour;
    if (is_clock) {
        for (const double round :
             {20.0, 30.0, 60.0, 120.0, 300.0, 600.0, 900.0, 1800.0, 3600.0, 7200.0, 14400.0,
              21600.0, 43200.0, kLongest, 5 * kLongest, 10 * kLongest}) {
            step = round;
            if (axis.high / step <= kTicks) break;
        }
    }
    const bool is_hours = is_clock && axis.high > 2 * kHour;
    axis.title = is_hours ? "Time (h:min)" : is_clock ? "Time (min:s)" : "Time (s)";
    for (int i = 0; i * step <= axis.high * (1 + 1e-9); i++) {
        const double value = i * step;
        axis.ticks.push_back({value, is_clock ? ClockText(value, is_hours ? step : 0)
                                              : NumberText(value, DecimalsFor(step))});
    }
    return axis;
}

std::string PeerColour(size_t peer) {
    return StringPrintf("p%zu", peer % kColours);
}

std::string PeerClass(size_t peer) {
    return PeerColour(peer) + (peer / kColours % 2 ? " dash" : "");
}

std::string PeerMark(size_t peer, bool is_svg) {
    const char* tag = is_svg ? "tspan" : "span";
    return StringPrintf("<%s class=\"mark p%zu\">%s</%s>", tag, peer % kColours,
                        peer / kColours % 2 ? "\u25CB" : "\u25CF", tag);
}

SvgChart::SvgChart(const std::string& spoken, int height_px, Axis x, Axis y)
    : spoken_(spoken), height_px_(height_px), x_(std::move(x)), y_(std::move(y)) {}

std::string SvgChart::X(double value) const {
    return Percent(x_.Share(value));
}

std::string SvgChart::Y(double value) const {
    return Percent(1 - y_.Share(value));
}

std::string SvgChart::Place(ChartPoint point) const {
    return StringPrintf("%.0f %.0f", x_.Share(point.x) * kCanvasWidth,
                        (1 - y_.Share(point.y)) * kCanvasHeight);
}

std::string SvgChart::Path(const std::vector<ChartPoint>& line) const {
    std::string path;
    for (const ChartPoint& point : Thin(line, x_)) {
        path += (path.empty() ? "M" : "L") + Place(point);
    }
    // A single point is drawn by the round ends of a line of no length.
    return line.size() == 1 ? path + "h0" : path;
}

void SvgChart::AddPath(const std::string& css, const std::string& path) {
    shapes_ += "<path class=\"" + css + "\" d=\"" + path + "\"/>";
}

void SvgChart::Lines(size_t peer, const std::vector<std::vector<ChartPoint>>& lines) {
    std::string path;
    std::string points;
    for (const auto& line : lines) (line.size() == 1 ? points : path) += Path(line);
    if (!path.empty()) AddPath("line " + PeerClass(peer), path);
    // Of a line of no length, dashes leave nothing.
    if (!points.empty()) AddPath("line " + PeerColour(peer), points);
}

void SvgChart::Area(size_t peer, const std::vector<ChartPoint>& line) {
    if (line.empty()) return;
    AddPath("area " + PeerClass(peer), Path(line) + "L" + Place({line.back().x, y_.low}) + "L" +
                                           Place({line.front().x, y_.low}) + "z");
}

void SvgChart::Box(const std::string& css, ChartPoint from, ChartPoint to,
                   const std::string& title) {
    shapes_ += "<path class=\"" + css + "\" d=\"M" + Place(from) + "L" + Place({to.x, from.y}) +
               "L" + Place(to) + "L" + Place({from.x, to.y}) + "z\">";
    if (!title.empty()) shapes_ += "<title>" + EscapeHtml(title) + "</title>";
    shapes_ += "</path>";
}

void SvgChart::Dots(size_t peer, const std::vector<ChartPoint>& points) {
    constexpr size_t kMany = 80;
    if (points.size() > kMany) return;
    for (const ChartPoint& point : points) {
        marks_ += "<circle class=\"dot " + PeerClass(peer) + "\" cx=\"" + X(point.x) + "\" cy=\"" +
                  Y(point.y) + "\" r=\"3\"/>";
    }
}

void SvgChart::Upright(double x, const std::string& title) {
    const std::string at = X(x);
    marks_ += "<line class=\"event\" x1=\"" + at + "\" x2=\"" + at +
              "\" y1=\"0\" y2=\"100%\"><title>" + EscapeHtml(title) + "</title></line>";
}

void SvgChart::Level(double y, const std::string& text) {
    const std::string at = Y(y);
    marks_ += "<line class=\"event\" x1=\"0\" x2=\"100%\" y1=\"" + at + "\" y2=\"" + at + "\"/>";
    if (!text.empty()) {
        marks_ += "<text class=\"halo\" x=\"100%\" y=\"" + at +
                  "\" dy=\"-5\" text-anchor=\"end\">" + EscapeHtml(text) + "</text>";
    }
}

void SvgChart::PeerLabels(const std::vector<std::pair<size_t, double>>& at,
                          const std::vector<std::string>& names) {
    std::vector<std::pair<size_t, double>> sorted = at;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    std::vector<double> places;
    places.reserve(sorted.size());
    for (const auto& [peer, y] : sorted) places.push_back((1 - y_.Share(y)) * height_px_);
    MoveApart(&places, height_px_);
    for (size_t i = 0; i < sorted.size(); i++) {
        marks_ += "<text class=\"label\" x=\"100%\" dx=\"8\" y=\"" +
                  Percent(places[i] / height_px_) + "\" dy=\".35em\">" +
                  PeerMark(sorted[i].first, true) + " " + EscapeHtml(names[sorted[i].first]) +
                  "</text>";
    }
}

std::string SvgChart::Finish() const {
    std::string svg = StringPrintf("<svg class=\"chart%s\" style=\"height:%dpx\" role=\"img\" ",
                                   !has_x_labels_     ? " upper"
                                   : y_.ticks.empty() ? " strip"
                                                      : "",
                                   height_px_);
    svg += "aria-label=\"" + EscapeHtml(spoken_) + "\">";
    for (const Axis::Tick& tick : y_.ticks) {
        const std::string at = Y(tick.value);
        svg += StringPrintf(
            "<line class=\"grid\" x1=\"0\" x2=\"100%%\" y1=\"%s\" y2=\"%s\"/>"
            "<text class=\"tick\" x=\"0\" dx=\"-8\" y=\"%s\" dy=\".35em\" "
            "text-anchor=\"end\">%s</text>",
            at.c_str(), at.c_str(), at.c_str(), tick.label.c_str());
    }
    for (const Axis::Tick& tick : x_.ticks) {
        const std::string at = X(tick.value);
        svg += StringPrintf("<line class=\"grid\" x1=\"%s\" x2=\"%s\" y1=\"0\" y2=\"100%%\"/>",
                            at.c_str(), at.c_str());
        if (!has_x_labels_) continue;
        svg += StringPrintf(
            "<text class=\"tick\" x=\"%s\" y=\"100%%\" dy=\"19\" "
            "text-anchor=\"middle\">%s</text>",
            at.c_str(), tick.label.c_str());
    }
    svg += "<line class=\"base\" x1=\"0\" x2=\"100%\" y1=\"100%\" y2=\"100%\"/>";
    if (!y_.title.empty()) {
        svg += "<text class=\"axis\" x=\"0\" dx=\"-44\" y=\"0\" dy=\"-16\">" + y_.title + "</text>";
    }
    if (has_x_labels_) {
        svg += "<text class=\"axis\" x=\"50%\" y=\"100%\" dy=\"40\" text-anchor=\"middle\">" +
               x_.title + "</text>";
    }
    svg += StringPrintf(
        "<svg viewBox=\"0 0 %.0f %.0f\" preserveAspectRatio=\"none\" width=\"100%%\" "
        "height=\"100%%\" overflow=\"visible\">",
        kCanvasWidth, kCanvasHeight);
    return svg + shapes_ + "</svg>" + marks_ + "</svg>\n";
}

}  // namespace uwbctl
