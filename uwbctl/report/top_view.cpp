// SPDX-License-Identifier: Apache-2.0
#include <android-base/stringprintf.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "uwbctl/report/report_charts.h"

namespace uwbctl {
namespace {

using ::android::base::StringPrintf;

// Units of the drawing across its width.
constexpr double kWidth = 2000;

// What is shown of the plane, in metres; the radio is at 0, 0.
struct View {
    double right = 1;
    double top = 1;
    double bottom = 0;

    double Height() const { return top - bottom; }
    double Unit() const { return kWidth / (2 * right); }
    double X(double x) const { return (x + right) * Unit(); }
    double Y(double y) const { return (top - y) * Unit(); }
    /** @param prefix of the attributes: "c" for a circle's centre. */
    std::string Percent(ChartPoint point, const char* prefix = "") const {
        return StringPrintf("%sx=\"%.2f%%\" %sy=\"%.2f%%\"", prefix, X(point.x) / kWidth * 100,
                            prefix, (top - point.y) / Height() * 100);
    }
};

View ViewOf(const ReportData& data) {
    constexpr double kMargin = 1.18;
    constexpr double kNarrowest = 0.62;
    constexpr double kLeastMetres = 0.5;
    View view;
    view.right = kLeastMetres;
    view.top = kLeastMetres;
    for (const PeerReport& peer : data.peers) {
        for (const auto& position : peer.positions) {
            view.right = std::max(view.right, std::abs(position.place.x));
            view.top = std::max(view.top, position.place.y);
            view.bottom = std::min(view.bottom, position.place.y);
        }
    }
    view.right *= kMargin;
    view.top *= kMargin;
    // Room for the radio itself.
    view.bottom = std::min(view.bottom * kMargin, -0.12 * view.top);
    // Neither a slit nor a tower.
    view.right = std::max(view.right, view.Height() / 2);
    if (view.Height() < 2 * view.right * kNarrowest) {
        view.top = 2 * view.right * kNarrowest + view.bottom;
    }
    return view;
}

std::string Text(const View& view, ChartPoint at, const char* attributes, const std::string& text) {
    return "<text " + view.Percent(at) + " " + attributes + ">" + text + "</text>";
}

// Rings of round metres, spokes of 30 degrees, and their labels.
void DrawGrid(const View& view, std::string* shapes, std::string* labels) {
    constexpr double kRings = 6;
    constexpr int kSpokeDegrees = 30;
    const double step = RoundStep(std::max(view.top, view.right) / kRings);
    const double corner = std::hypot(view.right, std::max(view.top, -view.bottom));
    const int decimals = step < 1 ? 1 : 0;
    for (int ring = 1; ring * step < corner; ring++) {
        const double radius = ring * step;
        *shapes += StringPrintf("<circle class=\"grid\" cx=\"%.0f\" cy=\"%.0f\" r=\"%.1f\"/>",
                                view.X(0), view.Y(0), radius * view.Unit());
        if (radius < view.top * 0.88) {
            *labels += Text(view, {0, radius}, "class=\"tick halo\" dx=\"5\" dy=\"-4\"",
                            NumberText(radius, decimals) + "\u00A0m");
        }
    }
    for (int degrees = -180 + kSpokeDegrees; degrees <= 180; degrees += kSpokeDegrees) {
        const double x = std::sin(degrees * M_PI / 180);
        const double y = std::cos(degrees * M_PI / 180);
        *shapes += StringPrintf("<path class=\"grid\" d=\"M%.0f %.0fL%.0f %.0f\"/>", view.X(0),
                                view.Y(0), view.X(x * corner), view.Y(y * corner));
        // Just inside the edge that the spoke leaves through.
        const double side = 0.91 * view.right / std::max(std::abs(x), 1e-9);
        const double end = (y > 0 ? view.top : -view.bottom) / std::max(std::abs(y), 1e-9) * 0.955;
        const double reach = std::min(side, end);
        // Too near to the radio, the labels of what is behind it would crowd.
        if (reach < view.right * 0.4) continue;
        *labels += Text(view, {x * reach, y * reach},
                        "class=\"tick halo\" dy=\".35em\" text-anchor=\"middle\"",
                        NumberText(degrees) + "\u00B0");
    }
}

// One dot for all that fall on the same spot, and not more than are worth it.
std::string Dots(const View& view, const PeerReport& peer, size_t most) {
    constexpr double kSpot = 4;
    std::set<std::pair<int, int>> spots;
    for (const auto& position : peer.positions) {
        spots.emplace(static_cast<int>(view.X(position.place.x) / kSpot),
                      static_cast<int>(view.Y(position.place.y) / kSpot));
    }
    const size_t each = spots.size() / std::max<size_t>(most, 1) + 1;
    std::string path;
    size_t index = 0;
    for (const auto& [x, y] : spots) {
        if (index++ % each == 0) {
            path += StringPrintf("M%.0f %.0fh0", (x + 0.5) * kSpot, (y + 0.5) * kSpot);
        }
    }
    return path;
}

// The mean of each piece of time: a way through the noise.
std::string Track(const View& view, const PeerReport& peer, double window) {
    std::string path;
    bool is_on = false;
    const auto& positions = peer.positions;
    for (size_t begin = 0; begin < positions.size();) {
        const double piece = std::floor(positions[begin].time_s / window);
        ChartPoint sum;
        size_t end = begin;
        for (; end < positions.size() && std::floor(positions[end].time_s / window) == piece;
             end++) {
            sum.x += positions[end].place.x;
            sum.y += positions[end].place.y;
        }
        const auto count = static_cast<double>(end - begin);
        path += StringPrintf("%c%.0f %.0f", is_on ? 'L' : 'M', view.X(sum.x / count),
                             view.Y(sum.y / count));
        // Through a silence of more than a piece nobody knows the way.
        is_on = end < positions.size() && std::floor(positions[end].time_s / window) <= piece + 1;
        begin = end;
    }
    return path;
}

// Finds places for labels where they cover no other label and no mark.
class LabelPlaces {
  public:
    explicit LabelPlaces(const View& view) : view_(view) {}

