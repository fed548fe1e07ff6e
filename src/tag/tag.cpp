#include "src/tag/tag.h"

#include "src/tag/eval.h"

#include <algorithm>
#include <cstring>

namespace {

// Whether a writer above this state is baking. The entry may have any size; missing bytes of a
// shorter one are 0.
bool IsBaking(miState* state) {
    int size = 0;
    const void* entry = mi_shaderstate_get(state, "vx_pc", &size);
    if (size == 0 || entry == nullptr) return false;
    int flag = 0;
    std::memcpy(&flag, entry, std::min(static_cast<size_t>(size), sizeof flag));
    return flag != 0;
}

} // namespace

miBoolean TagColor(miColor* result, miState* state, TagParameters* params) {
    // The writer shades with reflection rays. All other rays of a bake get the usual color.
    const bool bake = state->type == miRAY_REFLECT && IsBaking(state);
    *result = evalValue(state, bake ? &params->bakeColor : &params->color);
    return miTRUE;
}
