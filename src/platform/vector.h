// Arithmetic on miVector. The renderer has functions of its own for it, but they may be macros and
// may take pointers to non-const vectors.
#pragma once

#include "src/platform/renderer.h"

inline float Dot(const miVector& a, const miVector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// `v` with length 1. The null vector stays.
inline miVector Normalized(const miVector& v) {
    const float length = sqrtf(Dot(v, v));
    if (length == 0.0f) return v;
    const float scale = 1.0f / length;
    return {v.x * scale, v.y * scale, v.z * scale};
}