    /** Keeps labels off a mark. */
    void Avoid(ChartPoint at) {
        constexpr double kMark = 12;
        taken_.push_back({view_.X(at.x) * kScale - kMark / 2, view_.Y(at.y) * kScale, kMark});
    }

    /** @return a label beside a point, as SVG. */
    std::string Put(ChartPoint at, const std::string& name) {
        // First near and towards the middle, so that it stays inside.
        Label best;
        double least = HUGE_VAL;
        for (const double up : {kNear, -kNear, 0.0, 23.0, -23.0, 37.0, -37.0, 51.0, -51.0}) {
            for (const bool is_left : {at.x > 0, at.x <= 0}) {
                const Label label = {up, is_left, BoxOf(at, name.size(), up, is_left)};
                const double covered = Covered(label.box) + std::abs(up) / 1000;
                if (covered >= least) continue;
                least = covered;
                best = label;
            }
        }
        taken_.push_back(best.box);
        const double aside = best.is_left ? -kAside : kAside;
        std::string html = "<svg class=\"at\" " + view_.Percent(at) + ">";
        if (std::abs(best.up) > kNear) {
            html += StringPrintf("<path class=\"leader\" d=\"M0 0L%.0f %.0f\"/>", aside * 0.8,
                                 -best.up);
        }
        return html +
               StringPrintf("<text class=\"label halo\" x=\"%.0f\" y=\"%.1f\"%s>", aside,
                            4.5 - best.up, best.is_left ? " text-anchor=\"end\"" : "") +
               EscapeHtml(name) + "</text></svg>";
    }

  private:
    // The page's width is not known here; what finds room on a telephone has it on a desk as well.
    static constexpr double kPagePx = 380;
    static constexpr double kScale = kPagePx / kWidth;
    static constexpr double kAside = 9;
    // So far up or down it is still beside the mark.
    static constexpr double kNear = 9;

    struct Box {
        double left = 0;
        double middle = 0;
        double width = 0;
    };
    struct Label {
        double up = 0;
        bool is_left = false;
        Box box;
    };

    Box BoxOf(ChartPoint at, size_t characters, double up, bool is_left) const {
        constexpr double kCharacterPx = 8.2;
        const double width = static_cast<double>(characters) * kCharacterPx;
        return {view_.X(at.x) * kScale + (is_left ? -kAside - width : kAside),
                view_.Y(at.y) * kScale - up, width};
    }

