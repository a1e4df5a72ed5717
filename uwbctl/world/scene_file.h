// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "uwbctl/world/scene.h"

namespace uwbctl {

/** What is wrong with a scene. */
struct SceneMistake {
    /** From 1. */
    int line = 0;
    /** The word that is wrong, as it stands there. */
    std::string word;
    std::string why;
};

/** A text as a scene, as far as it can be read. */
struct ParsedScene {
    Scene scene;
    /** In the order of the lines; none for a good scene. */
    std::vector<SceneMistake> mistakes;
};

/**
 * Reads a scene's text.
 *
 * @param radios how many radios there are; without it, as many as the virtual radio can have.
 */
ParsedScene ParseScene(const std::string& text, std::optional<unsigned> radios = std::nullopt);

/** @return the scene as text that ParseScene() reads back as the same. */
std::string PrintScene(const Scene& scene);

/** ParseScene() of a file; a Failure tells every mistake as FILE:LINE: WORD: why, a line each. */
Scene ReadSceneFile(const std::string& path, std::optional<unsigned> radios = std::nullopt);

/**
 * @return what a scene is called that comes from a file: the file's name without folder and ending,
 *         as one word that the virtual radio has room for.
 */
std::string SceneName(const std::string& path);

/** @return what the first line of a scene's text says, when it is a comment; else nothing. */
std::string SceneTitle(const std::string& text);

/** A scene that lies on this machine. */
struct SceneFile {
    /** The file's name without its ending. */
    std::string name;
    std::string path;
    /** What its first comment says. */
    std::string title;
};

/** @return the scenes that came with the virtual device, by name; none elsewhere. */
std::vector<SceneFile> ListScenes();

/** @return the path of a scene by its file or its name; throws a Failure that lists the names. */
std::string FindScene(const std::string& file_or_name);

}  // namespace uwbctl
