// SPDX-License-Identifier: Apache-2.0
#include <android-base/parseint.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>
#include <utility>

#include "uwbctl/client/text.h"
#include "uwbctl/world/scene_file.h"

namespace uwbctl {
namespace {

using android::base::StringPrintf;
using Kind = ThingId::Kind;

// What the virtual radio has room for.
constexpr unsigned kMaxRadios = 8;
constexpr size_t kMaxTags = 64;
constexpr size_t kMaxWalls = 64;
constexpr size_t kMaxPoints = 65536;
constexpr double kMaxMetres = 50000;
constexpr double kMaxSpeed = 1000;
constexpr double kMaxSeconds = 1e6;
constexpr double kMaxRange = 200000;
constexpr double kMaxNoiseMm = 10000;
constexpr double kMaxRate = 3600;
constexpr double kHomeStep = 2;

// What is wrong with a line; the first such thing ends the line.
struct Wrong {
    std::string word;
    std::string why;
};

// The words of one line, taken one by one.
class Words {
  public:
    explicit Words(std::vector<std::string> words) : words_(std::move(words)) {}

    bool is_empty() const { return next_ == words_.size(); }
    const std::string& Peek() const { return words_[next_]; }
    const std::string& Take(const char* expected) {
        if (is_empty()) throw Wrong{words_.back(), std::string("what follows? ") + expected};
        return words_[next_++];
    }
    bool TakeIf(const char* word) {
        const bool is_it = !is_empty() && Peek() == word;
        if (is_it) next_++;
        return is_it;
    }
    void End() const {
        if (!is_empty()) throw Wrong{Peek(), "one word too many"};
    }

    double Number(double min, double max, const char* what) {
        const std::string& word = Take(what);
        double value = 0;
        const char* begin = word.c_str() + (word.front() == '+' ? 1 : 0);
        const char* end = word.c_str() + word.size();
        const auto [rest, error] = std::from_chars(begin, end, value, std::chars_format::fixed);
        // "inf" and "nan" are words.
        if (error != std::errc() || rest != end || !std::isfinite(value)) {
            throw Wrong{word, std::string("not a number (") + what + ")"};
        }
        if (value < min || value > max) {
            throw Wrong{word, StringPrintf("%s: from %.10g to %.10g", what, min, max)};
        }
        return value;
    }
    uint64_t Whole(const char* what) {
        const std::string& word = Take(what);
        uint64_t value = 0;
        if (word.front() == '-' || !android::base::ParseUint(word, &value)) {
            throw Wrong{word, std::string("not a whole number (") + what + ")"};
        }
        return value;
    }
    Vec3 Place() {
        const auto metres = [this] { return Number(-kMaxMetres, kMaxMetres, "metres"); };
        Vec3 place;
        place.x = metres();
        place.y = metres();
        place.z = metres();
        return place;
    }
    Vec3 Velocity() {
        const auto speed = [this] { return Number(-kMaxSpeed, kMaxSpeed, "metres a second"); };
        Vec3 velocity;
        velocity.x = speed();
        velocity.y = speed();
        velocity.z = speed();
        return velocity;
    }

  private:
    std::vector<std::string> words_;
    size_t next_ = 0;
};

double Distance(const Vec3& a, const Vec3& b) {
    return std::hypot(b.x - a.x, b.y - a.y, b.z - a.z);
}

class Parser {
  public:
    explicit Parser(std::optional<unsigned> radios) : radios_(radios) {}

    ParsedScene Parse(const std::string& text);

  private:
    struct LineKind {
        const char* name;
        void (Parser::*parse)(Words*);
    };
    static const LineKind kLines[];

    void ParseLine(std::vector<std::string> words);
    void ParseRadio(Words* words);
    void ParseTag(Words* words);
    void ParseLos(Words* words);
    void ParseRemove(Words* words);
    void ParsePath(Words* words);
    void ParseWalk(Words* words);
    void ParseModel(Words* words);
    void ParseWall(Words* words);
    void ParseRange(Words* words) { scene_.range_m = words->Number(0, kMaxRange, "metres"); }
    void ParseNoise(Words* words);
    void ParseSeed(Words* words) { scene_.seed = words->Whole("a seed"); }
    void ParseRate(Words* words) { scene_.rate = words->Number(0, kMaxRate, "a factor"); }
    void ParseWait(Words* /*words*/) { scene_.waits = true; }
    void ParseClear(Words* /*words*/) { scene_ = {}; }

