// The camera of a scene file.
#pragma once

#include "cache/picture/camera.h"

#include <string>

namespace vx::cache {

struct SceneCamera {
    std::string instance;
    Camera camera; // with the scene's resolution; pixels are those of a render
};

/*
 * Reads "scene.mi" or "scene.mi:instance" (or the name of the camera itself). Without a name it is
 * the camera of the first render command, and without such a command the only camera instance. The
 * camera stands where the render sees it, through the groups from the root to its instance. A scene
 * with errors still gives its camera when that can be told. Width and height of 0 keep the scene's
 * resolution; others replace it and stretch the picture as a render at that resolution does.
 * Windows of cameras are not looked at: the whole image is seen.
 *
 * Throws FileError.
 */
SceneCamera read_scene_camera(const std::string& text, int width, int height);

} // namespace vx::cache
