// SPDX-License-Identifier: Apache-2.0
#include <android-base/stringprintf.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "uwbctl/client/output.h"
#include "uwbctl/client/text.h"
#include "uwbctl/client/units.h"
#include "uwbctl/commands/command.h"
#include "uwbctl/commands/fira_range.h"
#include "uwbctl/locate/anchors.h"
#include "uwbctl/locate/estimate.h"
#include "uwbctl/locate/locate_activity.h"
#include "uwbctl/recording/recording.h"
#include "uwbctl/world/scene_file.h"
#include "uwbctl/world/world_history.h"

namespace uwbctl {
namespace {

using android::base::StringPrintf;

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
    double sigma = SolverOptions().sigma;
    /** Of the sessions: preset, channel, block, count. */
    FiraRangeOptions ranging;
    bool is_json = false;
};

// Where something is, as far as anybody says it.
std::optional<Vec3> PlaceOf(const LocateOptions& options, const std::string& name) {
    const auto id = ThingOf(name);
    if (!id) return std::nullopt;
    if (!options.scene.empty()) {
        const Scene scene = ReadSceneFile(FindScene(options.scene));
        const Thing* thing = FindThing(scene, *id);
        // What moves is no anchor.
        return thing == nullptr || thing->path ? std::nullopt : std::optional(thing->at);
    }
    const VirtualWorld world;
    if (!options.recordings.empty() || !world.Problem().empty()) return std::nullopt;
    const Truth truth = world.Read();
    const TrueBody* body = truth.Find(*id);
    return body == nullptr ? std::nullopt : std::optional(body->at);
}

LocateTask MakeTask(const LocateOptions& options, const std::vector<std::string>& names) {
    LocateTask task{.tag = options.tag.empty() ? "" : PeerName(options.tag),
                    .anchors = ResolveAnchors(
                        names, options.tag.empty(),
                        [&options](const std::string& name) { return PlaceOf(options, name); }),
                    .solver = {.sigma = options.sigma}};
    if (!options.is_3d) task.solver.height = options.height.value_or(AnchorHeight(task.anchors));
    return task;
}

// ---- What is shown ----

// Takes the estimates; in the virtual world it knows better.
class Display {
  public:
    // truth: where it really was, nothing where that is not known.
    using TruthAt = std::function<std::optional<Vec3>(int64_t when_ns)>;

    Display(bool is_json, size_t anchors, TruthAt truth)
        : is_json_(is_json), anchors_(anchors), truth_(std::move(truth)) {}

