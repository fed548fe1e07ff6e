#include "host/shaders/light_tools.h"

#include "host/shaders/shader_tools.h"

#include <algorithm>

namespace vx::shaders {

miScalar distance_falloff(double distance, miScalar start, miScalar stop) {
    if (distance >= static_cast<double>(stop)) return 0;
    if (distance <= static_cast<double>(start)) return 1;
    return static_cast<miScalar>((static_cast<double>(stop) - distance) /
                                 (static_cast<double>(stop) - static_cast<double>(start)));
}

miScalar cone_falloff(miScalar cosine, miScalar inner, miScalar outer) {
    if (cosine <= outer) return 0;
    if (cosine >= inner) return 1;
    const miScalar t = (cosine - outer) / (inner - outer);
    return t * t * (3 - 2 * t);
}

bool cast_shadow(miColor* result, miState* state, bool shadows, miScalar factor) {
    if (!shadows || factor >= 1 || state->type != miRAY_LIGHT) return !is_dark(*result);
    const miColor full = *result;
    if (!mi_trace_shadow(result, state)) *result = {0, 0, 0, 0};
    const miScalar keep = std::max(factor, 0.0f);
    *result = *result * (1 - keep) + full * keep;
    return !is_dark(*result);
}

} // namespace vx::shaders
