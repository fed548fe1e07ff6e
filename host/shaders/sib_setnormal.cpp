// Evaluates `input` with the normal `normal` (internal space) instead of the surface normal. The
// normal is normalized and flipped to face the ray; a null vector keeps the surface normal. The
// state is restored afterwards.
#include "host/shaders/shader_tools.h"

namespace {

struct SetNormalParameters {
    miColor input;
    miVector normal;
};

} // namespace

VX_SHADER(sib_setnormal, miColor, SetNormalParameters) {
    miVector normal = *mi_eval_vector(&parameters->normal);
    const miVector before = state->normal;
    const miScalar dot_before = state->dot_nd;
    mi_vector_normalize(&normal);
    if (mi_vector_dot(&normal, &normal) > 0) {
        if (mi_vector_dot(&normal, &state->dir) > 0) mi_vector_neg(&normal);
        state->normal = normal;
        state->dot_nd = mi_vector_dot(&normal, &state->dir);
    }
    *result = *mi_eval_color(&parameters->input);
    state->normal = before;
    state->dot_nd = dot_before;
    return miTRUE;
}
