// SPDX-License-Identifier: Apache-2.0
#include <android-base/stringprintf.h>
#include <android-base/strings.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "uwbctl/client/text.h"
#include "uwbctl/world/scene_file.h"
#include "uwbctl/world/scene_words.h"

namespace uwbctl {
namespace {

using android::base::StringPrintf;
using Kind = ThingId::Kind;

// What the virtual radio has room for.
constexpr unsigned kMaxRadios = 8;
constexpr size_t kMaxTags = 64;
constexpr size_t kMaxWalls = 64;
constexpr size_t kMaxPoints = 65536;
constexpr double kMaxMetres = Scene::kMaxMetres;
constexpr double kMaxSpeed = Scene::kMaxSpeed;
constexpr double kMaxSeconds = Scene::kMaxSeconds;
constexpr double kMaxRange = Scene::kMaxRange;
constexpr double kMaxRate = Scene::kMaxRate;
constexpr double kHomeStep = 2;
constexpr double kHalfTurn = 180;

class Parser {
  public:
    explicit Parser(std::optional<unsigned> radios) : radios_(radios) {}

    ParsedScene Parse(const std::string& text);

  private:
    struct LineKind {
        const char* name;
        void (Parser::*parse)(SceneWords*);
    };
    static const LineKind kLines[];

    void ParseLine(std::vector<std::string> words);
    void ParseRadio(SceneWords* words);
    void ParseTag(SceneWords* words);
    void ParseHeading(SceneWords* words);
    void ParseLos(SceneWords* words);
    void ParseRemove(SceneWords* words);
    void ParsePath(SceneWords* words);
    void ParseWalk(SceneWords* words);
    void ParseModel(SceneWords* words);
    void ParseWall(SceneWords* words);
    void ParseRange(SceneWords* words) { scene_.range_m = words->Amount(kMaxRange, "metres"); }
    void ParseNoise(SceneWords* words);
    void ParseSeed(SceneWords* words) { scene_.seed = words->Whole("a seed"); }
    void ParseRate(SceneWords* words) {
        scene_.rate = words->Amount(kMaxRate, "a factor");
        scene_.has_fast_blocks = words->TakeIf("blocks");
    }
    void ParseWait(SceneWords* /*words*/) { scene_.waits = true; }
    void ParseClear(SceneWords* /*words*/) {
        scene_ = {};
        placed_.clear();
    }

    ThingId CheckRadio(const std::string& word, uint64_t number) const;
    ThingId TakeAddress(SceneWords* words);
    ThingId TakeThing(SceneWords* words);
    Thing* Existing(const ThingId& id, const std::string& word);
    Thing* Make(const ThingId& id, const Vec3& at);
    void Place(const ThingId& id, const std::string& word, SceneWords* words);
    static void AddPoint(const std::string& word, Waypoint point, Path* path);
    void SetPath(const ThingId& id, Path path);

