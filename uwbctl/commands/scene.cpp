// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <optional>

#include "uwbctl/client/text.h"
#include "uwbctl/commands/command.h"
#include "uwbctl/recording/recording.h"
#include "uwbctl/world/replay.h"
#include "uwbctl/world/scene_file.h"
#include "uwbctl/world/virtual_world.h"

namespace uwbctl {
namespace {

// What "uwbctl scene" was asked for.
struct SceneOptions {
    /** File or name; empty for none. */
    std::string scene;
    /** Recording to play back, empty for none. */
    std::string recording;
    bool prints = false;
    bool saves = false;
    bool names = false;
    std::optional<double> rate;
    bool has_fast_blocks = false;
};

// What there is, and what is loaded.
void List(const VirtualWorld& world) {
    const std::string loaded = world.Problem().empty() ? world.Read().scene : "";
    bool is_listed = false;
    for (const SceneFile& scene : ListScenes()) {
        const bool is_it = scene.name == loaded;
        is_listed = is_listed || is_it;
        printf("%c %-14s %s\n", is_it ? '*' : ' ', PrintableText(scene.name).c_str(),
               PrintableText(scene.title).c_str());
    }
    if (!loaded.empty() && !is_listed)
        printf("* %-14s from a file\n", PrintableText(loaded).c_str());
    fprintf(stderr, "%s\n",
            loaded.empty() ? "no scene is loaded; uwbctl scene NAME loads one"
                           : "* is loaded; uwbctl scene NAME loads another");
}

Scene WantedScene(const SceneOptions& options, std::optional<unsigned> radios) {
    if (!options.recording.empty()) {
        Scene scene = ReplayScene(ReadRecording(options.recording));
        scene.name = "replay";
        return scene;
    }
    return ReadSceneFile(FindScene(options.scene), radios);
}

ExitStatus RunScene(Events* /*events*/, const SceneOptions& options) {
    const VirtualWorld world;
    if (options.names) {
        for (const SceneFile& scene : ListScenes()) puts(PrintableText(scene.name).c_str());
        return kDone;
    }
    if (options.saves) {
        fputs(PrintScene(world.Save()).c_str(), stdout);
        return kDone;
    }
    if (options.scene.empty() && options.recording.empty()) {
        if (options.rate) {
            world.SetRate(*options.rate, options.has_fast_blocks);
        } else {
            List(world);
        }
        return kDone;
    }
    if (!options.prints) world.Require();
    Scene scene = WantedScene(
        options, options.prints ? std::nullopt : std::optional<unsigned>(world.CountRadios()));
    if (options.rate) {
        scene.rate = *options.rate;
        scene.has_fast_blocks = options.has_fast_blocks;
    }
    if (options.prints) {
        fputs(PrintScene(scene).c_str(), stdout);
    } else {
        world.Load(scene);
    }
    return kDone;
}

}  // namespace

void AddScene(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<SceneOptions>();
    CLI::App* command =
        AddCommand(line, app, "scene", "Arrange the virtual radio's world",
                   "Examples:\n"
                   "  uwbctl scene                          what there is\n"
                   "  uwbctl scene two-tags                 load one\n"
                   "  uwbctl scene my.scene --rate 60 --blocks   an hour in a minute\n"
                   "  uwbctl scene --replay walk.jsonl      what was recorded\n"
                   "  uwbctl scene --save > my.scene        the world as it is\n",
                   options, RunScene);
    CLI::Option* scene = command->add_option("scene", options->scene, "A scene's file, or its name")
                             ->type_name("SCENE");
    CLI::Option* replay = command
                              ->add_option("--replay", options->recording,
                                           "A recording: its peers go where they were measured")
                              ->type_name("FILE")
                              ->excludes(scene);
    CLI::Option* rate =
        command
            ->add_option("--rate", options->rate,
                         "How many seconds of the world pass in one; alone it changes the world "
                         "that is loaded")
            ->type_name("NUMBER")
            ->check(CLI::Range(0.0, Scene::kMaxRate).description(""));
    command
        ->add_flag("--blocks", options->has_fast_blocks,
                   "The radios go along with a faster world: their blocks are as much shorter, and "
                   "reports have its time")
        ->needs(rate);
    command->add_flag("--print", options->prints,
                      "Load nothing; print the scene as its file has it, in full");
    command->add_flag("--save", options->saves, "Load nothing; print the world as a scene")
        ->excludes(scene)
        ->excludes(replay);
    command->add_flag("--names", options->names, "Load nothing; only list names")->excludes(scene);
}

}  // namespace uwbctl
