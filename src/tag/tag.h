// The tag shader: one surface, two colours, and the integer that the writer stores with its points.
#ifndef VX_SRC_TAG_TAG_H
#define VX_SRC_TAG_TAG_H

#include "src/platform/renderer.h"

#include <cstddef>

// The parameter block of vx_pc_tag, as its declaration orders it.
struct TagParameters {
    miColor color;     // returned in every case but the next
    miColor bakeColor; // returned to the reflection rays of a running bake
    miInteger tag;     // never read here: the writer reads it from the material, by its place
};
static_assert(offsetof(TagParameters, bakeColor) == 16 && offsetof(TagParameters, tag) == 32 &&
                  sizeof(TagParameters) == 36,
              "the writer finds the tag behind the two colours");

// Evaluates and copies one of the two colours; the shader behind the other one is not run. Always
// miTRUE.
miBoolean TagColor(miColor* result, miState* state, TagParameters* params);

#endif
