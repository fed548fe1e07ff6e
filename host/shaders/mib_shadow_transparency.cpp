// A shadow shader. Multiplies the light in *result by
//     (1 - alpha) + alpha * transp * color
// per channel, where alpha is that of `color`. Only the lights of the list are affected; without a
// list, all lights are. Returns false if no light remains.
#include "host/shaders/lights.h"
#include "host/shaders/shader_tools.h"

namespace {

struct ShadowTransparencyParameters {
    miColor color, transp;
    vx::shaders::LightParameters lights;
};

// The light whose light shader traced the shadow ray.
miTag light_of(const miState* state) {
    for (; state != nullptr; state = state->parent)
        if (state->light_instance != miNULLTAG) return state->light_instance;
    return miNULLTAG;
}

} // namespace

VX_SHADER(mib_shadow_transparency, miColor, ShadowTransparencyParameters) {
    using namespace vx::shaders;
    const bool all =
        parameters->lights.count == 0 && *mi_eval_integer(&parameters->lights.mode) == 0;
    if (!all) {
        const miTag light = light_of(state);
        if (light != miNULLTAG && !Lights(state, parameters->lights).contains(light)) return miTRUE;
    }
    const miColor color = *mi_eval_color(&parameters->color);
    const miColor transp = *mi_eval_color(&parameters->transp);
    const miScalar open = 1 - color.a;
    result->r *= open + color.a * transp.r * color.r;
    result->g *= open + color.a * transp.g * color.g;
    result->b *= open + color.a * transp.b * color.b;
    return is_dark(*result) ? miFALSE : miTRUE;
}
