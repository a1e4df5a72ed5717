// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/world_history.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace uwbctl {
namespace {

constexpr size_t kLooks = 128;
// Looks that follow each other faster count as one.
constexpr int64_t kApartNs = 50'000'000;
// Squares of speeds below that are none.
constexpr double kNoSpeed = 1e-9;

Vec3 Minus(const Vec3& a, const Vec3& b) {
    return {.x = a.x - b.x, .y = a.y - b.y, .z = a.z - b.z};
}

double Dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

TrueBody Moved(const TrueBody& body, int64_t from_ns, int64_t when_ns) {
    TrueBody moved = body;
    moved.at = Truth::At(body, from_ns, when_ns);
    return moved;
}

// Between two looks a thing may have turned: each look's line is right on its side of where they
// meet.
bool IsBeforeTurn(const TrueBody& forth, const TrueBody& back) {
    const Vec3 apart = Minus(forth.at, back.at);
    const Vec3 parting = Minus(forth.velocity, back.velocity);
    // How long after the time of both the lines are nearest to each other.
    return -Dot(apart, parting) / std::max(Dot(parting, parting), kNoSpeed) > 0;
}

}  // namespace

const Truth& WorldHistory::Look() {
    Truth truth = world_->Read();
    // Their time begins anew with a world, whoever loads it.
    if (!looks_.empty() && truth.time_ns < looks_.back().time_ns) looks_.clear();
    const size_t count = looks_.size();
    if (count > 1 && looks_[count - 1].time_ns - looks_[count - 2].time_ns < kApartNs) {
        looks_.back() = std::move(truth);
    } else {
        looks_.push_back(std::move(truth));
    }
    if (looks_.size() > kLooks) looks_.pop_front();
    return looks_.back();
}

std::optional<TrueBody> WorldHistory::At(const ThingId& id, int64_t when_ns) {
    if (looks_.empty() || looks_.back().time_ns < when_ns) Look();
    auto after = std::find_if(looks_.begin(), looks_.end(),
                              [when_ns](const Truth& look) { return look.time_ns >= when_ns; });
    if (after == looks_.end()) --after;
    // Before all that is kept there was more, which is not known any more.
    if (after == looks_.begin() && looks_.size() == kLooks) return std::nullopt;
    const TrueBody* later = after->Find(id);
    if (later == nullptr) return std::nullopt;
    const TrueBody back = Moved(*later, after->time_ns, when_ns);
    const TrueBody* earlier = after == looks_.begin() ? nullptr : std::prev(after)->Find(id);
    if (earlier == nullptr || when_ns > after->time_ns) return back;
    const TrueBody forth = Moved(*earlier, std::prev(after)->time_ns, when_ns);
    return IsBeforeTurn(forth, back) ? forth : back;
}

}  // namespace uwbctl
