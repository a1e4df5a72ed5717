// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/scene.h"

#include <android-base/parseint.h>
#include <android-base/stringprintf.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace uwbctl {
namespace {

using android::base::StringPrintf;

constexpr char kRadio[] = "radio";
constexpr std::string_view kInterface = "wpan";

// On which side of the line from a to b a point is: the sign tells.
double Side(double ax, double ay, double bx, double by, double x, double y) {
    return (bx - ax) * (y - ay) - (by - ay) * (x - ax);
}

}  // namespace

std::string ToText(const ThingId& id) {
    const auto number = static_cast<unsigned long long>(id.number);
    return id.kind == ThingId::Kind::kRadio ? StringPrintf("%s%llu", kRadio, number)
                                            : StringPrintf("0x%04llx", number);
}

std::optional<ThingId> ParseThingId(const std::string& word) {
    ThingId id;
    std::string digits = word;
    if (word.starts_with(kRadio)) {
        id.kind = ThingId::Kind::kRadio;
        digits = word.substr(sizeof(kRadio) - 1);
    }
    // ParseUint() passes over blanks.
    if (digits.empty() || digits.front() < '0' || digits.front() > '9' ||
        !android::base::ParseUint(digits, &id.number)) {
        return std::nullopt;
    }
    return id;
}

std::optional<ThingId> ThingOf(const std::string& name) {
    if (!name.starts_with(kInterface)) return ParseThingId(name);
    return ParseThingId(kRadio + name.substr(kInterface.size()));
}

double Distance(const Vec3& a, const Vec3& b) {
    return std::hypot(b.x - a.x, b.y - a.y, b.z - a.z);
}

const Thing* FindThing(const Scene& scene, const ThingId& id) {
    const auto found = std::find_if(scene.things.begin(), scene.things.end(),
                                    [&id](const Thing& thing) { return thing.id == id; });
    return found == scene.things.end() ? nullptr : &*found;
}

// As the kernel module has it: to touch a wall's end is not to pass it.
bool IsBetween(const Wall& wall, const Vec3& from, const Vec3& to) {
    const double from_side = Side(wall.x1, wall.y1, wall.x2, wall.y2, from.x, from.y);
    const double to_side = Side(wall.x1, wall.y1, wall.x2, wall.y2, to.x, to.y);
    const double first_side = Side(from.x, from.y, to.x, to.y, wall.x1, wall.y1);
    const double second_side = Side(from.x, from.y, to.x, to.y, wall.x2, wall.y2);
    return from_side * to_side < 0 && first_side * second_side < 0;
}

}  // namespace uwbctl
