// Converts descriptions of the scene to records of the renderer's interface. Members that hold tags
// stay null.
#pragma once

#include "host/scene/elements.h"
#include "shader.h"

namespace vx::shading {

miOptions options_record(const scene::Options& options);
miCamera camera_record(const scene::Camera& camera);
miLight light_record(const scene::Light& light);
miInstance instance_record(const scene::Instance& instance);

// The inverse, computed in double precision; the identity if the matrix is singular.
scene::Matrix inverse(const scene::Matrix& matrix);

} // namespace vx::shading
