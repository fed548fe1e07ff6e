// A point light: color * f, where f is 1 or, with `atten`, the linear distance_falloff from `start`
// to `stop`. Shadows are lightened by `factor`.
#include "host/shaders/light_tools.h"
#include "host/shaders/shader_tools.h"

namespace {

struct PointParameters {
    miColor color;
    miBoolean shadow;
    miScalar factor;
    miBoolean atten;
    miScalar start, stop;
};

} // namespace

VX_SHADER(mib_light_point, miColor, PointParameters) {
    using namespace vx::shaders;
    *result = *mi_eval_color(&parameters->color);
    if (*mi_eval_boolean(&parameters->atten)) {
        const miScalar start = *mi_eval_scalar(&parameters->start);
        const miScalar stop = *mi_eval_scalar(&parameters->stop);
        *result = *result * distance_falloff(state->dist, start, stop);
    }
    if (is_dark(*result)) return miFALSE;
    const bool shadows = *mi_eval_boolean(&parameters->shadow) != miFALSE;
    const miScalar factor = *mi_eval_scalar(&parameters->factor);
    return cast_shadow(result, state, shadows, factor) ? miTRUE : miFALSE;
}
