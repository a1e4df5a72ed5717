// SPDX-License-Identifier: Apache-2.0
#include <android-base/parsedouble.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "uwbctl/client/output.h"
#include "uwbctl/client/text.h"
#include "uwbctl/commands/anchor_sessions.h"
#include "uwbctl/commands/command.h"
#include "uwbctl/commands/fira_range.h"
#include "uwbctl/commands/time_order.h"
#include "uwbctl/locate/locator.h"
#include "uwbctl/recording/recording.h"
#include "uwbctl/world/scene_file.h"
#include "uwbctl/world/virtual_world.h"

namespace uwbctl {
namespace {

using android::base::StringPrintf;

constexpr double kMmPerMetre = 1000;
constexpr double kDefaultSigma = 0.05;
constexpr int64_t kRadiosApartNs = 500'000'000;
constexpr char kInterface[] = "wpan";

// What "uwbctl locate" was asked for.
struct LocateOptions {
    /** "NAME" or "NAME=X,Y,Z": peers, or interfaces when a tag is looked for. */
    std::vector<std::string> anchors;
    /** What is looked for: a peer; empty for this device itself. */
    std::string tag;
    /** Recordings, none for live. */
    std::vector<std::string> recordings;
    /** Scene to take places from, empty for the virtual world, or none. */
    std::string scene;
    std::optional<double> height;
    bool is_3d = false;
    double sigma = kDefaultSigma;
    /** Of the sessions: preset, channel, block, count. */
    FiraRangeOptions ranging;
    bool is_json = false;
};

// wpan0 is radio0 of a scene; a peer is the tag of its address.
std::optional<ThingId> ThingOf(const std::string& name) {
    if (!name.starts_with(kInterface)) return ParseThingId(name);
    return ParseThingId("radio" + name.substr(sizeof(kInterface) - 1));
}

// A peer in the spelling that measurements have.
std::string PeerName(const std::string& text) {
    return AddressText(ParsePeers({text}).front());
}

// Where things are, as far as anybody says it.
class Places {
  public:
    explicit Places(const LocateOptions& options) {
        const VirtualWorld world;
        if (!options.scene.empty()) {
            for (const Thing& thing : ReadSceneFile(FindScene(options.scene)).things) {
                // What moves is no anchor.
                if (!thing.path) places_[thing.id] = thing.at;
            }
        } else if (options.recordings.empty() && world.Problem().empty()) {
            for (const TrueBody& body : world.Read().bodies) places_[body.id] = body.at;
        }
    }

    std::optional<Vec3> Find(const std::string& name) const {
        const auto id = ThingOf(name);
        const auto found = id ? places_.find(*id) : places_.end();
        return found == places_.end() ? std::nullopt : std::optional(found->second);
    }

  private:
    std::map<ThingId, Vec3> places_;
};

Vec3 ParsePlace(const std::string& text) {
    const std::vector<std::string> words = android::base::Split(text, ",");
    Vec3 place;
    if (words.size() == 3 && android::base::ParseDouble(words[0], &place.x) &&
        android::base::ParseDouble(words[1], &place.y) &&
        android::base::ParseDouble(words[2], &place.z) &&
        std::isfinite(place.x + place.y + place.z)) {
        return place;
    }
    throw Failure(kUsage, "--anchor: not a place: " + text + " (expected X,Y,Z in metres)");
}

std::vector<Anchor> ResolveAnchors(const LocateOptions& options,
                                   const std::vector<std::string>& names) {
    const Places places(options);
    std::vector<Anchor> anchors;
    for (const std::string& text : names) {
        const size_t equals = text.find('=');
        const std::string name = text.substr(0, equals);
        const auto at = equals == text.npos ? places.Find(name)
                                            : std::optional(ParsePlace(text.substr(equals + 1)));
        if (!at) {
            throw Failure(kUsage, "where is anchor " + name + "? --anchor " + name +
                                      "=X,Y,Z, or a --scene that says it");
        }
        anchors.push_back({.name = options.tag.empty() ? PeerName(name) : name, .at = *at});
    }
    return anchors;
}

SolverOptions MakeSolverOptions(const LocateOptions& options, const std::vector<Anchor>& anchors) {
    SolverOptions solver{.sigma = options.sigma};
    if (!options.is_3d) solver.height = options.height.value_or(AnchorHeight(anchors));
    return solver;
}

// ---- What is shown ----

// Takes the estimates; in the virtual world it knows better.
class Display {
  public:
    // truth: whose place is the truth, nothing where that is not known.
    Display(bool is_json, size_t anchors, std::optional<ThingId> truth)
        : is_json_(is_json), anchors_(anchors), truth_(truth) {}

