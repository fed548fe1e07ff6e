// Returns input (1 - refract) + refracted refract, per channel. The ray is refracted by Snell's law
// from index 1 outside to `ior` inside, or the other way at back faces, and reflected on total
// internal reflection. It is not deflected if the index is 1, 0 or negative. If the ray fails,
// `refracted` is the environment in its direction.
#include "host/shaders/shader_tools.h"

namespace {

struct RefractParameters {
    miColor input, refract;
    miScalar ior;
};

miColor refracted(miState* state, miScalar ior) {
    miColor seen = {0, 0, 0, 0};
    miVector direction = state->dir;
    bool hit = false;
    if (!(ior > 0) || ior == 1) {
        hit = mi_trace_transparent(&seen, state) != miFALSE;
    } else {
        const bool leaving = state->inv_normal != miFALSE;
        const miScalar from = leaving ? ior : 1, to = leaving ? 1 : ior;
        if (mi_refraction_dir(&direction, state, from, to))
            hit = mi_trace_refraction(&seen, state, &direction) != miFALSE;
        else
            hit = mi_trace_reflection(&seen, state, &direction) != miFALSE;
    }
    if (!hit) {
        seen = {0, 0, 0, 0};
        mi_trace_environment(&seen, state, &direction);
    }
    return seen;
}

} // namespace

VX_SHADER(mib_refract, miColor, RefractParameters) {
    using namespace vx::shaders;
    const miColor weight = *mi_eval_color(&parameters->refract);
    *result = mix_ray(state, &parameters->input, weight,
                      [&] { return refracted(state, *mi_eval_scalar(&parameters->ior)); });
    return miTRUE;
}
