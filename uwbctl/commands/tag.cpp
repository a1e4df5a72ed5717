// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <optional>
#include <vector>

#include "uwbctl/client/text.h"
#include "uwbctl/commands/command.h"
#include "uwbctl/world/virtual_world.h"

namespace uwbctl {
namespace {

constexpr size_t kPlace = 3;
constexpr size_t kPlaceAndVelocity = 6;

// What "uwbctl tag" was asked for.
struct TagOptions {
    /** Address of a tag or a radio's name, empty for none. */
    std::string thing;
    /** X Y Z [VX VY VZ]. */
    std::vector<double> place;
    std::optional<bool> has_line_of_sight;
    bool removes = false;
};

void PrintBody(const TrueBody& body) {
    printf("%-8s  at %8.3f %8.3f %8.3f", ToText(body.id).c_str(), body.at.x, body.at.y, body.at.z);
    const Vec3& v = body.velocity;
    if (v.x != 0 || v.y != 0 || v.z != 0) printf("  moving %.3f %.3f %.3f m/s", v.x, v.y, v.z);
    printf("%s%s%s\n", body.is_on_path ? "  on a path" : "",
           body.has_line_of_sight ? "" : "  out of sight", body.is_lost ? "  lost" : "");
}

void PrintWorld(const Truth& truth) {
    for (const TrueBody& body : truth.bodies) PrintBody(body);
    for (const Wall& wall : truth.walls) {
        printf("wall      from %.3f %.3f to %.3f %.3f%s\n", wall.x1, wall.y1, wall.x2, wall.y2,
               wall.stops ? "  stops all" : "");
    }
    printf("noise %d mm%s, range %.10g m, seed %llu%s%s\n", truth.noise_mm,
           truth.model ? " (a model takes its place)" : "", truth.range_m,
           static_cast<unsigned long long>(truth.seed),
           truth.scene.empty() ? "" : (", scene " + PrintableText(truth.scene)).c_str(),
           truth.waits ? ", waiting for a measurement" : "");
}

ThingId CheckThing(const std::string& word) {
    if (const auto id = ParseThingId(word)) return *id;
    throw Failure(kUsage,
                  "not a tag: " + word + " (expected an address, such as 0x1234, or radio0)");
}

ExitStatus RunTag(Events* /*events*/, const TagOptions& options) {
    const VirtualWorld world;
    if (options.thing.empty()) {
        PrintWorld(world.Read());
        return kDone;
    }
    const ThingId id = CheckThing(options.thing);
    if (options.removes) {
        if (id.kind == ThingId::Kind::kRadio) throw Failure(kUsage, "a radio cannot be removed");
        world.Remove(id);
        return kDone;
    }
    const std::vector<double>& place = options.place;
    if (place.size() == kPlace || place.size() == kPlaceAndVelocity) {
        Vec3 velocity;
        if (place.size() > kPlace) velocity = {.x = place[3], .y = place[4], .z = place[5]};
        world.Move(id, {.x = place[0], .y = place[1], .z = place[2]}, velocity);
    } else if (!place.empty() || !options.has_line_of_sight) {
        throw Failure(kUsage, "where is " + options.thing + "? X Y Z [VX VY VZ], in metres");
    }
    if (options.has_line_of_sight) world.SetLineOfSight(id, *options.has_line_of_sight);
    return kDone;
}

}  // namespace

void AddTag(CommandLine* line, CLI::App* app) {
    const auto options = std::make_shared<TagOptions>();
    CLI::App* command =
        AddCommand(line, app, "tag", "Show or move what is in the virtual radio's world",
                   "Examples:\n"
                   "  uwbctl tag                            the world\n"
                   "  uwbctl tag 0x5678 3 4 0               put a tag there\n"
                   "  uwbctl tag 0x5678 3 4 0  0 -1.5 0     and let it come nearer\n"
                   "  uwbctl tag 0x5678 --los 0             put something in between\n",
                   options, RunTag);
    command->add_option("tag", options->thing, "Address of a tag, or radio0")->type_name("TAG");
    command
        ->add_option("place", options->place,
                     "X Y Z [VX VY VZ]: metres to the right, ahead and up; metres a second")
        ->type_name("NUMBER")
        ->expected(0, static_cast<int>(kPlaceAndVelocity));
    command
        ->add_option("--los", options->has_line_of_sight, "Whether it is in line of sight: 1 or 0")
        ->type_name("0|1");
    command->add_flag("--remove", options->removes, "Take it away");
}

}  // namespace uwbctl
