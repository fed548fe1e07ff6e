// The shading group shader of Maya materials, which exists under two names.
#pragma once

#include "shader.h"

namespace vx::shaders {

struct ShadingEngineParameters {
    miColor surface_shader;
    miScalar cut_away_opacity;
    miInteger alpha_mode;
};

// Returns the color of `surfaceShader`. If its alpha is less than `cutAwayOpacity`, the surface is
// a hole, and the result is the color behind it. `alphaMode` has no effect.
miBoolean shading_engine(miColor* result, miState* state, ShadingEngineParameters* parameters);

} // namespace vx::shaders
