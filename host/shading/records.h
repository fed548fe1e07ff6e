/*
 * The renderer's records from the scene's descriptions, as far as they hold values. Fields that
 * hold tags are left null.
 */
#pragma once

#include "host/scene/elements.h"
#include "shader.h"

namespace vx::shading {

miOptions options_record(const scene::Options& options);
miCamera camera_record(const scene::Camera& camera);
miLight light_record(const scene::Light& light);
miInstance instance_record(const scene::Instance& instance);

/* The inverse of an invertible matrix, computed in double precision; the identity for a singular
 * one. */
scene::Matrix inverse(const scene::Matrix& matrix);

} // namespace vx::shading