    ThingId CheckRadio(const std::string& word, uint64_t number) const;
    ThingId TakeAddress(Words* words);
    ThingId TakeThing(Words* words);
    Thing* Existing(const ThingId& id, const std::string& word);
    Thing* Make(const ThingId& id, const Vec3& at);
    void Place(const ThingId& id, Words* words);
    static void AddPoint(const std::string& word, Waypoint point, Path* path);
    void SetPath(const ThingId& id, Path path);

    const std::optional<unsigned> radios_;
    Scene scene_;
};

const Parser::LineKind Parser::kLines[] = {
    {"radio", &Parser::ParseRadio}, {"tag", &Parser::ParseTag},
    {"los", &Parser::ParseLos},     {"remove", &Parser::ParseRemove},
    {"path", &Parser::ParsePath},   {"walk", &Parser::ParseWalk},
    {"model", &Parser::ParseModel}, {"wall", &Parser::ParseWall},
    {"range", &Parser::ParseRange}, {"noise", &Parser::ParseNoise},
    {"seed", &Parser::ParseSeed},   {"rate", &Parser::ParseRate},
    {"wait", &Parser::ParseWait},   {"clear", &Parser::ParseClear},
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
        } catch (const Wrong& wrong) {
            mistakes.push_back({.line = number, .word = wrong.word, .why = wrong.why});
        }
    }
    return {.scene = std::move(scene_), .mistakes = std::move(mistakes)};
}

void Parser::ParseLine(std::vector<std::string> all) {
    Words words(std::move(all));
    const std::string& name = words.Take("");
    for (const LineKind& kind : kLines) {
        if (name != kind.name) continue;
        (this->*kind.parse)(&words);
        words.End();
        return;
    }
    std::vector<std::string> names;
    for (const LineKind& kind : kLines) names.emplace_back(kind.name);
    const std::string nearest = Nearest(name, names);
    throw Wrong{name, "no such line" + (nearest.empty() ? "" : "; did you mean " + nearest + "?")};
}

// ---- Things ----

ThingId Parser::CheckRadio(const std::string& word, uint64_t number) const {
    const unsigned radios = radios_.value_or(kMaxRadios);
    if (number < radios) return {.kind = Kind::kRadio, .number = number};
    throw Wrong{word, "no such radio: there are " + std::to_string(radios) + ", from 0 on"};
}

ThingId Parser::TakeAddress(Words* words) {
    const std::string& word = words->Take("an address, such as 0x1234");
    const auto id = ParseThingId(word);
    if (!id || id->kind != Kind::kTag) throw Wrong{word, "not an address, such as 0x1234"};
    return *id;
}

ThingId Parser::TakeThing(Words* words) {
    const std::string& word = words->Take("an address, such as 0x1234, or radio0");
    const auto id = ParseThingId(word);
    if (!id) throw Wrong{word, "neither an address, such as 0x1234, nor a radio, such as radio0"};
    return id->kind == Kind::kRadio ? CheckRadio(word, id->number) : *id;
}

Thing* Parser::Existing(const ThingId& id, const std::string& word) {
    if (Thing* thing = const_cast<Thing*>(FindThing(scene_, id))) return thing;
    // A radio is there without being told where.
    if (id.kind == Kind::kRadio) {
        return Make(id, {.x = 0, .y = kHomeStep * static_cast<double>(id.number), .z = 0});
    }
    throw Wrong{word, "no such tag in the lines above"};
}

Thing* Parser::Make(const ThingId& id, const Vec3& at) {
    Thing* thing = const_cast<Thing*>(FindThing(scene_, id));
    if (thing == nullptr) {
        const auto tags = std::count_if(scene_.things.begin(), scene_.things.end(),
                                        [](const Thing& it) { return it.id.kind == Kind::kTag; });
        if (id.kind == Kind::kTag && static_cast<size_t>(tags) == kMaxTags) {
            throw Wrong{ToText(id), "more than 64 tags"};
        }
        thing = &scene_.things.emplace_back();
        thing->id = id;
    }
    thing->at = at;
    thing->velocity = {};
    thing->path.reset();
    return thing;
}

void Parser::Place(const ThingId& id, Words* words) {
    const Vec3 at = words->Place();
    const Vec3 velocity = words->is_empty() ? Vec3{} : words->Velocity();
    words->End();
    Make(id, at)->velocity = velocity;
}

void Parser::ParseRadio(Words* words) {
    const std::string word = words->Take("a radio's number");
    const auto id = ParseThingId("radio" + word);
    if (!id) throw Wrong{word, "not a radio's number"};
    Place(CheckRadio(word, id->number), words);
}

void Parser::ParseTag(Words* words) {
    Place(TakeAddress(words), words);
}