    void Show(const Estimate& estimate) {
        count_++;
        const auto& location = estimate.solution.location;
        std::optional<double> error;
        if (location) error = Error(estimate.timestamp_ns, *location);
        if (location) located_++;
        if (error) errors_.push_back(*error);
        if (is_json_) {
            puts(Json(estimate, error).dump().c_str());
        } else {
            puts(Line(estimate, error).c_str());
        }
        FlushStandardOutput();
    }

    uint64_t count() const { return count_; }
    uint64_t located() const { return located_; }

    void Summarise() const {
        if (errors_.empty()) return;
        std::vector<double> sorted = errors_;
        std::sort(sorted.begin(), sorted.end());
        double squares = 0;
        for (const double error : sorted) squares += error * error;
        constexpr size_t kTwentieth = 20;
        fprintf(stderr, "%zu places against the truth: rms %.3f m, median %.3f m, 95%% %.3f m\n",
                sorted.size(), std::sqrt(squares / static_cast<double>(sorted.size())),
                sorted[sorted.size() / 2], sorted[sorted.size() - 1 - sorted.size() / kTwentieth]);
    }

  private:
    // As far as was looked for: the height only when it was found.
    std::optional<double> Error(int64_t timestamp_ns, const Location& location) const {
        if (!truth_) return std::nullopt;
        const Truth truth = VirtualWorld().Read();
        const TrueBody* body = truth.Find(*truth_);
        if (body == nullptr) return std::nullopt;
        const Vec3 at = Truth::At(*body, truth.time_ns, timestamp_ns);
        const double up = location.height_sigma ? location.at.z - at.z : 0;
        return std::hypot(location.at.x - at.x, location.at.y - at.y, up);
    }

    std::string Line(const Estimate& estimate, std::optional<double> error) const {
        constexpr double kNanos = 1e9;
        std::string text =
            StringPrintf("%12.6f s  ", static_cast<double>(estimate.timestamp_ns) / kNanos);
        const Solution& solution = estimate.solution;
        if (const auto& it = solution.location) {
            text += StringPrintf(
                "%8.3f %8.3f %8.3f m  residual %.3f m  ellipse %.3f x %.3f m at "
                "%+.0f deg",
                it->at.x, it->at.y, it->at.z, it->residual, it->ellipse.major, it->ellipse.minor,
                ToDegrees(it->ellipse.angle));
            if (it->height_sigma) text += StringPrintf("  height %.3f m", *it->height_sigma);
        } else {
            text += "nowhere";
        }
        text += StringPrintf("  %zu of %zu", estimate.answers, anchors_);
        if (error) text += StringPrintf("  error %.3f m", *error);
        if (!solution.problem.empty()) text += "  (" + solution.problem + ")";
        return text;
    }

    static nlohmann::ordered_json Place(const Vec3& at) { return {at.x, at.y, at.z}; }

    static nlohmann::ordered_json Json(const Estimate& estimate, std::optional<double> error) {
        nlohmann::ordered_json json = {{"type", "location"},
                                       {"timestamp_ns", estimate.timestamp_ns},
                                       {"answers", estimate.answers},
                                       {"at_m", nullptr}};
        if (const auto& it = estimate.solution.location) {
            json["at_m"] = Place(it->at);
            if (it->mirror) json["mirror_m"] = Place(*it->mirror);
            json["residual_m"] = it->residual;
            json["dilution"] = it->dilution;
            json["ellipse_m"] = {it->ellipse.major, it->ellipse.minor};
            json["ellipse_rad"] = it->ellipse.angle;
            if (it->height_sigma) json["height_sigma_m"] = *it->height_sigma;
        }
        if (!estimate.solution.problem.empty()) json["problem"] = estimate.solution.problem;
        if (error) json["error_m"] = *error;
        return json;
    }

