// The outer shader of Maya's materials, which goes by two names.
#ifndef VX_HOST_SHADERS_SHADING_ENGINE_H
#define VX_HOST_SHADERS_SHADING_ENGINE_H

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

#endif
