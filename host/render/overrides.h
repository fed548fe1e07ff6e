// Applies the render settings of the command line to the camera and options of a scene.
#pragma once

#include "host/render/settings.h"

#include "shader.h"

namespace vx::render {

void override_camera(const RenderSettings& settings, miCamera& camera);
void override_options(const RenderSettings& settings, miOptions& options);

} // namespace vx::render
