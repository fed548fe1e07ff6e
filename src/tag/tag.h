// The tag shader: a color for rendering, a color for baking, and the label that the writer stores
// with each point of the surface.
#pragma once

#include "src/platform/renderer.h"

#include <cstddef>

// The parameter block of vx_pc_tag, in the order of its declaration.
struct TagParameters {
    miColor color;     // the result, except while baking
    miColor bakeColor; // the result for reflection rays of a running bake
    miInteger tag;     // read by the writer only, at this offset in the material's shader
};
static_assert(offsetof(TagParameters, bakeColor) == 16 && offsetof(TagParameters, tag) == 32 &&
                  sizeof(TagParameters) == 36,
              "the tag lies behind the two colors");

// Evaluates one of the two colors and copies it to `result`. Does not run a shader that is
// connected to the other color. Always returns miTRUE.
miBoolean TagColor(miColor* result, miState* state, TagParameters* params);