    bool is_json_;
    size_t anchors_;
    std::optional<ThingId> truth_;
    uint64_t count_ = 0;
    uint64_t located_ = 0;
    std::vector<double> errors_;
};

void Take(const LocateOptions& options, const std::string& iface, const Measurement& it,
          Locator* locator, Display* display) {
    if (!options.tag.empty() && it.peer != PeerName(options.tag)) return;
    std::optional<double> metres;
    if (it.status == 0 && it.distance_mm) {
        metres = static_cast<double>(*it.distance_mm) / kMmPerMetre;
    }
    const auto estimate =
        locator->Add(options.tag.empty() ? it.peer : iface, it.timestamp_ns, metres);
    if (estimate) display->Show(*estimate);
}

// ---- From recordings ----

ExitStatus FromRecordings(const LocateOptions& options) {
    std::vector<std::pair<std::string, Measurement>> all;
    std::vector<std::string> names = options.anchors;
    for (const std::string& file : options.recordings) {
        const Recording recording = ReadRecording(file);
        for (const Measurement& it : recording.measurements) {
            all.emplace_back(recording.iface, it);
            const std::string& name = options.tag.empty() ? it.peer : recording.iface;
            const bool is_known = std::find(names.begin(), names.end(), name) != names.end();
            if (options.anchors.empty() && !is_known) names.push_back(name);
        }
    }
    // Each was recorded by itself, but all have the one clock.
    std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
        return a.second.timestamp_ns < b.second.timestamp_ns;
    });
    const std::vector<Anchor> anchors = ResolveAnchors(options, names);
    Locator locator(anchors, MakeSolverOptions(options, anchors));
    Display display(options.is_json, anchors.size(), std::nullopt);
    for (const auto& [iface, measurement] : all) {
        Take(options, iface, measurement, &locator, &display);
    }
    if (display.located() == 0) throw Failure(kNoAnswer, "no place could be found");
    return kDone;
}

// ---- Live ----

// One session with all anchors, or one with the tag on each interface.
std::vector<std::pair<std::string, FiraTwrSession>> MakeSessions(
    const LocateOptions& options, const std::vector<Anchor>& anchors) {
    FiraRangeOptions ranging = options.ranging;
    std::vector<std::pair<std::string, FiraTwrSession>> sessions;
    if (options.tag.empty()) {
        for (const Anchor& anchor : anchors) ranging.peers.push_back(anchor.name);
        sessions.emplace_back(ranging.iface, EffectiveSession(ranging));
        return sessions;
    }
    ranging.peers = {options.tag};
    for (const Anchor& anchor : anchors) {
        FiraTwrSession session = EffectiveSession(ranging);
        session.id += static_cast<int32_t>(sessions.size());
        session.deviceAddress = ParsePeers({StringPrintf("0x%04zx", sessions.size() + 1)}).front();
        sessions.emplace_back(anchor.name, session);
    }
    return sessions;
}