    void Show(const Estimate& estimate) {
        count_++;
        const auto& location = estimate.solution.location;
        std::optional<double> error;
        if (location) {
            located_++;
            const auto truth = truth_(estimate.timestamp_ns);
            if (truth) error = ErrorOf(*location, *truth);
        }
        if (error) errors_.push_back(*error);
        if (is_json_) {
            nlohmann::ordered_json json = {{"type", "location"}};
            json.update(ToJson(estimate, error));
            puts(json.dump().c_str());
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
    std::string Line(const Estimate& estimate, std::optional<double> error) const {
        std::string text = StringPrintf(
            "%12.6f s  ", static_cast<double>(estimate.timestamp_ns) / kNanosecondsPerSecond);
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

    bool is_json_;
    size_t anchors_;
    TruthAt truth_;
    uint64_t count_ = 0;
    uint64_t located_ = 0;
    std::vector<double> errors_;
};

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
    const LocateTask task = MakeTask(options, names);
    Locator locator(task.anchors, task.solver);
    Display display(options.is_json, task.anchors.size(),
                    [](int64_t /*when_ns*/) { return std::nullopt; });
    for (const auto& [iface, measurement] : all) {
        if (!task.tag.empty() && measurement.peer != task.tag) continue;
        const auto estimate = locator.Add(task.tag.empty() ? measurement.peer : iface, measurement);
        if (estimate) display.Show(*estimate);
    }
    if (display.located() == 0) throw Failure(kNoAnswer, "no place could be found");
    return kDone;
}

// ---- Live ----

// Measurements are of no interest here but for what follows from them.
class NoListener : public ActivityListener {
  public:
    void OnMeasurements(const std::string& /*iface*/,
                        const std::vector<Measurement>& /*measurements*/) override {}
    void OnControlees(const std::string& /*iface*/, const std::string& /*event*/,
                      const std::vector<std::string>& /*peers*/,
                      const std::string& /*words*/) override {}
};

// The virtual world as it was a moment ago; knows nothing where there is none.
class Witness {
  public:
    std::optional<Vec3> At(const std::string& name, int64_t when_ns) {
        const auto id = is_there_ ? ThingOf(name) : std::nullopt;
        const auto body = id ? history_.At(*id, when_ns) : std::nullopt;
        return body ? std::optional(body->at) : std::nullopt;
    }

  private:
    const VirtualWorld world_;
    const bool is_there_ = world_.Problem().empty();
    WorldHistory history_{&world_};
};

// One run on the radio, live.
class LocateRun {
  public:
    LocateRun(Events* events, const LocateOptions& options)
        : events_(events), options_(options), client_(events) {
        client_.Open();
    }

    ExitStatus Run();

  private:
    std::vector<SessionOnIface> Sessions(const LocateTask& task) const;
    std::shared_ptr<LocateActivity> MakeActivity(const LocateTask& task);
    bool IsComplete() const {
        return options_.ranging.count != 0 && display_->count() >= options_.ranging.count;
    }
    void End(LocateActivity* activity);

    Events* events_;
    const LocateOptions& options_;
    Client client_;
    NoListener listener_;
    Witness witness_;
    // The interface that is located, where no tag is.
    std::string own_;
    std::optional<Display> display_;
    std::chrono::milliseconds patience_{0};
};

std::vector<SessionOnIface> LocateRun::Sessions(const LocateTask& task) const {
    FiraRangeOptions ranging = options_.ranging;
    if (task.tag.empty()) {
        for (const Anchor& anchor : task.anchors) ranging.peers.push_back(anchor.name);
    } else {
        ranging.peers = {task.tag};
    }
    return SessionsOf(task, EffectiveSession(ranging), own_);
}

std::shared_ptr<LocateActivity> LocateRun::MakeActivity(const LocateTask& task) {
    auto activity = std::make_shared<LocateActivity>(
        task,
        [this](const Estimate& estimate) {
            if (!IsComplete()) display_->Show(estimate);
        },
        // A scene that is named is the word on where anchors are.
        [this](const std::string& name, int64_t when_ns) {
            return options_.scene.empty() ? witness_.At(name, when_ns) : std::nullopt;
        },
        &listener_);
    for (auto& [iface, session] : Sessions(task)) {
        activity->Add(iface, client_.GetFira(&iface), session);
        patience_ = std::max(patience_, ReportPatience(session));
    }
    return activity;
}

void LocateRun::End(LocateActivity* activity) {
    const auto has_ended = [activity] {
        activity->Tick();
        return activity->end().has_value();
    };
    if (!has_ended()) activity->Stop();
    if (!FinishWithin(events_, client_, kStopPatience, has_ended)) {
        throw Failure(kRadioFailed, "the radio did not confirm the stop");
    }
    if (activity->end()->tone != Tone::kInfo) {
        throw Failure(kRadioFailed, activity->end()->reason);
    }
}

ExitStatus LocateRun::Run() {
    own_ = options_.ranging.iface;
    client_.GetIface(&own_);
    std::vector<std::string> names = options_.anchors;
    if (names.empty()) {
        if (options_.tag.empty()) {
            throw Failure(kUsage, "which anchors? Such as -a 0xa001=0,0,2.5, one for each");
        }
        Check(client_.service()->listIfaceNames(&names), "list the interfaces");
    }
    const LocateTask task = MakeTask(options_, names);
    const std::string what = task.tag.empty() ? own_ : task.tag;
    display_.emplace(options_.is_json, task.anchors.size(),
                     [this, what](int64_t when_ns) { return witness_.At(what, when_ns); });
    const auto activity = MakeActivity(task);
    activity->Start(events_);
    fprintf(stderr, "locating %s by %s; Ctrl-C ends it\n", what.c_str(),
            CountText(task.anchors.size(), "anchor").c_str());
    const Ended ended = RunUntil(events_, client_, patience_, [&] {
        activity->Tick();
        return activity->end() || IsComplete();
    });
    End(activity.get());
    display_->Summarise();
    if (ended == Ended::kSilent) throw Failure(kRadioFailed, "no report from the radio");
    if (ended == Ended::kDone && display_->located() == 0) {
        throw Failure(kNoAnswer, "no place could be found: do the anchors answer?");
    }
    return kDone;
}

ExitStatus RunLocate(Events* events, const LocateOptions& options) {
    if (!options.recordings.empty()) return FromRecordings(options);
    return LocateRun(events, options).Run();
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
