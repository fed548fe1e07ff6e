// The shading group shader of Maya materials under its current name. See shading_engine.h.
#include "host/shaders/shader_tools.h"
#include "host/shaders/shading_engine.h"

VX_SHADER(adskMayaShadingEngine, miColor, vx::shaders::ShadingEngineParameters) {
    return vx::shaders::shading_engine(result, state, parameters);
}
