// Colors, and the entry points of shaders.
#pragma once

#include "shader.h"

// Defines NAME_version, which the renderer compares with the version in base.mi.
#define VX_SHADER_VERSION(name)                                                                    \
    extern "C" DLLEXPORT int name##_version(void);                                                 \
    extern "C" DLLEXPORT int name##_version(void) {                                                \
        return 1;                                                                                  \
    }

// Declares a shader and begins its definition. The arguments are names of types and of a function.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define VX_SHADER(name, Result, Parameters)                                                        \
    VX_SHADER_VERSION(name)                                                                        \
    extern "C" DLLEXPORT miBoolean name(Result* result, miState* state, Parameters* parameters);   \
    extern "C" DLLEXPORT miBoolean name(Result* result, miState* state, Parameters* parameters)
// NOLINTEND(bugprone-macro-parentheses)

namespace vx::shaders {

// All operators work per channel, including alpha.
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

// Returns input (1 - weight) + ray() weight, per channel. Terms without effect are not evaluated:
// ray() for a weight of transparent black, the input for opaque white.
template <class Ray>
miColor mix_ray(miState* state, miColor* input, const miColor& weight, Ray&& ray) {
    if (is_transparent_black(weight)) return *mi_eval_color(input);
    miColor result = {0, 0, 0, 0};
    if (!is_opaque_white(weight)) result = *mi_eval_color(input) * complement(weight);
    return result + ray() * weight;
}

} // namespace vx::shaders
