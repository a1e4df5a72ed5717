// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/world_desk.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>
#include <limits>

#include "uwbctl/client/client.h"
#include "uwbctl/client/json.h"
#include "uwbctl/client/text.h"
#include "uwbctl/client/units.h"
#include "uwbctl/serve/arguments.h"
#include "uwbctl/serve/note.h"
#include "uwbctl/world/scene_file.h"
#include "uwbctl/world/scene_printer.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Often enough for the eye when pages fill in what is between.
constexpr milliseconds kInterval{100};
// However little happens; positions are not the page's to work out for ever.
constexpr milliseconds kLongest{2000};
// Nearer than that to where pages expect it, a thing is where they expect it.
constexpr double kCloseM = 0.002;
constexpr double kHalfTurn = 180;

ThingId IdOf(const Json& arguments) {
    const auto word = TextOf(arguments, "id");
    const auto id = ParseThingId(word);
    if (!id) throw Failure(kUsage, "neither a tag nor a radio: " + Shortened(word));
    return *id;
}

// Of what is more than nothing, or nothing: less than the radio's unit would be written as nothing.
double AmountOf(const Json& arguments, const char* name, double max) {
    constexpr double kUnit = 1e-6;
    const double number = NumberOf(arguments, name, 0, max);
    if (number != 0 && number < kUnit) RefuseMember(arguments, name, "0, or 0.000001 at least");
    return number;
}

Vec3 PlaceOf(const Json& arguments) {
    const auto metres = [&arguments](const char* name) {
        return NumberOf(arguments, name, -Scene::kMaxMetres, Scene::kMaxMetres);
    };
    return {.x = metres("x"), .y = metres("y"), .z = metres("z")};
}

// What is not said of it is none.
Vec3 VelocityOf(const Json& arguments) {
    const auto speed = [&arguments](const char* name) {
        return arguments.contains(name)
                   ? NumberOf(arguments, name, -Scene::kMaxSpeed, Scene::kMaxSpeed)
                   : 0;
    };
    return {.x = speed("vx"), .y = speed("vy"), .z = speed("vz")};
}

bool AreClose(const Vec3& a, const Vec3& b) {
    return std::abs(a.x - b.x) < kCloseM && std::abs(a.y - b.y) < kCloseM &&
           std::abs(a.z - b.z) < kCloseM;
}

double ToRadians(double degrees) {
    return degrees * M_PI / kHalfTurn;
}

Json ToJson(const TrueBody& body) {
    return {{"id", ToText(body.id)},
            {"x", body.at.x},
            {"y", body.at.y},
            {"z", body.at.z},
            {"vx", body.velocity.x},
            {"vy", body.velocity.y},
            {"vz", body.velocity.z},
            {"heading", ToRadians(body.heading)},
            {"los", body.has_line_of_sight},
            {"lost", body.is_lost},
            {"path", body.is_on_path}};
}

// All that does not move.
Json SettingsOf(const Truth& truth) {
    Json json = {{"scene", truth.scene},
                 {"noise_mm", truth.noise_mm},
                 {"range_m", truth.range_m},
                 {"rate", truth.rate},
                 {"blocks", truth.has_fast_blocks},
                 {"pace", truth.RadioPace()},
                 {"waits", truth.waits},
                 {"seed", truth.seed},
                 {"model", truth.model ? PresetOf(*truth.model) : ""},
                 {"walls", Json::array()}};
    for (const Wall& wall : truth.walls) {
        json["walls"].push_back({{"x1", wall.x1},
                                 {"y1", wall.y1},
                                 {"x2", wall.x2},
                                 {"y2", wall.y2},
                                 {"stops", wall.stops}});
    }
    return json;
}

// The request is UTF-8 or it is not read at all; what else is no text has such characters.
bool IsText(const std::string& text) {
    return std::none_of(text.begin(), text.end(), [](unsigned char c) {
        return iscntrl(c) != 0 && c != '\t' && c != '\n' && c != '\r';
    });
}

// The first ones; those after them often come of them.
std::string MistakesText(const std::vector<SceneMistake>& mistakes) {
    constexpr size_t kMost = 3;
    std::string text;
    for (size_t i = 0; i < std::min(mistakes.size(), kMost); i++) {
        const auto& [line, word, why] = mistakes[i];
        text += (i == 0 ? "line " : "; line ") + std::to_string(line) + ": " + word + ": " + why;
    }
    if (mistakes.size() <= kMost) return text;
    return text + "; and " + std::to_string(mistakes.size() - kMost) + " more";
}

