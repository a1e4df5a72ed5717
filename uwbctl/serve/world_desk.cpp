// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/world_desk.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "uwbctl/client/client.h"
#include "uwbctl/client/json.h"
#include "uwbctl/client/units.h"
#include "uwbctl/serve/arguments.h"
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
    if (!id) throw Failure(kUsage, "neither a tag nor a radio: " + word);
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
    // What has no answer has an empty one.
    const auto doing = [](const std::function<void(WorldDesk*, const Json&)>& run) {
        return [run](WorldDesk* desk, const Json& arguments) {
            run(desk, arguments);
            return Json::object();
        };
    };
    static const Verbs<WorldDesk> commands = {
        {"world/move", {{"id", "x", "y", "z", "vx", "vy", "vz"}, doing([](auto* desk, auto& how) {
                            desk->world_.Move(IdOf(how), PlaceOf(how), VelocityOf(how));
                        })}},
        {"world/heading", {{"id", "degrees"}, doing([](auto* desk, auto& how) {
                               desk->world_.SetHeading(
                                   IdOf(how), NumberOf(how, "degrees", -kHalfTurn, kHalfTurn));
                           })}},
        {"world/remove",
         {{"id"}, doing([](auto* desk, auto& how) { desk->world_.Remove(IdOf(how)); })}},
        {"world/sight", {{"id", "clear"}, doing([](auto* desk, auto& how) {
                             desk->world_.SetLineOfSight(IdOf(how), FlagOf(how, "clear"));
                         })}},
        {"world/noise", {{"mm"}, doing([](auto* desk, auto& how) {
                             const uint64_t mm = WholeNumberOf(how, "mm", Scene::kMaxNoiseMm);
                             desk->world_.SetNoise(static_cast<int>(mm));
                         })}},
        {"world/range", {{"m"}, doing([](auto* desk, auto& how) {
                             desk->world_.SetRange(AmountOf(how, "m", Scene::kMaxRange));
                         })}},
        {"world/rate", {{"rate", "blocks"}, doing([](auto* desk, auto& how) {
                            const bool blocks = how.contains("blocks") && FlagOf(how, "blocks");
                            desk->world_.SetRate(AmountOf(how, "rate", Scene::kMaxRate), blocks);
                        })}},
        {"world/seed", {{"seed"}, doing([](auto* desk, auto& how) {
                            constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
                            desk->world_.SetSeed(WholeNumberOf(how, "seed", kMax));
                        })}},
        {"world/model",
         {{"id", "model"}, doing([](auto* desk, auto& how) { desk->SetModel(how); })}},
        {"world/load", {{"name", "text"}, doing([](auto* desk, auto& how) { desk->Load(how); })}},
        {"world/save",
         {{},
          [](WorldDesk* desk, const Json& /*none*/) {
              return Json{{"scene", PrintScene(desk->world_.Save())}};
          }}},
    };
    return commands;
}

void WorldDesk::Load(const Json& arguments) {
    const unsigned radios = world_.CountRadios();
    if (!arguments.contains("text")) {
        const auto name = TextOf(arguments, "name");
        // By name alone: a page has no business with other files.
        const auto scenes = ListScenes();
        const auto found = std::find_if(scenes.begin(), scenes.end(),
                                        [&name](const auto& scene) { return scene.name == name; });
        if (found == scenes.end()) throw Failure(kUsage, "there is no scene " + name);
        world_.Load(ReadSceneFile(found->path, radios));
        return;
    }
    const ParsedScene parsed = ParseScene(TextOf(arguments, "text"), radios);
    std::string mistakes;
    for (const SceneMistake& mistake : parsed.mistakes) {
        mistakes += (mistakes.empty() ? "line " : "; line ") + std::to_string(mistake.line) + ": " +
                    mistake.word + ": " + mistake.why;
    }
    if (!mistakes.empty()) throw Failure(kUsage, mistakes);
    world_.Load(parsed.scene);
}

void WorldDesk::SetModel(const Json& arguments) {
    const auto name = TextOf(arguments, "model");
    std::optional<Model> model;
    if (!name.empty()) {
        const ModelPreset* preset = FindModelPreset(name);
        if (preset == nullptr) throw Failure(kUsage, "there is no error model " + name);
        model = preset->model;
    }
    world_.SetModel(arguments.contains("id") ? std::optional(IdOf(arguments)) : std::nullopt,
                    model);
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
