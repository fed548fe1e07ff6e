// The tag of a surface that a probe has hit.
#pragma once

#include "src/platform/renderer.h"

// The `tag` parameter of the first vx_pc_tag in the material list of the hit instance that has one
// of 0 or more; if none has, what the last material gave: its negative tag, or -1 if it has no
// vx_pc_tag. A vx_pc_tag counts when it is the material shader
// itself, or is attached to "input" of a "sib_setnormal" or to "surfaceShader" of an
// "adskMayaShadingEngine" that is. `hit` is the state that the probe left.
//
// Every access is given back but one: the declaration of an attached shader stays pinned.
int FindSurfaceTag(miState* hit);
