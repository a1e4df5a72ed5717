// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace uwbctl {

/** A place in a chart, in the units of its axes. */
struct ChartPoint {
    double x = 0;
    double y = 0;
};

/** @return text with what HTML would take for its own made harmless. */
std::string EscapeHtml(const std::string& text);

/** @return a number with so many decimals, a true minus sign and thin spaces between thousands. */
std::string NumberText(double value, int decimals = 0);

/** One direction of a chart. */
struct Axis {
    struct Tick {
        double value = 0;
        std::string label;
    };

    double low = 0;
    double high = 1;
    /** With the unit. */
    std::string title;
    std::vector<Tick> ticks;

    /** @return where a value is, 0.0 at low to 1.0 at high. */
    double Share(double value) const { return (value - low) / (high - low); }
};

/** @return 1, 2 or 5 times a power of ten: the smallest that is at least value. */
double RoundStep(double value);

/** @return an axis that holds both values and ends on ticks, about so many. */
Axis ValueAxis(double low, double high, int ticks, std::string title);

/** @return an axis from 0 to so many seconds, in the unit that suits. */
Axis TimeAxis(double seconds);

/** What a line, a bar or a label of a peer looks like: a class of the page's style. */
std::string PeerClass(size_t peer);

/** The same for what would be lost in dashes. */
std::string PeerColour(size_t peer);

/** @return the mark before a peer's name in legends, as HTML or SVG text. */
std::string PeerMark(size_t peer, bool is_svg);

/**
 * One chart as SVG of a fixed height that is as wide as the page lets it: places are percentages of
 * the area between the axes and texts keep their size, so that it is read on a telephone as well.
 * The page's style has the margins that titles and labels are written in.
 */
class SvgChart {
  public:
    /** @param spoken what a screen reader says in its place. */
    SvgChart(const std::string& spoken, int height_px, Axis x, Axis y);

    /** Has no labels at the x axis: another chart below has them. */
    void HideTimes() { has_x_labels_ = false; }

    /** Draws lines; what lies too close together to be seen is left out. Points in order of x. */
    void Lines(size_t peer, const std::vector<std::vector<ChartPoint>>& lines);
    /** Fills between a line and the bottom. */
    void Area(size_t peer, const std::vector<ChartPoint>& line);
    /** Fills a box; its tip says title. */
    void Box(const std::string& css, ChartPoint from, ChartPoint to, const std::string& title);
    /** Dots, when there are so few that each can be told from the next. */
    void Dots(size_t peer, const std::vector<ChartPoint>& points);
    /** A line from bottom to top. */
    void Upright(double x, const std::string& title);
    /** A line from left to right with a text above its end. */
    void Level(double y, const std::string& text);
    /** Labels on the right, as near to their y as they can be without covering each other. */
    void PeerLabels(const std::vector<std::pair<size_t, double>>& at,
                    const std::vector<std::string>& names);

    std::string Finish() const;

  private:
    std::string X(double value) const;
    std::string Y(double value) const;
    std::string Place(ChartPoint point) const;
    void AddPath(const std::string& css, const std::string& path);
    std::string Path(const std::vector<ChartPoint>& line) const;

    const std::string spoken_;
    const int height_px_;
    const Axis x_;
    const Axis y_;
    bool has_x_labels_ = true;
    // Stretched to the area between the axes: what has shapes.
    std::string shapes_;
    // Not stretched: what has texts and round dots.
    std::string marks_;
};

}  // namespace uwbctl
