// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/model.h"

namespace uwbctl {
namespace {

constexpr double kMaxMm = 100000;
constexpr double kMaxMmPerMetre = 1000;

template <typename Named>
const Named* Find(const std::vector<Named>& all, const std::string& name) {
    for (const Named& one : all) {
        if (name == one.name) return &one;
    }
    return nullptr;
}

}  // namespace

// The kernel module's table in sim/radio/world/model_keys.c has the same.
const std::vector<ModelKey>& ModelKeys() {
    static const std::vector<ModelKey> keys = {
        {"bias", "mm", -kMaxMm, kMaxMm, 0, "added to every distance"},
        {"bias_per_m", "mm/m", -kMaxMmPerMetre, kMaxMmPerMetre, 0, "added for each metre"},
        {"noise", "mm", 0, 10000, 0, "standard deviation of distances"},
        {"noise_per_m", "mm/m", 0, kMaxMmPerMetre, 0, "what each metre adds to that"},
        {"nlos_bias", "mm", 0, kMaxMm, 0, "detour of what comes around an obstacle, on average"},
        {"nlos_noise", "mm", 0, kMaxMm, 0, "standard deviation of the detour"},
        {"outliers", "%", 0, 100, 0, "how many distances are too long by chance"},
        {"nlos_outliers", "%", 0, 100, 0, "the same when out of sight"},
        {"outlier", "mm", 0, kMaxMm, 0, "how much too long at most"},
        {"angle_noise", "deg", 0, 45, 0, "standard deviation of angles straight ahead"},
        {"angle_edge", "", 1, 100, 1, "how many times that at the edge of the field of view"},
        {"fov", "deg", 1, 180, 180, "field of view in which angles can be measured"},
        {"loss", "%", 0, 100, 0, "how many measurements fail by chance"},
        {"loss_per_m", "%/m", 0, 100, 0, "what each metre adds to that"},
        {"burst", "%", 0, 100, 0, "how often a measurement begins a burst of losses"},
        {"burst_length", "", 1, 10000, 1, "measurements that are lost in a burst, on average"},
        {"drift", "ppm", 0, 1000, 0, "how far the peer's clock wanders: 1.5 mm for each ppm"},
    };
    return keys;
}

const ModelKey* FindModelKey(const std::string& name) {
    return Find(ModelKeys(), name);
}

const std::vector<ModelPreset>& ModelPresets() {
    static const std::vector<ModelPreset> presets = {
        {"ideal", "no errors at all", {}},
        {"office",
         "rooms with furniture and thin walls",
         {{"noise", 30},
          {"noise_per_m", 2},
          {"bias_per_m", 1},
          {"nlos_bias", 350},
          {"nlos_noise", 120},
          {"outliers", 0.5},
          {"nlos_outliers", 10},
          {"outlier", 1500},
          {"angle_noise", 2},
          {"angle_edge", 4},
          {"fov", 120},
          {"loss", 1},
          {"loss_per_m", 0.2},
          {"burst", 0.2},
          {"burst_length", 4},
          {"drift", 2}}},
        {"car",
         "metal all around, reflections from the ground",
         {{"bias", 30},
          {"noise", 40},
          {"noise_per_m", 3},
          {"nlos_bias", 600},
          {"nlos_noise", 250},
          {"outliers", 1},
          {"nlos_outliers", 20},
          {"outlier", 2500},
          {"angle_noise", 3},
          {"angle_edge", 5},
          {"fov", 140},
          {"loss", 2},
          {"loss_per_m", 0.5},
          {"burst", 0.5},
          {"burst_length", 6},
          {"drift", 10}}},
        {"crowd",
         "bodies between the peers, and many that talk",
         {{"noise", 50},
          {"noise_per_m", 5},
          {"nlos_bias", 250},
          {"nlos_noise", 200},
          {"outliers", 2},
          {"nlos_outliers", 15},
          {"outlier", 1000},
          {"angle_noise", 4},
          {"angle_edge", 4},
          {"fov", 120},
          {"loss", 5},
          {"loss_per_m", 1},
          {"burst", 2},
          {"burst_length", 8},
          {"drift", 5}}},
    };
    return presets;
}

const ModelPreset* FindModelPreset(const std::string& name) {
    return Find(ModelPresets(), name);
}

std::string PresetOf(const Model& model) {
    const auto value = [](const Model& of, const ModelKey& key) {
        const auto found = of.find(key.name);
        return found == of.end() ? key.none : found->second;
    };
    for (const ModelPreset& preset : ModelPresets()) {
        bool is_same = true;
        for (const ModelKey& key : ModelKeys()) {
            is_same = is_same && value(model, key) == value(preset.model, key);
        }
        if (is_same) return preset.name;
    }
    return "";
}

}  // namespace uwbctl
