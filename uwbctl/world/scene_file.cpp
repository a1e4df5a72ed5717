// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/scene_file.h"

#include <android-base/file.h>
#include <android-base/strings.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"
#include "uwbctl/client/text_file.h"

namespace uwbctl {
namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "/usr/share/uwb/scenes";
constexpr char kEnding[] = ".scene";

// What the first line says, when it is a comment.
std::string Title(const std::string& path) {
    std::string text;
    if (!android::base::ReadFileToString(path, &text) || !text.starts_with("#")) return "";
    return android::base::Trim(text.substr(1, text.find('\n') - 1));
}

// A name is one word.
std::string NameOf(const std::string& path) {
    return android::base::StringReplace(fs::path(path).stem().string(), " ", "_", /*all=*/true);
}

}  // namespace

Scene ReadSceneFile(const std::string& path, std::optional<unsigned> radios) {
    ParsedScene parsed = ParseScene(ReadTextFile(path), radios);
    std::vector<std::string> lines;
    lines.reserve(parsed.mistakes.size());
    for (const SceneMistake& it : parsed.mistakes) {
        lines.push_back(path + ":" + std::to_string(it.line) + ": " + it.word + ": " + it.why);
    }
    if (!lines.empty()) throw Failure(kUsage, android::base::Join(lines, '\n'));
    parsed.scene.name = NameOf(path);
    return std::move(parsed.scene);
}

std::vector<SceneFile> ListScenes() {
    std::vector<SceneFile> scenes;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(kFolder, error)) {
        if (entry.path().extension() != kEnding) continue;
        scenes.push_back(
            {.name = entry.path().stem(), .path = entry.path(), .title = Title(entry.path())});
    }
    std::sort(scenes.begin(), scenes.end(),
              [](const SceneFile& a, const SceneFile& b) { return a.name < b.name; });
    return scenes;
}

std::string FindScene(const std::string& file_or_name) {
    std::error_code error;
    if (fs::is_regular_file(file_or_name, error)) return file_or_name;
    std::vector<std::string> names;
    for (const SceneFile& scene : ListScenes()) {
        if (scene.name == file_or_name) return scene.path;
        names.push_back(scene.name);
    }
    throw Failure(kUsage, "there is no scene " + file_or_name + "; there are " +
                              Join(names, [](const std::string& name) { return name; }));
}

}  // namespace uwbctl
