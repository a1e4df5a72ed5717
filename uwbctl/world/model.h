// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace uwbctl {

/** One thing that an error model sets, as scenes and the virtual radio name it. */
struct ModelKey {
    const char* name;
    /** Such as "mm/m"; empty for a plain number. */
    const char* unit;
    double min;
    double max;
    /** What it is where nothing else is said: no error. */
    double none;
    /** What it does, in a few words. */
    const char* what;
};

/** All keys, in the order in which models are written. */
const std::vector<ModelKey>& ModelKeys();

/** @return the key of a name, null when there is none. */
const ModelKey* FindModelKey(const std::string& name);

/** What goes wrong on the way to a peer: values by key; a key that is not there is ModelKey::none.
 */
using Model = std::map<std::string, double>;

/** A model with a name. */
struct ModelPreset {
    const char* name;
    /** What it is like, in a few words. */
    const char* what;
    Model model;
};

/** The presets, the one without errors first. */
const std::vector<ModelPreset>& ModelPresets();

/** @return the preset of a name, null when there is none. */
const ModelPreset* FindModelPreset(const std::string& name);

/** @return the name of the preset that a model is, empty for none. */
std::string PresetOf(const Model& model);

}  // namespace uwbctl
