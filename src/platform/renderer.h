// The renderer's headers, included here and nowhere else in the library.
//
// The renderer's manual has C++ code include shader.h as extern "C". Whether shader.h brings the
// C++ interface (mi_shader_if.h, which brings shader_map.h) with it depends on the version, so both
// are included, shader.h first.
#pragma once

// What the renderer's headers may include. Included first, so that C++ declarations of the standard
// library keep their linkage.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
#include "shader.h"
}
#include "mi_shader_if.h"
