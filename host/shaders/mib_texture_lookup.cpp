// Returns the color of the texture at `coord`. Transparent black outside of [0, 1), where textures
// are undefined, and without a texture.
#include "host/shaders/shader_tools.h"

namespace {

struct TextureLookupParameters {
    miTag tex;
    miVector coord;
};

} // namespace

VX_SHADER(mib_texture_lookup, miColor, TextureLookupParameters) {
    const miTag texture = *mi_eval_tag(&parameters->tex);
    *result = {0, 0, 0, 0};
    if (texture == miNULLTAG) return miTRUE;
    miVector coord = *mi_eval_vector(&parameters->coord);
    if (!mi_lookup_color_texture(result, state, texture, &coord)) *result = {0, 0, 0, 0};
    return miTRUE;
}
