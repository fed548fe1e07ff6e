// What the light shaders share.
#pragma once

#include "shader.h"

namespace vx::shaders {

/*
 * Full light up to `start`, none from `stop` on, linear in between:
 * 1 - (distance - start) / (stop - start), clamped to [0, 1].
 */
miScalar distance_falloff(double distance, miScalar start, miScalar stop);

// 0 at the outer cosine and beyond, 1 from the inner one on, in between the smooth step
// t^2 (3 - 2t) of t = (cosine - outer) / (inner - outer). A sharp edge when inner <= outer.
miScalar cone_falloff(miScalar cosine, miScalar inner, miScalar outer);

/*
 * Darkens *result by what lies between the light and the point: shadowed + factor (full -
 * shadowed). No ray is cast when shadows are off, the factor is 1 or more, or the state is not that
 * of a light ray. False: nothing is left.
 */
bool cast_shadow(miColor* result, miState* state, bool shadows, miScalar factor);

} // namespace vx::shaders
