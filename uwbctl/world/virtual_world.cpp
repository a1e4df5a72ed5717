// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/virtual_world.h"

#include <android-base/file.h>
#include <android-base/parseint.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "uwbctl/client/client.h"
#include "uwbctl/client/units.h"
#include "uwbctl/world/scene_file.h"
#include "uwbctl/world/scene_printer.h"

namespace uwbctl {
namespace {

// What one write may hold.
constexpr size_t kMaxWrite = 16000;

std::string ReadWorld(const std::string& path) {
    std::string text;
    if (!android::base::ReadFileToString(path, &text)) {
        throw Failure(kRadioFailed, "cannot read " + path + ": " + strerror(errno));
    }
    return text;
}

std::string BodyLine(const ThingId& id, const Vec3& at, const Vec3& velocity) {
    const bool is_radio = id.kind == ThingId::Kind::kRadio;
    return (is_radio ? "radio " + std::to_string(id.number) : "tag " + ToText(id)) + " " +
           PlaceText(at) + " " + PlaceText(velocity) + "\n";
}

std::string HeadingLine(const ThingId& id, double degrees) {
    return "heading " + ToText(id) + " " + NumberText(degrees) + "\n";
}

std::string ModelLines(const std::string& who, const std::optional<Model>& model) {
    // Anew: a key that is not named would stay.
    std::string text = "model " + who + " none\n";
    if (!model) return text;
    const std::string keys = ModelText(*model);
    return text + "model " + who + " noise 0" + (keys.empty() ? "" : " " + keys) + "\n";
}

std::vector<std::string> ThingCommands(const Thing& thing) {
    const std::string who = ToText(thing.id);
    std::vector<std::string> lines = {BodyLine(thing.id, thing.at, thing.velocity)};
    if (thing.heading != 0) lines.push_back(HeadingLine(thing.id, thing.heading));
    if (!thing.has_line_of_sight) lines.push_back("los " + who + " 0\n");
    if (thing.model) lines.push_back(ModelLines(who, thing.model));
    if (!thing.path) return lines;
    lines.push_back("path " + who + (thing.path->is_loop ? " loop" : " once") + "\n");
    for (const Waypoint& point : thing.path->points) {
        lines.push_back("point " + who + " " + NumberText(point.seconds) + " " +
                        PlaceText(point.at) + SightText(point.sight) + "\n");
    }
    return lines;
}

std::vector<std::string> SceneCommands(const Scene& scene) {
    // The world stands still while it is made, so that everything starts at once.
    std::vector<std::string> lines = {
        "clear\nrate 0\n", "noise " + std::to_string(scene.noise_mm) + "\n",
        "range " + NumberText(scene.range_m) + "\n", "seed " + std::to_string(scene.seed) + "\n"};
    if (!scene.name.empty()) lines.push_back("scene " + scene.name + "\n");
    if (scene.model) lines.push_back(ModelLines("*", scene.model));
    for (const Wall& wall : scene.walls) lines.push_back("wall " + WallText(wall) + "\n");
    for (const Thing& thing : scene.things) {
        const auto more = ThingCommands(thing);
        lines.insert(lines.end(), more.begin(), more.end());
    }
    lines.push_back((scene.waits ? "wait\n" : "") +
                    ("rate " + RateText(scene.rate, scene.has_fast_blocks)) + "\n");
    return lines;
}

std::vector<std::string> WordsOf(const std::string& line) {
    return android::base::Tokenize(line, " ");
}

double Number(const std::string& word) {
    return strtod(word.c_str(), nullptr);
}

Vec3 PlaceAt(const std::vector<std::string>& words, size_t from) {
    return {.x = Number(words[from]), .y = Number(words[from + 1]), .z = Number(words[from + 2])};
}

// "tag 0x1234 X Y Z VX VY VZ los 1 path lost"; a radio has no "los".
TrueBody BodyFrom(const std::vector<std::string>& words, double rate) {
    constexpr size_t kPlace = 2;
    constexpr size_t kVelocity = 5;
    constexpr size_t kRest = 8;
    TrueBody body;
    body.id = *ParseThingId((words[0] == "radio" ? "radio" : "") + words[1]);
    body.at = PlaceAt(words, kPlace);
    const Vec3 velocity = PlaceAt(words, kVelocity);
    body.velocity = {.x = velocity.x * rate, .y = velocity.y * rate, .z = velocity.z * rate};
    const auto has = [&words](const char* word) {
        return std::find(words.begin() + kRest, words.end(), word) != words.end();
    };
    const auto los = std::find(words.begin() + kRest, words.end(), "los");
    body.has_line_of_sight = los == words.end() || los[1] == "1";
    const auto heading = std::find(words.begin() + kRest, words.end(), "heading");
    if (heading != words.end()) body.heading = Number(heading[1]);
    body.is_on_path = has("path");
    body.is_lost = has("lost");
    return body;
}

Model ModelFrom(const std::vector<std::string>& words) {
    Model model;
    for (size_t i = 2; i + 1 < words.size(); i += 2) model[words[i]] = Number(words[i + 1]);
    return model;
}

Wall WallFrom(const std::vector<std::string>& words) {
    return {.x1 = Number(words[1]),
            .y1 = Number(words[2]),
            .x2 = Number(words[3]),
            .y2 = Number(words[4]),
            .stops = words.size() > 5};
}

// "time_ns T seed S noise_mm N range M rate R blocks 1 waits 0 scene NAME"
void TakeSettings(const std::vector<std::string>& words, Truth* truth) {
    for (size_t i = 0; i + 1 < words.size(); i += 2) {
        const std::string& value = words[i + 1];
        if (words[i] == "time_ns") android::base::ParseInt(value, &truth->time_ns);
        if (words[i] == "seed") android::base::ParseUint(value, &truth->seed);
        if (words[i] == "noise_mm") android::base::ParseInt(value, &truth->noise_mm);
        if (words[i] == "range") truth->range_m = Number(value);
        if (words[i] == "rate") truth->rate = Number(value);
        if (words[i] == "blocks") truth->has_fast_blocks = value == "1";
        if (words[i] == "waits") truth->waits = value == "1";
        if (words[i] == "scene") truth->scene = value;
    }
}

void TakeLine(const std::vector<std::string>& words, Truth* truth,
              std::vector<std::pair<std::string, Model>>* models) {
    constexpr size_t kBodyWords = 8;
    constexpr size_t kWallWords = 5;
    const std::string& kind = words[0];
    if (kind == "time_ns") {
        TakeSettings(words, truth);
    } else if ((kind == "radio" || kind == "tag") && words.size() >= kBodyWords) {
        truth->bodies.push_back(BodyFrom(words, truth->WorldPace()));
    } else if (kind == "wall" && words.size() >= kWallWords) {
        truth->walls.push_back(WallFrom(words));
    } else if (kind == "model") {
        models->emplace_back(words[1], ModelFrom(words));
    }
}

Truth ParseTruth(const std::string& text, std::vector<std::pair<std::string, Model>>* models) {
    Truth truth;
    for (const std::string& line : android::base::Split(text, "\n")) {
        const std::vector<std::string> words = WordsOf(line);
        if (words.size() >= 2) TakeLine(words, &truth, models);
    }
    for (const auto& [who, model] : *models) {
        if (who == "*") truth.model = model;
    }
    return truth;
}

// "path WHO loop" and "point WHO T X Y Z [nlos|lost]"
void TakePathLine(const std::vector<std::string>& words, Scene* scene) {
    constexpr size_t kPlace = 3;
    constexpr size_t kSight = 6;
    const auto id = ParseThingId(words[1]);
    auto thing = std::find_if(scene->things.begin(), scene->things.end(),
                              [&id](const Thing& it) { return id && it.id == *id; });
    if (thing == scene->things.end()) return;
    if (words[0] == "path") {
        thing->path = Path{.is_loop = words[2] == "loop"};
    } else if (thing->path && words.size() >= kSight) {
        Waypoint point{.seconds = Number(words[2]), .at = PlaceAt(words, kPlace)};
        if (words.size() > kSight) {
            point.sight = words[kSight] == "nlos" ? Sight::kBlocked : Sight::kLost;
        }
        thing->path->points.push_back(point);
    }
}

}  // namespace

const TrueBody* Truth::Find(const ThingId& id) const {
    const auto found = std::find_if(bodies.begin(), bodies.end(),
                                    [&id](const TrueBody& body) { return body.id == id; });
    return found == bodies.end() ? nullptr : &*found;
}

double Truth::RadioPace() const {
    return has_fast_blocks ? std::max(rate, 1.0) : 1;
}

// Nobody moves while the world stands still.
double Truth::WorldPace() const {
    return waits ? 0 : rate / RadioPace();
}

Vec3 Truth::At(const TrueBody& body, int64_t from_ns, int64_t when_ns) {
    const double seconds = static_cast<double>(when_ns - from_ns) / kNanosecondsPerSecond;
    return {.x = body.at.x + body.velocity.x * seconds,
            .y = body.at.y + body.velocity.y * seconds,
            .z = body.at.z + body.velocity.z * seconds};
}

std::string VirtualWorld::Problem() const {
    const std::string world = folder_ + "/world";
    if (access(world.c_str(), R_OK | W_OK) == 0) return "";
    if (errno == EACCES) return world + " is only for root";
    return "no virtual radio: " + world + " is missing";
}

void VirtualWorld::Require() const {
    if (const std::string problem = Problem(); !problem.empty()) {
        throw Failure(kRadioFailed, problem);
    }
}

unsigned VirtualWorld::CountRadios() const {
    std::error_code error;
    unsigned radios = 0;
    while (std::filesystem::is_directory(folder_ + "/radio" + std::to_string(radios), error)) {
        radios++;
    }
    return radios;
}

Truth VirtualWorld::Read() const {
    Require();
    std::vector<std::pair<std::string, Model>> models;
    return ParseTruth(ReadWorld(folder_ + "/world"), &models);
}

void VirtualWorld::Write(const std::string& lines, const std::string& thing) const {
    Require();
    const android::base::unique_fd fd(
        open((folder_ + "/world").c_str(), O_WRONLY | O_CLOEXEC));  // NOLINT(*-vararg)
    // One write is one text, taken whole or not at all.
    if (fd.ok() &&
        write(fd.get(), lines.data(), lines.size()) == static_cast<ssize_t>(lines.size())) {
        return;
    }
    const int error = errno;
    const std::string reason = error == EINVAL   ? "is it there? (dmesg names the line)"
                               : error == ENOSPC ? "there is no room for more"
                                                 : strerror(error);
    throw Failure(error == EINVAL || error == ENOSPC ? kRefused : kRadioFailed,
                  "the virtual radio refuses " + thing + ": " + reason);
}

void VirtualWorld::Load(const Scene& scene) const {
    const std::string what = scene.name.empty() ? "the scene" : "the scene " + scene.name;
    std::string text;
    try {
        for (const std::string& lines : SceneCommands(scene)) {
            if (text.size() + lines.size() > kMaxWrite) {
                Write(text, what);
                text.clear();
            }
            text += lines;
        }
        Write(text, what);
    } catch (const Failure&) {
        // Half a scene is none.
        Write("clear\n", "to be cleared");
        throw;
    }
}

Scene VirtualWorld::Save() const {
    Require();
    std::vector<std::pair<std::string, Model>> models;
    const Truth truth = ParseTruth(ReadWorld(folder_ + "/world"), &models);
    Scene scene{.name = truth.scene,
                .walls = truth.walls,
                .model = truth.model,
                .noise_mm = truth.noise_mm,
                .range_m = truth.range_m,
                .seed = truth.seed,
                .rate = truth.rate,
                .has_fast_blocks = truth.has_fast_blocks,
                .waits = truth.waits};
    for (const TrueBody& body : truth.bodies) {
        Thing& thing = scene.things.emplace_back();
        thing.id = body.id;
        thing.at = body.at;
        const double pace = truth.WorldPace();
        const Vec3& v = body.velocity;
        if (pace > 0) thing.velocity = {.x = v.x / pace, .y = v.y / pace, .z = v.z / pace};
        thing.heading = body.heading;
        thing.has_line_of_sight = body.has_line_of_sight;
        for (const auto& [who, model] : models) {
            if (who == ToText(body.id)) thing.model = model;
        }
    }
    for (const std::string& line : android::base::Split(ReadWorld(folder_ + "/paths"), "\n")) {
        const std::vector<std::string> words = WordsOf(line);
        if (words.size() >= 3) TakePathLine(words, &scene);
    }
    return scene;
}

void VirtualWorld::Move(const ThingId& id, const Vec3& at, const Vec3& velocity) const {
    Write(BodyLine(id, at, velocity), ToText(id));
}

void VirtualWorld::SetHeading(const ThingId& radio, double degrees) const {
    Write(HeadingLine(radio, degrees), ToText(radio));
}

void VirtualWorld::Remove(const ThingId& tag) const {
    Write("remove " + ToText(tag) + "\n", ToText(tag));
}

void VirtualWorld::SetLineOfSight(const ThingId& tag, bool has_line_of_sight) const {
    Write("los " + ToText(tag) + (has_line_of_sight ? " 1\n" : " 0\n"), ToText(tag));
}

void VirtualWorld::SetNoise(int mm) const {
    const std::string text = std::to_string(mm);
    Write("noise " + text + "\n" + (Read().model ? "model * noise " + text + "\n" : ""),
          "noise " + text);
}

void VirtualWorld::SetRange(double metres) const {
    Write("range " + NumberText(metres) + "\n", "range " + NumberText(metres));
}

void VirtualWorld::SetSeed(uint64_t seed) const {
    Write("seed " + std::to_string(seed) + "\n", "seed " + std::to_string(seed));
}

void VirtualWorld::SetRate(double rate, bool has_fast_blocks) const {
    const std::string text = "rate " + RateText(rate, has_fast_blocks);
    Write(text + "\n", text);
}

void VirtualWorld::SetModel(const std::optional<ThingId>& id,
                            const std::optional<Model>& model) const {
    const std::string who = id ? ToText(*id) : "*";
    Write(ModelLines(who, model), who);
}

}  // namespace uwbctl
