// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/solver.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace uwbctl {
namespace {

using Vector = Eigen::VectorXd;
using Matrix = Eigen::MatrixXd;

constexpr int kMaxSteps = 60;
constexpr double kSmallStep = 1e-7;
constexpr double kFirstDamping = 1e-3;
constexpr double kLeastDamping = 1e-12;
constexpr double kMostDamping = 1e12;
constexpr double kDampingFactor = 5;
constexpr double kShareOfAll = 1e-3;
// Anchors that leave a line or a plane by less than this share of their extent are in it.
constexpr double kFlat = 0.02;
// Two places that are nearer to each other are one, in metres.
constexpr double kSame = 1e-3;
// How much worse, in squares of sigma, a place may fit and still be as good.
constexpr double kAsGood = 1;
// Beyond so many sigma a distance is an outlier.
constexpr double kOutlierSigmas = 3;
constexpr double kNoDilution = 1e6;
// Less than this share of the most is nothing: rounding makes as much.
constexpr double kNothing = 1e-15;

// The directions of a symmetric matrix, and how much it is in each, the most first. All that is
// asked of one is answered by these: every further decomposition of Eigen's takes seconds to
// compile.
struct Axes {
    explicit Axes(const Matrix& symmetric) {
        const Eigen::SelfAdjointEigenSolver<Matrix> solver(symmetric);
        sizes = solver.eigenvalues().reverse();
        directions = solver.eigenvectors().rowwise().reverse();
    }
    // Without the directions in which it is next to nothing.
    Matrix Inverse() const {
        Matrix inverse = Matrix::Zero(sizes.size(), sizes.size());
        for (int i = 0; i < sizes.size() && sizes[i] > kNothing * sizes[0]; i++) {
            inverse += directions.col(i) * directions.col(i).transpose() / sizes[i];
        }
        return inverse;
    }
    bool IsInvertible() const { return sizes[sizes.size() - 1] > kNothing * sizes[0]; }

    Vector sizes;
    Matrix directions;
};

// Anchors, and the unknown, with as many coordinates as are looked for.
class Problem {
  public:
    Problem(const std::vector<Range>& ranges, const SolverOptions& options)
        : sigma_(options.sigma), dimensions_(options.height ? 2 : 3) {
        for (const Range& range : ranges) {
            Vector anchor(dimensions_);
            anchor[0] = range.anchor.x;
            anchor[1] = range.anchor.y;
            if (dimensions_ == 3) anchor[2] = range.anchor.z;
            anchors_.push_back(anchor);
            drops_.push_back(options.height ? range.anchor.z - *options.height : 0);
            metres_.push_back(range.metres);
        }
    }

    int dimensions() const { return dimensions_; }
    size_t size() const { return anchors_.size(); }

    Vector Middle() const {
        Vector sum = Vector::Zero(dimensions_);
        for (const Vector& anchor : anchors_) sum += anchor;
        return sum / static_cast<double>(size());
    }

    // What each distance is off at a place, in sigma, and how that changes with the place.
    void Linearise(const Vector& at, Vector* off, Matrix* slope) const {
        off->resize(static_cast<int>(size()));
        slope->resize(static_cast<int>(size()), dimensions_);
        for (int i = 0; i < off->size(); i++) {
            const Vector away = at - anchors_[i];
            const double distance = std::max(std::hypot(away.norm(), drops_[i]), kSame);
            (*off)[i] = (distance - metres_[i]) / sigma_;
            slope->row(i) = (away / distance / sigma_).transpose();
        }
    }

    // The directions in which the anchors are spread, widest first, and how far in squares.
    Axes Spread() const {
        Matrix from_middle(static_cast<int>(size()), dimensions_);
        const Vector middle = Middle();
        for (int i = 0; i < from_middle.rows(); i++) {
            from_middle.row(i) = (anchors_[i] - middle).transpose();
        }
        return Axes(from_middle.transpose() * from_middle);
    }

