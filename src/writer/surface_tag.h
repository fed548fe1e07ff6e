// The tag of a surface that a probe hit.
#pragma once

#include "src/platform/renderer.h"

// Searches the material list of the instance for a vx_pc_tag shader whose `tag` is 0 or more, and
// returns the tag of the first one. Otherwise returns the result of the last material: its negative
// tag, or -1 without a vx_pc_tag. A vx_pc_tag is found as a material shader, or connected to
// "input" of a "sib_setnormal" or to "surfaceShader" of an "adskMayaShadingEngine" that is a
// material shader. `hit` is the child state of the probe.
//
// All elements are unpinned except the declaration of a connected shader.
int FindSurfaceTag(miState* hit);
