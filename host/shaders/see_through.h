// Transparency rays.
#pragma once

#include "shader.h"

namespace vx::shaders {

// The color that the ray sees beyond this hit; the environment if the ray fails.
inline miColor see_through(miState* state) {
    miColor seen = {0, 0, 0, 0};
    if (mi_trace_transparent(&seen, state)) return seen;
    seen = {0, 0, 0, 0};
    mi_trace_environment(&seen, state, &state->dir);
    return seen;
}

} // namespace vx::shaders
