// Returns the color of the texture, repeated in all directions, at the coordinates of the first
// texture space times `factor` (0 means 1). Transparent black without a texture or coordinates.
#include "host/shaders/shader_tools.h"

#include <cmath>

namespace {

struct TextureLookup2Parameters {
    miTag tex;
    miScalar factor;
};

miScalar fraction(miScalar x) {
    const miScalar f = x - std::floor(x);
    return f < 1 ? f : 0;
}

} // namespace

VX_SHADER(mib_texture_lookup2, miColor, TextureLookup2Parameters) {
    const miTag texture = *mi_eval_tag(&parameters->tex);
    const miScalar given = *mi_eval_scalar(&parameters->factor);
    const miScalar factor = given == 0 ? 1 : given;
    *result = {0, 0, 0, 0};
    if (texture == miNULLTAG || state->tex_list == nullptr) return miTRUE;
    const miVector t = state->tex_list[0];
    miVector coord = {fraction(t.x * factor), fraction(t.y * factor), fraction(t.z * factor)};
    if (!mi_lookup_color_texture(result, state, texture, &coord)) *result = {0, 0, 0, 0};
    return miTRUE;
}
