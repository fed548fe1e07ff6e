/// @file
/// Cameras of scene files.
#pragma once

#include "cache/picture/camera.h"

#include <string>

namespace vx::cache {

struct SceneCamera {
    std::string instance;
    Camera camera;
};

/// Reads a camera as a render of the scene sees it: with the transformations from the root group to
/// its instance. Without a name, it is the camera of the first render command, or the only camera
/// instance if there is no such command. The window of the camera is ignored. If the scene has
/// errors, the camera is still returned if it is found.
/// @param text          "scene.mi", or "scene.mi:NAME" with the name of the instance or the camera
/// @param width,height  resolution of the picture; 0: that of the scene. Another aspect ratio
///                      stretches the picture, as a render with that resolution does
/// @throws FileError
SceneCamera read_scene_camera(const std::string& text, int width, int height);

} // namespace vx::cache
