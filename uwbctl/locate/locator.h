// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/measurement.h"
#include "uwbctl/locate/solver.h"

namespace uwbctl {

/** Something whose place is known. */
struct Anchor {
    /** As measurements name it: a peer's address, or an interface. */
    std::string name;
    Vec3 at;
    /** Otherwise it is where the virtual world has it, which may move it. */
    bool is_place_said = false;
};

/** Where something was when every anchor had been asked once. */
struct Estimate {
    /** Of the last of the measurements. */
    int64_t timestamp_ns = 0;
    /** How many anchors gave a distance. */
    size_t answers = 0;
    Solution solution;
};

/** Follows one thing: takes measurements one by one, and tells where it is after each round. */
class Locator {
  public:
    /** Without a height to be given, options.height may be that of AnchorHeight(). */
    Locator(std::vector<Anchor> anchors, const SolverOptions& options);

    /**
     * Takes a measurement between an anchor and the thing.
     *
     * @param metres nothing when the peer did not answer.
     * @return an estimate when this was the last anchor of a round, or the first of the next one;
     *         nothing for an anchor that is not known.
     */
    std::optional<Estimate> Add(const std::string& anchor, int64_t timestamp_ns,
                                std::optional<double> metres);

    /** The same of a measurement; without success there is no distance. */
    std::optional<Estimate> Add(const std::string& anchor, const Measurement& measurement);

    /** An anchor whose place was not said is somewhere else from now on. */
    void Move(const std::string& anchor, const Vec3& to);

    const std::vector<Anchor>& anchors() const { return anchors_; }

  private:
    struct Heard {
        bool is_asked = false;
        std::optional<double> metres;
    };

    Anchor* Find(const std::string& name);
    std::optional<Estimate> Finish();

    std::vector<Anchor> anchors_;
    SolverOptions options_;
    std::vector<Heard> round_;
    int64_t timestamp_ns_ = 0;
};

/** @return the mean height of anchors, in metres. */
double AnchorHeight(const std::vector<Anchor>& anchors);

}  // namespace uwbctl