std::string WorldJson(const Truth& truth, Json settings) {
    settings["t"] = truth.time_ns;
    settings["bodies"] = Json::array();
    for (const TrueBody& body : truth.bodies) settings["bodies"].push_back(ToJson(body));
    return JsonText(settings);
}

}  // namespace

Json WorldDesk::Command(const std::string& name, const Json& arguments) {
    world_.Require();
    has_changed_ = true;
    history_.Forget();
    return RunVerb(Commands(), name, arguments, this);
}

const Verbs<WorldDesk>& WorldDesk::Commands() {
    static const Verbs<WorldDesk> commands = {
        {"world/move", {{"id", "x", "y", "z", "vx", "vy", "vz"}, Doing(&WorldDesk::Move)}},
        {"world/heading", {{"id", "degrees"}, Doing([](auto* desk, auto& how) {
                               desk->world_.SetHeading(
                                   IdOf(how), NumberOf(how, "degrees", -kHalfTurn, kHalfTurn));
                           })}},
        {"world/remove", {{"id"}, Doing([](auto* desk, auto& how) {
                              desk->world_.Remove(IdOf(how));
                              desk->Note("tag " + ToText(IdOf(how)) + " removed");
                          })}},
        {"world/sight", {{"id", "clear"}, Doing([](auto* desk, auto& how) {
                             desk->world_.SetLineOfSight(IdOf(how), FlagOf(how, "clear"));
                         })}},
        {"world/noise", {{"mm"}, Doing([](auto* desk, auto& how) {
                             const uint64_t mm = WholeNumberOf(how, "mm", Scene::kMaxNoiseMm);
                             desk->world_.SetNoise(static_cast<int>(mm));
                         })}},
        {"world/range", {{"m"}, Doing([](auto* desk, auto& how) {
                             const double metres = AmountOf(how, "m", Scene::kMaxRange);
                             desk->world_.SetRange(metres);
                             desk->Note("range " + NumberText(metres) + " m");
                         })}},
        {"world/rate", {{"rate", "blocks"}, Doing(&WorldDesk::SetRate)}},
        {"world/seed", {{"seed"}, Doing([](auto* desk, auto& how) {
                            constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
                            desk->world_.SetSeed(WholeNumberOf(how, "seed", kMax));
                        })}},
        {"world/model", {{"id", "model"}, Doing(&WorldDesk::SetModel)}},
        {"world/load", {{"name", "text"}, Doing(&WorldDesk::Load)}},
        {"world/save",
         {{},
          [](WorldDesk* desk, const Json& /*none*/) {
              return Json{{"scene", PrintScene(desk->world_.Save())}};
          }}},
    };
    return commands;
}

void WorldDesk::Note(const std::string& text) {
    PublishNote(log_, Tone::kInfo, text);
}

// Told of those that come; not of each step of a drag.
void WorldDesk::Move(const Json& arguments) {
    const ThingId id = IdOf(arguments);
    const Vec3 at = PlaceOf(arguments);
    const Vec3 velocity = VelocityOf(arguments);
    const bool is_new = world_.Read().Find(id) == nullptr;
    world_.Move(id, at, velocity);
    if (is_new) Note("tag " + ToText(id) + " added");
}

void WorldDesk::SetRate(const Json& arguments) {
    const bool blocks = arguments.contains("blocks") && FlagOf(arguments, "blocks");
    const double rate = AmountOf(arguments, "rate", Scene::kMaxRate);
    world_.SetRate(rate, blocks);
    Note(rate == 0 ? "the world stands still"
                   : "world speed " + NumberText(rate) + (blocks ? ", radios as fast" : ""));
}

void WorldDesk::Load(const Json& arguments) {
    const unsigned radios = world_.CountRadios();
    const auto load = [this](const Scene& scene, const std::string& title) {
        world_.Load(scene);
        Note((scene.name.empty() ? "a scene" : "scene " + scene.name) + " loaded" +
             (title.empty() ? "" : ": " + title));
    };
    if (!arguments.contains("text")) {
        const auto name = TextOf(arguments, "name");
        // By name alone: a page has no business with other files.
        const auto scenes = ListScenes();
        const auto found = std::find_if(scenes.begin(), scenes.end(),
                                        [&name](const auto& scene) { return scene.name == name; });
        if (found == scenes.end()) throw Failure(kUsage, "there is no scene " + Shortened(name));
        load(ReadSceneFile(found->path, radios), found->title);
        return;
    }
    const std::string text = TextOf(arguments, "text");
    if (!IsText(text)) throw Failure(kUsage, "not a text");
    ParsedScene parsed = ParseScene(text, radios);
    if (!parsed.mistakes.empty()) throw Failure(kUsage, MistakesText(parsed.mistakes));
    // It would take everything away, which nobody opens a file for.
    if (PrintScene(parsed.scene) == PrintScene(Scene{})) {
        throw Failure(kUsage, "there is nothing in it");
    }
    parsed.scene.name = SceneName(TextOf(arguments, "name", ""));
    load(parsed.scene, SceneTitle(text));
}