void Parser::ParseLos(Words* words) {
    const ThingId id = TakeAddress(words);
    Thing* thing = Existing(id, ToText(id));
    const std::string& word = words->Take("0 or 1");
    if (word != "0" && word != "1") throw Wrong{word, "neither 0 nor 1"};
    thing->has_line_of_sight = word == "1";
}

void Parser::ParseRemove(Words* words) {
    const ThingId id = TakeAddress(words);
    Existing(id, ToText(id));
    std::erase_if(scene_.things, [&id](const Thing& thing) { return thing.id == id; });
}

// ---- Paths ----

void Parser::AddPoint(const std::string& word, Waypoint point, Path* path) {
    if (path->points.size() == kMaxPoints) throw Wrong{word, "more than 65536 points"};
    if (!path->points.empty()) {
        const Waypoint& before = path->points.back();
        const double seconds = point.seconds - before.seconds;
        if (seconds <= 0) {
            throw Wrong{word, StringPrintf("not after %.10g: times must rise", before.seconds)};
        }
        if (const double speed = Distance(before.at, point.at) / seconds; speed > kMaxSpeed) {
            throw Wrong{word, StringPrintf("too soon: that would be %.0f metres a second, 1000 at "
                                           "most",
                                           speed)};
        }
    }
    path->points.push_back(point);
}

void Parser::SetPath(const ThingId& id, Path path) {
    Make(id, path.points.front().at)->path = std::move(path);
}

Sight TakeSight(Words* words) {
    if (words->TakeIf("nlos")) return Sight::kBlocked;
    if (words->TakeIf("lost")) return Sight::kLost;
    words->TakeIf("los");
    return Sight::kClear;
}

// path WHO [once] T X Y Z [nlos|lost] ...
void Parser::ParsePath(Words* words) {
    const ThingId id = TakeThing(words);
    Path path;
    path.is_loop = !words->TakeIf("once");
    do {
        const std::string word = words->Take("seconds, and a place: T X Y Z");
        Waypoint point;
        Words seconds({word});
        point.seconds = seconds.Number(0, kMaxSeconds, "seconds");
        point.at = words->Place();
        point.sight = TakeSight(words);
        AddPoint(word, point, &path);
    } while (!words->is_empty());
    SetPath(id, std::move(path));
}

// walk WHO [once] speed V X Y Z [nlos|lost] ... with "speed V" and "pause S" in between
void Parser::ParseWalk(Words* words) {
    const ThingId id = TakeThing(words);
    Path path;
    path.is_loop = !words->TakeIf("once");
    double speed = 0;
    double seconds = 0;
    const auto go = [&](const std::string& word, const Vec3& to, Sight sight) {
        if (speed <= 0) throw Wrong{word, "how fast? speed V comes first"};
        double takes = 0;
        if (!path.points.empty()) takes = Distance(path.points.back().at, to) / speed;
        // Two places in one are one point.
        if (!path.points.empty() && takes < 1e-6) {
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
            if (path.points.empty()) throw Wrong{word, "where? a place comes first"};
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

const ModelKey& TakeModelKey(Words* words) {
    const std::string name = words->Take("a preset, or keys with values");
    if (const ModelKey* key = FindModelKey(name)) return *key;
    std::vector<std::string> known;
    for (const ModelKey& key : ModelKeys()) known.emplace_back(key.name);
    for (const ModelPreset& preset : ModelPresets()) known.emplace_back(preset.name);
    const std::string nearest = Nearest(name, known);
    throw Wrong{name, "neither a preset nor a key of a model" +
                          (nearest.empty() ? "" : "; did you mean " + nearest + "?")};
}

// model [WHO] [PRESET] [KEY VALUE] ...
void Parser::ParseModel(Words* words) {
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

void Parser::ParseWall(Words* words) {
    const auto metres = [words] { return words->Number(-kMaxMetres, kMaxMetres, "metres"); };
    Wall wall;
    wall.x1 = metres();
    wall.y1 = metres();
    wall.x2 = metres();
    wall.y2 = metres();
    wall.stops = words->TakeIf("stops");
    if (scene_.walls.size() == kMaxWalls) throw Wrong{"wall", "more than 64 walls"};
    scene_.walls.push_back(wall);
}

void Parser::ParseNoise(Words* words) {
    const std::string word = words->is_empty() ? "" : words->Peek();
    const double mm = words->Number(0, kMaxNoiseMm, "millimetres");
    if (mm != std::floor(mm)) throw Wrong{word, "not a whole number (millimetres)"};
    scene_.noise_mm = static_cast<int>(mm);
}

}  // namespace

ParsedScene ParseScene(const std::string& text, std::optional<unsigned> radios) {
    return Parser(radios).Parse(text);
}

}  // namespace uwbctl
