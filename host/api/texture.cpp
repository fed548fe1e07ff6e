// mi_lookup_*_texture: image files and procedural textures.
#include "host/shading/call.h"
#include "host/trace/traced_frame.h"

namespace {

using vx::shading::Context;

// Stores the value of an image in `color`, and the result of a texture shader in `other`, or in
// `color` if `other` is null.
bool find_value(miState* state, miTag tag, const miVector* coord, miColor& color, void* other) {
    color = {};
    if (state == nullptr || coord == nullptr || tag == miNULLTAG) return false;
    Context& context = Context::current();
    if (context.database.type(tag) == miSCENE_FUNCTION) {
        const miVector before = state->tex;
        state->tex = *coord;
        const bool ok = vx::shading::call_list(context, tag, other != nullptr ? other : &color,
                                               state, miSHADER_TEXTURE);
        state->tex = before;
        return ok;
    }
    const auto* const frame = vx::trace::TracedFrame::current();
    const auto* const textures = frame != nullptr ? frame->textures() : nullptr;
    const auto* const image = textures != nullptr ? textures->find(tag) : nullptr;
    if (image == nullptr) return false;
    if (!(coord->x >= 0.0f && coord->x < 1.0f && coord->y >= 0.0f && coord->y < 1.0f)) return false;
    color = image->bilinear(coord->x, coord->y);
    return true;
}

bool look_up(miState* state, miTag tag, const miVector* coord, miColor& color, void* other) {
    const bool found = find_value(state, tag, coord, color, other);
    if (!found) Context::current().thread().note_false_below();
    return found;
}

bool is_shader(miTag tag) {
    return Context::current().database.type(tag) == miSCENE_FUNCTION;
}

} // namespace

miBoolean mi_lookup_color_texture(miColor* result, miState* state, miTag tag, miVector* coord) {
    return look_up(state, tag, coord, *result, nullptr) ? miTRUE : miFALSE;
}

miBoolean mi_lookup_scalar_texture(miScalar* result, miState* state, miTag tag, miVector* coord) {
    *result = 0.0f;
    miColor color;
    if (!look_up(state, tag, coord, color, result)) return miFALSE;
    if (!is_shader(tag)) *result = (color.r + color.g + color.b) / 3.0f;
    return miTRUE;
}

miBoolean mi_lookup_vector_texture(miVector* result, miState* state, miTag tag, miVector* coord) {
    *result = {};
    miColor color;
    if (!look_up(state, tag, coord, color, result)) return miFALSE;
    if (!is_shader(tag)) *result = {color.r, color.g, color.b};
    return miTRUE;
}