    const std::optional<unsigned> radios_;
    Scene scene_;
    // Those that have a line that puts them somewhere.
    std::vector<ThingId> placed_;
};

const Parser::LineKind Parser::kLines[] = {
    {"radio", &Parser::ParseRadio},     {"tag", &Parser::ParseTag},
    {"los", &Parser::ParseLos},         {"remove", &Parser::ParseRemove},
    {"heading", &Parser::ParseHeading}, {"path", &Parser::ParsePath},
    {"walk", &Parser::ParseWalk},       {"model", &Parser::ParseModel},
    {"wall", &Parser::ParseWall},       {"range", &Parser::ParseRange},
    {"noise", &Parser::ParseNoise},     {"seed", &Parser::ParseSeed},
    {"rate", &Parser::ParseRate},       {"wait", &Parser::ParseWait},
    {"clear", &Parser::ParseClear},
};

ParsedScene Parser::Parse(const std::string& text) {
    std::vector<SceneMistake> mistakes;
    int number = 0;
    for (const std::string& line : android::base::Split(text, "\n")) {
        number++;
        std::vector<std::string> words = android::base::Tokenize(line, " \t\r");
        const auto comment = std::find_if(words.begin(), words.end(), [](const std::string& word) {
            return word.front() == '#';
        });
        words.erase(comment, words.end());
        if (words.empty()) continue;
        try {
            ParseLine(std::move(words));
        } catch (const WrongWord& wrong) {
            mistakes.push_back({.line = number, .word = Shortened(wrong.word), .why = wrong.why});
        }
    }
    return {.scene = std::move(scene_), .mistakes = std::move(mistakes)};
}

void Parser::ParseLine(std::vector<std::string> all) {
    SceneWords words(std::move(all));
    const std::string& name = words.Take("");
    for (const LineKind& kind : kLines) {
        if (name != kind.name) continue;
        (this->*kind.parse)(&words);
        words.End();
        return;
    }
    std::vector<std::string> names;
    for (const LineKind& kind : kLines) names.emplace_back(kind.name);
    throw WrongWord{name, "no such line" + LikeText(name, names)};
}

// ---- Things ----

ThingId Parser::CheckRadio(const std::string& word, uint64_t number) const {
    const unsigned radios = radios_.value_or(kMaxRadios);
    if (number < radios) return {.kind = Kind::kRadio, .number = number};
    throw WrongWord{word, "no such radio: there are " + std::to_string(radios) + ", from 0 on"};
}

ThingId Parser::TakeAddress(SceneWords* words) {
    const std::string& word = words->Take("an address, such as 0x1234");
    const auto id = ParseThingId(word);
    if (!id || id->kind != Kind::kTag) throw WrongWord{word, "not an address, such as 0x1234"};
    return *id;
}

ThingId Parser::TakeThing(SceneWords* words) {
    const std::string& word = words->Take("an address, such as 0x1234, or radio0");
    const auto id = ParseThingId(word);
    if (!id)
        throw WrongWord{word, "neither an address, such as 0x1234, nor a radio, such as radio0"};
    return id->kind == Kind::kRadio ? CheckRadio(word, id->number) : *id;
}

Thing* Parser::Existing(const ThingId& id, const std::string& word) {
    if (Thing* thing = const_cast<Thing*>(FindThing(scene_, id))) return thing;
    // A radio is there without being told where.
    if (id.kind == Kind::kRadio) {
        return Make(id, {.x = 0, .y = kHomeStep * static_cast<double>(id.number), .z = 0});
    }
    throw WrongWord{word, "no such tag in the lines above"};
}

Thing* Parser::Make(const ThingId& id, const Vec3& at) {
    Thing* thing = const_cast<Thing*>(FindThing(scene_, id));
    if (thing == nullptr) {
        const auto tags = std::count_if(scene_.things.begin(), scene_.things.end(),
                                        [](const Thing& it) { return it.id.kind == Kind::kTag; });
        if (id.kind == Kind::kTag && static_cast<size_t>(tags) == kMaxTags) {
            throw WrongWord{ToText(id), "more than 64 tags"};
        }
        thing = &scene_.things.emplace_back();
        thing->id = id;
    }
    thing->at = at;
    thing->velocity = {};
    thing->path.reset();
    return thing;
}

void Parser::Place(const ThingId& id, const std::string& word, SceneWords* words) {
    const Vec3 at = words->Place();
    const Vec3 velocity = words->is_empty() ? Vec3{} : words->Velocity();
    words->End();
    if (std::find(placed_.begin(), placed_.end(), id) != placed_.end()) {
        throw WrongWord{word, "is in a line above already"};
    }
    Make(id, at)->velocity = velocity;
    placed_.push_back(id);
}

void Parser::ParseRadio(SceneWords* words) {
    const std::string word = words->Take("a radio's number");
    const auto id = ParseThingId("radio" + word);
    if (!id) throw WrongWord{word, "not a radio's number"};
    Place(CheckRadio(word, id->number), word, words);
}

void Parser::ParseTag(SceneWords* words) {
    const std::string word = words->is_empty() ? "" : words->Peek();
    Place(TakeAddress(words), word, words);
}

void Parser::ParseHeading(SceneWords* words) {
    const std::string word = words->is_empty() ? "" : words->Peek();
    const ThingId id = TakeThing(words);
    if (id.kind != Kind::kRadio) throw WrongWord{word, "not a radio: tags look nowhere"};
    Existing(id, word)->heading = words->Number(-kHalfTurn, kHalfTurn, "degrees");
}

void Parser::ParseLos(SceneWords* words) {
    const ThingId id = TakeAddress(words);
    Thing* thing = Existing(id, ToText(id));
    const std::string& word = words->Take("0 or 1");
    if (word != "0" && word != "1") throw WrongWord{word, "neither 0 nor 1"};
    thing->has_line_of_sight = word == "1";
}

void Parser::ParseRemove(SceneWords* words) {
    const ThingId id = TakeAddress(words);
    Existing(id, ToText(id));
    std::erase_if(scene_.things, [&id](const Thing& thing) { return thing.id == id; });
    std::erase(placed_, id);
}

// ---- Paths ----

void Parser::AddPoint(const std::string& word, Waypoint point, Path* path) {
    if (path->points.size() == kMaxPoints) throw WrongWord{word, "more than 65536 points"};
    point.seconds = Rounded(point.seconds);
    if (point.seconds > kMaxSeconds) throw WrongWord{word, "more than 1000000 seconds"};
    if (!path->points.empty()) {
        const Waypoint& before = path->points.back();
        const double seconds = point.seconds - before.seconds;
        if (seconds <= 0) {
            throw WrongWord{word, StringPrintf("not after %.10g: times must rise", before.seconds)};
        }
        if (const double speed = Distance(before.at, point.at) / seconds; speed > kMaxSpeed) {
            throw WrongWord{word,
                            StringPrintf("too soon: that would be %.0f metres a second, 1000 at "
                                         "most",
                                         speed)};
        }
    }
    path->points.push_back(point);
}

void Parser::SetPath(const ThingId& id, Path path) {
    Make(id, path.points.front().at)->path = std::move(path);
}

Sight TakeSight(SceneWords* words) {
    if (words->TakeIf("nlos")) return Sight::kBlocked;
    if (words->TakeIf("lost")) return Sight::kLost;
    words->TakeIf("los");
    return Sight::kClear;
}

// path WHO [once] T X Y Z [nlos|lost] ...
void Parser::ParsePath(SceneWords* words) {
    const ThingId id = TakeThing(words);
    Path path;
    path.is_loop = !words->TakeIf("once");
    do {
        const std::string word = words->Take("seconds, and a place: T X Y Z");
        Waypoint point;
        SceneWords seconds({word});
        point.seconds = seconds.Number(0, kMaxSeconds, "seconds");
        point.at = words->Place();
        point.sight = TakeSight(words);
        AddPoint(word, point, &path);
    } while (!words->is_empty());
    SetPath(id, std::move(path));
}

// walk WHO [once] speed V X Y Z [nlos|lost] ... with "speed V" and "pause S" in between
void Parser::ParseWalk(SceneWords* words) {
    const ThingId id = TakeThing(words);
    Path path;
    path.is_loop = !words->TakeIf("once");
    double speed = 0;
    double seconds = 0;
    const auto go = [&](const std::string& word, const Vec3& to, Sight sight) {
        if (speed <= 0) throw WrongWord{word, "how fast? speed V comes first"};
        double takes = 0;
        if (!path.points.empty()) takes = Distance(path.points.back().at, to) / speed;
        // Two places in one are one point.
        if (!path.points.empty() && Rounded(takes) <= 0) {
            path.points.back().sight = sight;
            return;
        }
        AddPoint(word, {.seconds = seconds += takes, .at = to, .sight = sight}, &path);
    };
    while (!words->is_empty()) {
        const std::string word = words->Peek();
        if (words->TakeIf("speed")) {
            speed = words->Number(0.001, kMaxSpeed, "metres a second");
        } else if (words->TakeIf("pause")) {
            if (path.points.empty()) throw WrongWord{word, "where? a place comes first"};
            seconds += words->Number(0.001, kMaxSeconds, "seconds");
            Waypoint still = path.points.back();
            still.seconds = seconds;
            AddPoint(word, still, &path);
        } else {
            const Vec3 to = words->Place();
            go(word, to, TakeSight(words));
        }
    }
    if (path.points.empty()) words->Take("speed V, and places: X Y Z");
    if (path.is_loop && path.points.size() > 1) {
        go("walk", path.points.front().at, path.points.front().sight);
    }
    SetPath(id, std::move(path));
}

// ---- What goes wrong ----

const ModelKey& TakeModelKey(SceneWords* words) {
    const std::string name = words->Take("a preset, or keys with values");
    if (const ModelKey* key = FindModelKey(name)) return *key;
    std::vector<std::string> known;
    for (const ModelKey& key : ModelKeys()) known.emplace_back(key.name);
    for (const ModelPreset& preset : ModelPresets()) known.emplace_back(preset.name);
    throw WrongWord{name, "neither a preset nor a key of a model" + LikeText(name, known)};
}

// model [WHO] [PRESET] [KEY VALUE] ...
void Parser::ParseModel(SceneWords* words) {
    std::optional<Model>* model = &scene_.model;
    if (!words->is_empty() && ParseThingId(words->Peek())) {
        const std::string word = words->Peek();
        model = &Existing(TakeThing(words), word)->model;
    }
    // Keys alone change what there is.
    Model changed = model->value_or(scene_.model.value_or(Model{}));
    const ModelPreset* preset = words->is_empty() ? nullptr : FindModelPreset(words->Peek());
    if (preset != nullptr) {
        words->Take("");
        changed = preset->model;
    }
    while (preset == nullptr || !words->is_empty()) {
        const ModelKey& key = TakeModelKey(words);
        changed[key.name] =
            words->Number(key.min, key.max, *key.unit != '\0' ? key.unit : "number");
        if (words->is_empty()) break;
    }
    *model = std::move(changed);
}

void Parser::ParseWall(SceneWords* words) {
    const auto metres = [words] { return words->Number(-kMaxMetres, kMaxMetres, "metres"); };
    Wall wall;
    wall.x1 = metres();
    wall.y1 = metres();
    wall.x2 = metres();
    wall.y2 = metres();
    wall.stops = words->TakeIf("stops");
    if (scene_.walls.size() == kMaxWalls) throw WrongWord{"wall", "more than 64 walls"};
    scene_.walls.push_back(wall);
}

void Parser::ParseNoise(SceneWords* words) {
    const std::string word = words->is_empty() ? "" : words->Peek();
    const double mm = words->Number(0, Scene::kMaxNoiseMm, "millimetres");
    if (mm != std::floor(mm)) throw WrongWord{word, "not a whole number (millimetres)"};
    scene_.noise_mm = static_cast<int>(mm);
}

}  // namespace

ParsedScene ParseScene(const std::string& text, std::optional<unsigned> radios) {
    return Parser(radios).Parse(text);
}

}  // namespace uwbctl