    double Covered(const Box& box) const {
        constexpr double kHeight = 14;
        // To leave the picture is worse than any cover.
        double covered = box.left < 0 || box.left + box.width > kPagePx ? 1000 : 0;
        for (const Box& other : taken_) {
            const double across = std::min(box.left + box.width, other.left + other.width) -
                                  std::max(box.left, other.left);
            if (across > 0) covered += std::max(0.0, kHeight - std::abs(box.middle - other.middle));
        }
        return covered;
    }

    const View& view_;
    std::vector<Box> taken_;
};

// Where each peer was first and last, and its name.
std::string PeerMarks(const View& view, const std::vector<PeerReport>& peers) {
    std::string marks;
    LabelPlaces places(view);
    for (size_t i = 0; i < peers.size(); i++) {
        if (peers[i].positions.empty()) continue;
        const ChartPoint ends[] = {peers[i].positions.front().place,
                                   peers[i].positions.back().place};
        for (size_t end = 0; end < std::size(ends); end++) {
            marks += std::string("<circle class=\"") + (end == 0 ? "first " : "last ") +
                     PeerClass(i) + "\" " + view.Percent(ends[end], "c") + " r=\"5\"><title>" +
                     EscapeHtml(peers[i].name) + "</title></circle>";
            places.Avoid(ends[end]);
        }
    }
    // More names could not be read, and each is kept off all others; the marks' tips have them.
    constexpr size_t kMostNames = 60;
    size_t names = 0;
    for (size_t i = 0; i < peers.size() && names < kMostNames; i++) {
        if (peers[i].positions.empty()) continue;
        names++;
        marks += places.Put(peers[i].positions.back().place, peers[i].name);
    }
    return marks;
}

}  // namespace

std::string TopView(const ReportData& data) {
    constexpr size_t kMostDots = 24000;
    constexpr double kPieces = 600;
    constexpr double kFewestRounds = 5;
    if (std::all_of(data.peers.begin(), data.peers.end(),
                    [](const PeerReport& peer) { return peer.positions.empty(); })) {
        return "";
    }
    const View view = ViewOf(data);
    const double window = RoundStep(
        std::max({data.duration_s / kPieces, kFewestRounds * data.interval_s.value_or(0), 1e-3}));
    std::string shapes;
    std::string labels;
    DrawGrid(view, &shapes, &labels);
    std::string tracks;
    for (size_t i = 0; i < data.peers.size(); i++) {
        const PeerReport& peer = data.peers[i];
        if (peer.positions.empty()) continue;
        shapes += "<path class=\"spots " + PeerClass(i) + "\" d=\"" +
                  Dots(view, peer, kMostDots / data.peers.size()) + "\"/>";
        tracks +=
            "<path class=\"line " + PeerClass(i) + "\" d=\"" + Track(view, peer, window) + "\"/>";
    }
    labels += Text(view, {0, 0}, "class=\"label halo\" text-anchor=\"middle\" dy=\"20\"", "radio") +
              PeerMarks(view, data.peers);
    const double height = kWidth * view.Height() / (2 * view.right);
    return StringPrintf(
               "<svg class=\"plan\" style=\"aspect-ratio:%.0f/%.0f\" role=\"img\" "
               "aria-label=\"The peers around the radio, seen from above\">"
               "<svg viewBox=\"0 0 %.0f %.0f\" width=\"100%%\" height=\"100%%\">",
               kWidth, height, kWidth, height) +
           shapes + tracks +
           StringPrintf("<path class=\"radio\" d=\"M%.0f %.0fl26 60h-52z\"/></svg>", view.X(0),
                        view.Y(0) - 26) +
           labels +
           "</svg><figcaption>Azimuth 0\u00B0 is straight ahead of the radio, positive to " +
           "the right" +
           (data.has_elevation ? "; distances are projected onto the level by the elevation" : "") +
           ". Dots are single measurements, lines their mean over " +
           NumberText(window, window < 1 ? 2 : 0) +
           "\u00A0s; a hollow ring is a peer\u2019s first position, a full one its last."
           "</figcaption>";
}

}  // namespace uwbctl
