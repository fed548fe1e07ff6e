// What the shaders of base.so share: colours, and the entry points that a renderer looks for.
#pragma once

#include "shader.h"

// NAME_version, which a renderer compares with the declaration in base.mi.
#define VX_SHADER_VERSION(name)                                                                    \
    extern "C" DLLEXPORT int name##_version(void);                                                 \
    extern "C" DLLEXPORT int name##_version(void) {                                                \
        return 1;                                                                                  \
    }

// The shader itself, behind its prototype. The arguments are names of types and of the function.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define VX_SHADER(name, Result, Parameters)                                                        \
    VX_SHADER_VERSION(name)                                                                        \
    extern "C" DLLEXPORT miBoolean name(Result* result, miState* state, Parameters* parameters);   \
    extern "C" DLLEXPORT miBoolean name(Result* result, miState* state, Parameters* parameters)
// NOLINTEND(bugprone-macro-parentheses)

namespace vx::shaders {

// Channel by channel, alpha too.
inline miColor operator+(const miColor& a, const miColor& b) {
    return {a.r + b.r, a.g + b.g, a.b + b.b, a.a + b.a};
}
inline miColor operator*(const miColor& a, const miColor& b) {
    return {a.r * b.r, a.g * b.g, a.b * b.b, a.a * b.a};
}
inline miColor operator*(const miColor& a, miScalar f) {
    return {a.r * f, a.g * f, a.b * f, a.a * f};
}
inline miColor complement(const miColor& c) {
    return {1 - c.r, 1 - c.g, 1 - c.b, 1 - c.a};
}
inline bool is_transparent_black(const miColor& c) {
    return c.r == 0 && c.g == 0 && c.b == 0 && c.a == 0;
}
inline bool is_opaque_white(const miColor& c) {
    return c.r == 1 && c.g == 1 && c.b == 1 && c.a == 1;
}
inline bool is_dark(const miColor& c) {
    return !(c.r > 0) && !(c.g > 0) && !(c.b > 0);
}

inline miVector minus(const miVector& v) {
    return {-v.x, -v.y, -v.z};
}

// input (1 - weight) + ray() weight, channel by channel. Neither is evaluated when its weight
// leaves nothing of it: ray() is called unless the weight is transparent black, the input unless it
// is opaque white.
template <class Ray>
miColor mix_ray(miState* state, miColor* input, const miColor& weight, Ray&& ray) {
    if (is_transparent_black(weight)) return *mi_eval_color(input);
    miColor result = {0, 0, 0, 0};
    if (!is_opaque_white(weight)) result = *mi_eval_color(input) * complement(weight);
    return result + ray() * weight;
}

} // namespace vx::shaders
