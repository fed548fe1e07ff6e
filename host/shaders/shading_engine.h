// The outer shader of Maya's materials, which goes by two names.
#pragma once

#include "shader.h"

namespace vx::shaders {

struct ShadingEngineParameters {
    miColor surface_shader;
    miScalar cut_away_opacity;
    miInteger alpha_mode;
};

// The colour of `surfaceShader`. Where its alpha is below `cutAwayOpacity` the surface counts as a
// hole, and what lies behind it is seen. `alphaMode` has no effect.
miBoolean shading_engine(miColor* result, miState* state, ShadingEngineParameters* parameters);

} // namespace vx::shaders
