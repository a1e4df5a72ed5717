// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/world/scene_file.h"

#include <android-base/file.h>
#include <android-base/strings.h>

#include <algorithm>
#include <cctype>
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

std::string TitleOf(const std::string& path) {
    std::string text;
    return android::base::ReadFileToString(path, &text) ? SceneTitle(text) : "";
}

}  // namespace

std::string SceneTitle(const std::string& text) {
    return text.starts_with("#") ? android::base::Trim(text.substr(1, text.find('\n') - 1)) : "";
}

std::string SceneName(const std::string& path) {
    constexpr size_t kMaxBytes = 63;
    std::string name = fs::path(path).stem().string();
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return isspace(c) || iscntrl(c); }, '_');
    return Beginning(name, kMaxBytes);
}

Scene ReadSceneFile(const std::string& path, std::optional<unsigned> radios) {
    ParsedScene parsed = ParseScene(ReadTextFile(path), radios);
    std::vector<std::string> lines;
    lines.reserve(parsed.mistakes.size());
    for (const SceneMistake& it : parsed.mistakes) {
        lines.push_back(path + ":" + std::to_string(it.line) + ": " + it.word + ": " + it.why);
    }
    if (!lines.empty()) throw Failure(kUsage, android::base::Join(lines, '\n'));
    parsed.scene.name = SceneName(path);
    return std::move(parsed.scene);
}

std::vector<SceneFile> ListScenes() {
    std::vector<SceneFile> scenes;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(kFolder, error)) {
        if (entry.path().extension() != kEnding) continue;
        scenes.push_back(
            {.name = entry.path().stem(), .path = entry.path(), .title = TitleOf(entry.path())});
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
    throw Failure(kUsage, "there is no scene " + Shortened(file_or_name) + "; there are " +
                              Join(names, [](const std::string& name) { return name; }));
}

}  // namespace uwbctl
