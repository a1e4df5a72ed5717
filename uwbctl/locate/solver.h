// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "uwbctl/world/scene.h"

namespace uwbctl {

/** A distance that was measured to a place that is known. */
struct Range {
    Vec3 anchor;
    double metres = 0;
};

/** How to look for a place. */
struct SolverOptions {
    /** Look for x and y only; the height is this one. Without it, for the height as well. */
    std::optional<double> height;
    /**
     * Standard deviation of a distance, in metres. A distance that fits worse than three of these
     * counts by how far it is off, not by its square: one outlier does not turn everything over.
     */
    double sigma = 0.05;
    /** Where it was just now: decides between places that fit alike. Without it the lower one is
     * it. */
    std::optional<Vec3> near;
};

/** An ellipse of one standard deviation, seen from above. */
struct Ellipse {
    /** Half axes in metres, the longer one first. */
    double major = 0;
    double minor = 0;
    /** Of the longer one from the x axis towards y, in radians, -pi/2 to pi/2. */
    double angle = 0;
};

/** Where something is. */
struct Location {
    Vec3 at;
    /** Another place that fits as well, as where all anchors are in one line or one plane. */
    std::optional<Vec3> mirror;
    /** Root of the mean square of what the distances are off there, in metres. */
    double residual = 0;
    /** How many metres the place is off for each metre that the distances are (DOP). */
    double dilution = 0;
    Ellipse ellipse;
    /** Standard deviation of the height where it was looked for, in metres. */
    std::optional<double> height_sigma;
};

/** What came of looking. */
struct Solution {
    /** Nothing when there is no telling. */
    std::optional<Location> location;
    /** Why there is none, or why there may be another; empty when all is well. */
    std::string problem;
};

/** Finds the place that fits the distances best: least squares, by Levenberg and Marquardt. */
Solution Locate(const std::vector<Range>& ranges, const SolverOptions& options);

}  // namespace uwbctl