    // Where squares of distances say it is, whose differences are linear; without noise that is it.
    Vector Linear() const {
        Matrix slope(static_cast<int>(size()), dimensions_);
        Vector value(slope.rows());
        for (int i = 0; i < slope.rows(); i++) {
            slope.row(i) = 2 * anchors_[i].transpose();
            value[i] = anchors_[i].squaredNorm() + drops_[i] * drops_[i] - metres_[i] * metres_[i];
        }
        const Eigen::RowVectorXd mean = slope.colwise().mean();
        slope.rowwise() -= mean;
        value.array() -= value.mean();
        return Axes(slope.transpose() * slope).Inverse() * (slope.transpose() * value);
    }

    double LongestDistance() const { return *std::max_element(metres_.begin(), metres_.end()); }

  private:
    double sigma_;
    int dimensions_;
    std::vector<Vector> anchors_;
    // How far each anchor is above the height that is given.
    std::vector<double> drops_;
    std::vector<double> metres_;
};

// Huber's: squares up to an outlier, straight on from there.
double Cost(const Vector& off) {
    double cost = 0;
    for (const double value : off) {
        const double size = std::abs(value);
        cost += size <= kOutlierSigmas ? size * size : kOutlierSigmas * (2 * size - kOutlierSigmas);
    }
    return cost;
}

Vector Weights(const Vector& off) {
    return off.unaryExpr([](double value) {
        return std::min(1.0, kOutlierSigmas / std::max(std::abs(value), kSame));
    });
}

struct Fit {
    Vector at;
    double cost = std::numeric_limits<double>::infinity();
};

Fit Descend(const Problem& problem, const Vector& start) {
    Vector off;
    Matrix slope;
    Fit best{.at = start};
    problem.Linearise(best.at, &off, &slope);
    best.cost = Cost(off);
    double damping = kFirstDamping;
    for (int step = 0; step < kMaxSteps && damping < kMostDamping; step++) {
        const Matrix weighted = Weights(off).asDiagonal() * slope;
        Matrix normal = slope.transpose() * weighted;
        // Where nothing changes in a direction, a part of all the others has to do.
        const double all = normal.trace();
        normal.diagonal().array() += damping * (normal.diagonal().array() + kShareOfAll * all);
        const Vector move = normal.ldlt().solve(-weighted.transpose() * off);
        const Vector to = best.at + move;
        Vector off_there;
        Matrix slope_there;
        problem.Linearise(to, &off_there, &slope_there);
        const double cost = Cost(off_there);
        if (cost >= best.cost || !std::isfinite(cost)) {
            damping *= kDampingFactor;
            if (move.norm() < kSmallStep) break;
            continue;
        }
        best = {.at = to, .cost = cost};
        off = off_there;
        slope = slope_there;
        damping = std::max(damping / kDampingFactor, kLeastDamping);
        if (move.norm() < kSmallStep) break;
    }
    return best;
}

// From the middle and from either side of it in every direction: whatever dip there is, one of
// these falls into it.
std::vector<Fit> FitFromAround(const Problem& problem, const SolverOptions& options) {
    std::vector<Vector> starts = {problem.Middle(), problem.Linear()};
    const Matrix directions = problem.Spread().directions;
    for (int i = 0; i < problem.dimensions(); i++) {
        const Vector away = directions.col(i) * problem.LongestDistance();
        starts.push_back(problem.Middle() + away);
        starts.push_back(problem.Middle() - away);
    }
    if (options.near) {
        const Eigen::Vector3d near(options.near->x, options.near->y, options.near->z);
        starts.push_back(near.head(problem.dimensions()));
    }
    std::vector<Fit> fits;
    fits.reserve(starts.size());
    for (const Vector& start : starts) fits.push_back(Descend(problem, start));
    std::stable_sort(fits.begin(), fits.end(),
                     [](const Fit& a, const Fit& b) { return a.cost < b.cost; });
    return fits;
}

Vec3 ToPlace(const Vector& at, const SolverOptions& options) {
    return {.x = at[0], .y = at[1], .z = options.height ? *options.height : at[2]};
}

// Of two that fit alike: the one that is nearer to where it was, or else the lower one, since
// anchors hang high as a rule.
bool IsLikelier(const SolverOptions& options, const Vector& at, const Vector& other) {
    if (options.near) {
        const Eigen::Vector3d near(options.near->x, options.near->y, options.near->z);
        const Vector wanted = near.head(at.size());
        return (at - wanted).norm() < (other - wanted).norm();
    }
    return at.size() == 3 && at[2] < other[2];
}

// How sure the place is, from how the distances change around it.
void Judge(const Problem& problem, const SolverOptions& options, const Vector& at,
           Location* location) {
    Vector off;
    Matrix slope;
    problem.Linearise(at, &off, &slope);
    const double squares = off.squaredNorm();
    location->residual = std::sqrt(squares / static_cast<double>(problem.size())) * options.sigma;

    const Axes slopes(slope.transpose() * slope);
    if (!slopes.IsInvertible()) {
        location->dilution = kNoDilution;
        return;
    }
    const Matrix inverse = slopes.Inverse();
    location->dilution = std::min(std::sqrt(inverse.trace()) / options.sigma, kNoDilution);
    // Distances that fit worse than they should are worse than was said.
    const double spare = static_cast<double>(problem.size()) - problem.dimensions();
    const double scale = spare > 0 ? std::max(1.0, squares / spare) : 1;
    const Matrix covariance = inverse * scale;
    const Axes axes(covariance.topLeftCorner(2, 2));
    location->ellipse.minor = std::sqrt(std::max(axes.sizes[1], 0.0));
    location->ellipse.major = std::sqrt(std::max(axes.sizes[0], 0.0));
    const Vector longer = axes.directions.col(0);
    location->ellipse.angle = longer[0] == 0 ? M_PI_2 : std::atan(longer[1] / longer[0]);
    if (problem.dimensions() == 3) {
        location->height_sigma = std::sqrt(std::max(covariance(2, 2), 0.0));
    }
}

// What the anchors allow; empty when one place is all there can be.
struct Geometry {
    std::string problem;
    bool is_hopeless = false;
};

Geometry Look(const Problem& problem) {
    const bool is_flat = problem.dimensions() == 2;
    if (problem.size() < 2) return {"distances to two anchors at least are needed", true};
    const Vector extents = problem.Spread().sizes.cwiseMax(0).cwiseSqrt();
    const auto is_spread = [&extents](int direction) {
        return extents[direction] > kFlat * extents[0] && extents[direction] > kSame;
    };
    if (extents[0] <= kSame) return {"all anchors are in one place", true};
    if (is_spread(problem.dimensions() - 1)) return {};
    if (is_flat) return {"all anchors are in one line: it may be on the other side of it", false};
    if (is_spread(1)) return {"all anchors are in one plane: it may be on the other side", false};
    return {"all anchors are in one line: it may be anywhere around it", true};
}

}  // namespace

Solution Locate(const std::vector<Range>& ranges, const SolverOptions& options) {
    const Problem problem(ranges, options);
    const Geometry geometry = Look(problem);
    if (geometry.is_hopeless) return {.location = std::nullopt, .problem = geometry.problem};

    std::vector<Fit> fits = FitFromAround(problem, options);
    Fit* other = nullptr;
    for (Fit& fit : fits) {
        const bool is_elsewhere = (fit.at - fits[0].at).norm() > std::max(kSame, options.sigma);
        if (is_elsewhere && fit.cost < fits[0].cost + kAsGood) {
            other = &fit;
            break;
        }
    }
    if (other != nullptr && IsLikelier(options, other->at, fits[0].at)) std::swap(fits[0], *other);
    Location location{.at = ToPlace(fits[0].at, options)};
    if (other != nullptr) location.mirror = ToPlace(other->at, options);
    Judge(problem, options, fits[0].at, &location);
    std::string why = geometry.problem;
    if (other != nullptr && why.empty()) why = "another place fits as well";
    return {.location = location, .problem = why};
}

}  // namespace uwbctl
