// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/scene_printer.h"

#include <android-base/stringprintf.h>

#include "uwbctl/world/scene_file.h"

namespace uwbctl {
namespace {

// "model", or "model 0x1234", with a preset's name where it is one.
std::string ModelLine(const std::string& who, const Model& model) {
    const std::string preset = PresetOf(model);
    return "model " + who + (who.empty() ? "" : " ") +
           (preset.empty() ? "ideal " + ModelText(model) : preset) + "\n";
}

std::string PathLine(const ThingId& id, const Path& path) {
    std::string text = "path " + ToText(id) + (path.is_loop ? "" : " once");
    for (const Waypoint& point : path.points) {
        text +=
            "  " + NumberText(point.seconds) + " " + PlaceText(point.at) + SightText(point.sight);
    }
    return text + "\n";
}

std::string ThingLines(const Thing& thing) {
    const bool is_radio = thing.id.kind == ThingId::Kind::kRadio;
    std::string text;
    if (thing.path) {
        text = PathLine(thing.id, *thing.path);
    } else {
        text = (is_radio ? "radio " + std::to_string(thing.id.number) : "tag " + ToText(thing.id)) +
               " " + PlaceText(thing.at);
        const Vec3& v = thing.velocity;
        if (v.x != 0 || v.y != 0 || v.z != 0) text += "  " + PlaceText(v);
        text += "\n";
    }
    if (thing.heading != 0) {
        text += "heading " + ToText(thing.id) + " " + NumberText(thing.heading) + "\n";
    }
    if (!thing.has_line_of_sight) text += "los " + ToText(thing.id) + " 0\n";
    if (thing.model) text += ModelLine(ToText(thing.id), *thing.model);
    return text;
}

}  // namespace

std::string NumberText(double number) {
    std::string text = android::base::StringPrintf("%.6f", number);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text == "-0" ? "0" : text;
}

std::string PlaceText(const Vec3& place) {
    return NumberText(place.x) + " " + NumberText(place.y) + " " + NumberText(place.z);
}

std::string RateText(double rate, bool has_fast_blocks) {
    return NumberText(rate) + (has_fast_blocks ? " blocks" : "");
}

std::string WallText(const Wall& wall) {
    return NumberText(wall.x1) + " " + NumberText(wall.y1) + " " + NumberText(wall.x2) + " " +
           NumberText(wall.y2) + (wall.stops ? " stops" : "");
}

std::string ModelText(const Model& model) {
    std::string text;
    for (const ModelKey& key : ModelKeys()) {
        const auto found = model.find(key.name);
        if (found == model.end() || found->second == key.none) continue;
        text += (text.empty() ? "" : " ") + found->first + " " + NumberText(found->second);
    }
    return text;
}

std::string SightText(Sight sight) {
    return sight == Sight::kBlocked ? " nlos" : sight == Sight::kLost ? " lost" : "";
}

std::string PrintScene(const Scene& scene) {
    std::string text;
    if (scene.seed != 1) text += "seed " + std::to_string(scene.seed) + "\n";
    if (scene.rate != 1 || scene.has_fast_blocks) {
        text += "rate " + RateText(scene.rate, scene.has_fast_blocks) + "\n";
    }
    if (scene.waits) text += "wait\n";
    if (scene.range_m != Scene::kDefaultRangeM) text += "range " + NumberText(scene.range_m) + "\n";
    if (scene.noise_mm != Scene::kDefaultNoiseMm) {
        text += "noise " + std::to_string(scene.noise_mm) + "\n";
    }
    if (scene.model) text += ModelLine("", *scene.model);
    for (const Wall& wall : scene.walls) text += "wall " + WallText(wall) + "\n";
    for (const Thing& thing : scene.things) text += ThingLines(thing);
    return text;
}

}  // namespace uwbctl
