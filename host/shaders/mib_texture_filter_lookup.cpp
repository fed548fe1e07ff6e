// As mib_texture_lookup. The filter parameters have no effect; lookups are bilinear.
#include "host/shaders/shader_tools.h"

namespace {

struct TextureFilterLookupParameters {
    miTag tex;
    miVector coord;
    miScalar eccmax, maxminor, disc_r;
    miBoolean bilinear;
    miInteger space;
    miTag remap;
};

} // namespace

VX_SHADER(mib_texture_filter_lookup, miColor, TextureFilterLookupParameters) {
    const miTag texture = *mi_eval_tag(&parameters->tex);
    *result = {0, 0, 0, 0};
    if (texture == miNULLTAG) return miTRUE;
    miVector coord = *mi_eval_vector(&parameters->coord);
    if (!mi_lookup_color_texture(result, state, texture, &coord)) *result = {0, 0, 0, 0};
    return miTRUE;
}
