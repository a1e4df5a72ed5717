// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/forms.h"

#include <android/binder_enums.h>

#include <limits>
#include <type_traits>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/session.h"
#include "uwbctl/client/session_members.h"
#include "uwbctl/world/model.h"
#include "uwbctl/world/scene_file.h"
#include "version/version.h"

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::UwbAddress;
using Json = nlohmann::ordered_json;

// Describes each member that it visits.
struct Describer {
    Json* list;

    template <typename T>
    void operator()(const char* name, T* value) const {
        Json json = {{"name", name}};
        Describe(name, value, &json);
        if (IsSecret(name)) json["secret"] = true;
        list->push_back(std::move(json));
    }

    template <typename T>
    static void Describe(const char* name, T* value, Json* json) {
        if constexpr (std::is_same_v<T, bool>) {
            (*json)["kind"] = "flag";
        } else if constexpr (std::is_integral_v<T>) {
            using Limits = std::numeric_limits<T>;
            (*json)["kind"] = "number";
            (*json)["min"] = Limits::min();
            (*json)["max"] = MaxOf<T>(name);
        } else if constexpr (std::is_enum_v<T>) {
            (*json)["kind"] = "choice";
            Json names = Json::array();
            for (const T candidate : ndk::enum_range<T>()) names.push_back(toString(candidate));
            (*json)["names"] = std::move(names);
        } else if constexpr (std::is_same_v<T, UwbAddress>) {
            (*json)["kind"] = "address";
        } else if constexpr (std::is_same_v<T, std::vector<UwbAddress>>) {
            (*json)["kind"] = "addresses";
        } else if constexpr (std::is_same_v<T, std::vector<uint8_t>>) {
            (*json)["kind"] = "bytes";
        } else {
            (*json)["kind"] = "group";
            Json members = Json::array();
            VisitMembers(value, Describer{&members});
            (*json)["members"] = std::move(members);
        }
    }
};

}  // namespace

Json DescribeForms(const SessionDefaults& defaults, bool has_world) {
    Json presets = Json::array();
    for (const SessionPreset& preset : SessionPresets()) {
        FiraTwrSession session = MakeSession(preset.name);
        FillDeviceAddress(&session);
        presets.push_back({{"name", preset.name},
                           {"description", preset.description},
                           {"session", PublicSessionToJson(session)}});
    }
    FiraTwrSession any;
    Json members = Json::array();
    VisitMembers(&any, Describer{&members});
    Json scenes = Json::array();
    Json models = Json::array();
    if (has_world) {
        for (const SceneFile& scene : ListScenes()) {
            scenes.push_back({{"name", scene.name}, {"title", scene.title}});
        }
        for (const ModelPreset& model : ModelPresets()) {
            models.push_back({{"name", model.name}, {"title", model.what}});
        }
    }
    return {{"version", hardware::velta::kVersion},
            {"presets", std::move(presets)},
            {"members", std::move(members)},
            {"defaults",
             {{"preset", defaults.preset}, {"iface", defaults.iface}, {"peers", defaults.peers}}},
            {"countries", CalibrationFiles::Find().Countries()},
            {"has_world", has_world},
            {"scenes", std::move(scenes)},
            {"models", std::move(models)}};
}

}  // namespace uwbctl
