// A light at infinity: color, with shadows lightened by `factor`.
#include "host/shaders/light_tools.h"
#include "host/shaders/shader_tools.h"

namespace {

struct InfiniteParameters {
    miColor color;
    miBoolean shadow;
    miScalar factor;
};

} // namespace

VX_SHADER(mib_light_infinite, miColor, InfiniteParameters) {
    using namespace vx::shaders;
    *result = *mi_eval_color(&parameters->color);
    if (is_dark(*result)) return miFALSE;
    const bool shadows = *mi_eval_boolean(&parameters->shadow) != miFALSE;
    const miScalar factor = *mi_eval_scalar(&parameters->factor);
    return cast_shadow(result, state, shadows, factor) ? miTRUE : miFALSE;
}
