// Functions shared by the light shaders.
#pragma once

#include "shader.h"

namespace vx::shaders {

// Linear falloff from 1 at `start` to 0 at `stop`:
// 1 - (distance - start) / (stop - start), clamped to [0, 1].
miScalar distance_falloff(double distance, miScalar start, miScalar stop);

// Smooth falloff of a cone: t^2 (3 - 2t) with t = (cosine - outer) / (inner - outer) clamped to
// [0, 1]. The edge is sharp if inner <= outer.
miScalar cone_falloff(miScalar cosine, miScalar inner, miScalar outer);

// Applies the shadow to *result: shadowed + factor (full - shadowed). No shadow ray is traced if
// `shadows` is false, if the factor is at least 1, or if the state is not that of a light ray.
// Returns false if no light remains.
bool cast_shadow(miColor* result, miState* state, bool shadows, miScalar factor);

} // namespace vx::shaders