ExitStatus Live(Events* events, const LocateOptions& options) {
    std::optional<Locator> locator;
    std::optional<Display> display;
    const uint64_t wanted = options.ranging.count;
    bool is_started = false;
    TimeOrder order(options.tag.empty() ? 0 : kRadiosApartNs,
                    [&](const std::string& iface, const Measurement& it) {
                        if (wanted != 0 && display->count() >= wanted) return;
                        Take(options, iface, it, &*locator, &*display);
                    });
    AnchorSessions sessions(events, [&](const std::string& iface, const Measurement& it) {
        if (is_started) order.Add(iface, it);
    });
    std::vector<std::string> names = options.anchors;
    if (names.empty()) {
        if (options.tag.empty()) {
            throw Failure(kUsage, "which anchors? Such as -a 0xa001=0,0,2.5, one for each");
        }
        names = sessions.Interfaces();
    }
    const std::vector<Anchor> anchors = ResolveAnchors(options, names);
    locator.emplace(anchors, MakeSolverOptions(options, anchors));
    const auto to_start = MakeSessions(options, anchors);
    const std::string own =
        options.ranging.iface.empty() ? sessions.Interfaces().at(0) : options.ranging.iface;
    const VirtualWorld world;
    display.emplace(
        options.is_json, anchors.size(),
        world.Problem().empty() ? ThingOf(options.tag.empty() ? own : options.tag) : std::nullopt);
    for (const auto& [iface, session] : to_start) sessions.Start(iface, session);
    // What came while some were still to start makes no round.
    events->Post([&is_started] { is_started = true; });
    fprintf(stderr, "locating %s by %s; Ctrl-C ends it\n",
            options.tag.empty() ? own.c_str() : options.tag.c_str(),
            CountText(anchors.size(), "anchor").c_str());
    const Ended ended = sessions.Run([&] { return wanted != 0 && display->count() >= wanted; });
    sessions.Stop();
    display->Summarise();
    if (ended == Ended::kSilent) throw Failure(kRadioFailed, "no report from the radio");
    if (ended == Ended::kDone && display->located() == 0) {
        throw Failure(kNoAnswer, "no place could be found: do the anchors answer?");
    }
    return kDone;
}

ExitStatus RunLocate(Events* events, const LocateOptions& options) {
    return options.recordings.empty() ? Live(events, options) : FromRecordings(options);
}

}  // namespace

void AddLocate(CommandLine* line, CLI::App* app) {
    constexpr double kMaxHeight = 50000;
    constexpr double kMinSigma = 0.001;
    constexpr double kMaxSigma = 100;
    const auto options = std::make_shared<LocateOptions>();
    CLI::App* locate = AddCommand(
        line, app, "locate", "Find out where something is, from distances to known places",
        "Examples:\n"
        "  uwbctl locate -a 0xa001=0,0,2.5 -a 0xa002=8,0,2.5 -a 0xa003=8,6,2.5\n"
        "      where this device is\n"
        "  uwbctl locate --tag 0x1234 -a wpan0=0,0,1 -a wpan1=4,0,1 -a wpan2=0,3,1\n"
        "      where the tag is, by three radios of this device\n"
        "  uwbctl locate --from walk.jsonl --scene room.scene\n"
        "      the same from a recording, with the anchors of a scene\n",
        options, RunLocate);
    locate
        ->add_option("-a,--anchor", options->anchors,
                     "An anchor and where it is, in metres: a peer, or with --tag an interface. "
                     "Without X,Y,Z as the scene says, or the virtual world")
        ->type_name("NAME[=X,Y,Z]");
    locate
        ->add_option("--tag", options->tag,
                     "Locate this peer; otherwise this device itself is located")
        ->type_name("ADDRESS");
    locate
        ->add_option("--from", options->recordings,
                     "A recording, instead of ranging; with --tag one of each interface")
        ->type_name("FILE");
    locate->add_option("--scene", options->scene, "A scene that says where the anchors are")
        ->type_name("SCENE");
    CLI::Option* height =
        locate
            ->add_option("--height", options->height,
                         "Height of what is located, in metres; that of the anchors by default")
            ->type_name("NUMBER")
            ->check(CLI::Range(-kMaxHeight, kMaxHeight).description(""));
    locate->add_flag("--3d", options->is_3d, "Find the height as well")->excludes(height);
    locate->add_option("--sigma", options->sigma, "Standard deviation of distances, in metres")
        ->type_name("NUMBER")
        ->check(CLI::Range(kMinSigma, kMaxSigma).description(""))
        ->capture_default_str();
    AddIface(locate, &options->ranging.iface);
    locate->add_option("--preset", options->ranging.preset, "Session to start from")
        ->type_name("NAME");
    locate->add_option("-c,--channel", options->ranging.channel, "UWB channel")
        ->type_name("NUMBER");
    locate
        ->add_option("-b,--block", options->ranging.block_duration_ms,
                     "Block duration, in milliseconds")
        ->type_name("MS")
        ->check(NumberRange(1, 3600000));
    AddCount(locate, &options->ranging.count, "Places");
    locate->add_flag("--json", options->is_json, "A JSON object on each line");
}

}  // namespace uwbctl
