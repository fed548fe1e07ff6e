// A spot light: color * f * g. f is the distance falloff as in mib_light_point. g is the
// cone_falloff of the cosine between the axis of the light and the direction to the point, from the
// inner cosine `cone` to the outer cosine `spread` of the light. It is 1 for other kinds of lights.
// Shadows are lightened by `factor`.
#include "host/shaders/light_tools.h"
#include "host/shaders/shader_tools.h"

namespace {

struct SpotParameters {
    miColor color;
    miBoolean shadow;
    miScalar factor;
    miBoolean atten;
    miScalar start, stop, cone;
};

struct Cone {
    miVector axis = {0, 0, -1}; // internal space
    miScalar spread = 0;
    bool is_spot = false;
};

// The matrices of a light instance transform between world space and light space.
Cone light_cone(miTag light_instance) {
    Cone cone;
    if (light_instance == miNULLTAG || mi_db_type(light_instance) != miSCENE_INSTANCE) return cone;
    const auto* const instance = static_cast<const miInstance*>(mi_db_access(light_instance));
    const miTag item = instance->item;
    if (mi_db_type(item) == miSCENE_LIGHT) {
        const auto* const light = static_cast<const miLight*>(mi_db_access(item));
        cone.is_spot = light->type == miLIGHT_SPOT;
        cone.spread = light->spread;
        const miVector d = light->direction;
        const miScalar* const m = instance->tf.local_to_global;
        cone.axis = d;
        if (!instance->tf.identity)
            cone.axis = {d.x * m[0] + d.y * m[4] + d.z * m[8], d.x * m[1] + d.y * m[5] + d.z * m[9],
                         d.x * m[2] + d.y * m[6] + d.z * m[10]};
        mi_vector_normalize(&cone.axis);
        mi_db_unpin(item);
    }
    mi_db_unpin(light_instance);
    return cone;
}

} // namespace

VX_SHADER(mib_light_spot, miColor, SpotParameters) {
    using namespace vx::shaders;
    *result = *mi_eval_color(&parameters->color);
    const Cone cone = light_cone(state->light_instance);
    if (cone.is_spot) {
        const miScalar inner = *mi_eval_scalar(&parameters->cone);
        const miScalar cosine = mi_vector_dot(&state->dir, &cone.axis);
        *result = *result * cone_falloff(cosine, inner, cone.spread);
    }
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