void WorldDesk::SetModel(const Json& arguments) {
    const auto name = TextOf(arguments, "model");
    std::optional<Model> model;
    if (!name.empty()) {
        const ModelPreset* preset = FindModelPreset(name);
        if (preset == nullptr) throw Failure(kUsage, "there is no error model " + Shortened(name));
        model = preset->model;
    }
    const auto id = arguments.contains("id") ? std::optional(IdOf(arguments)) : std::nullopt;
    world_.SetModel(id, model);
    Note("errors" + (id ? " of " + ToText(*id) : "") + ": " + (model ? name : "noise alone"));
}

std::optional<TrueBody> WorldDesk::At(const ThingId& id, int64_t when_ns) {
    if (!is_there()) return std::nullopt;
    try {
        return history_.At(id, when_ns);
    } catch (const Failure&) {
        return std::nullopt;  // The driver may be on its way out; what was measured stands.
    }
}

std::optional<TrueBody> WorldDesk::Now(const ThingId& id) {
    if (!is_there()) return std::nullopt;
    try {
        const TrueBody* body = history_.Look().Find(id);
        return body == nullptr ? std::nullopt : std::optional(*body);
    } catch (const Failure&) {
        return std::nullopt;
    }
}

std::optional<PeerTruth> WorldDesk::Of(const ThingId& radio, const ThingId& peer, int64_t when_ns) {
    const auto from = At(radio, when_ns);
    const auto to = At(peer, when_ns);
    if (!from || !to) return std::nullopt;
    const double x = to->at.x - from->at.x;
    const double y = to->at.y - from->at.y;
    const double flat = std::hypot(x, y);
    const double turn = std::atan2(x, y) - ToRadians(from->heading);
    // In front and behind look the same to a pair of antennas.
    return PeerTruth{.thing = ToText(peer),
                     .distance_mm = Distance(from->at, to->at) * kMillimetresPerMetre,
                     .azimuth_rad = std::atan2(std::sin(turn), std::abs(std::cos(turn))),
                     .elevation_rad = std::atan2(to->at.z - from->at.z, flat)};
}

// Whether pages that go on in straight lines from what they were told are right.
bool WorldDesk::IsFollowed(const Truth& truth) const {
    if (!told_ || has_changed_ || truth.bodies.size() != told_->bodies.size()) return false;
    return std::equal(truth.bodies.begin(), truth.bodies.end(), told_->bodies.begin(),
                      [&](const TrueBody& now, const TrueBody& then) {
                          return now.id == then.id && now.is_lost == then.is_lost &&
                                 now.has_line_of_sight == then.has_line_of_sight &&
                                 now.is_on_path == then.is_on_path && now.heading == then.heading &&
                                 AreClose(now.velocity, then.velocity) &&
                                 AreClose(now.at, Truth::At(then, told_->time_ns, truth.time_ns));
                      }) &&
           JsonText(SettingsOf(truth)) == told_settings_;
}

void WorldDesk::Tick() {
    const auto now = steady_clock::now();
    if (!is_there() || now - looked_time_ < kInterval) return;
    looked_time_ = now;
    try {
        const Truth& truth = history_.Look();
        const bool is_at_rest =
            std::all_of(truth.bodies.begin(), truth.bodies.end(),
                        [](const TrueBody& body) { return AreClose(body.velocity, Vec3{}); });
        if (!IsFollowed(truth) || (now - told_time_ >= kLongest && !is_at_rest)) Publish(truth);
    } catch (const Failure&) {
        return;  // The driver may be on its way out; the next look tells.
    }
}

void WorldDesk::Publish(const Truth& truth) {
    const Json settings = SettingsOf(truth);
    log_->Keep("world", WorldJson(truth, settings));
    told_ = truth;
    told_settings_ = JsonText(settings);
    told_time_ = steady_clock::now();
    has_changed_ = false;
}

std::vector<std::string> WorldDesk::Tags() {
    constexpr uint64_t kMaxShortAddress = 0xFFFF;
    std::vector<std::string> tags;
    if (!is_there()) return tags;
    for (const TrueBody& body : world_.Read().bodies) {
        if (body.id.kind == ThingId::Kind::kTag && body.id.number <= kMaxShortAddress) {
            tags.push_back(ToText(body.id));
        }
    }
    return tags;
}

}  // namespace uwbctl
