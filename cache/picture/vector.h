// Vectors of three doubles, and points through the row-vector matrices of scene files.
#pragma once

#include "cache/cloud/derived.h"

#include <cmath>

namespace vx::cache {

struct Vec {
    double x = 0, y = 0, z = 0;
    bool operator==(const Vec&) const = default;
};

inline Vec operator+(const Vec& a, const Vec& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec operator-(const Vec& a, const Vec& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec operator*(const Vec& a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}
inline double dot(const Vec& a, const Vec& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec cross(const Vec& a, const Vec& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vec& a) {
    return std::sqrt(dot(a, a));
}
// Zero and not-finite vectors come back as they are.
inline Vec normalized(const Vec& a) {
    const double l = length(a);
    return l > 0 && std::isfinite(l) ? a * (1 / l) : a;
}
inline bool is_finite(const Vec& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

// Affine matrices, translation in the last row: p' = (x y z 1) M.
inline Vec transform_direction(const Matrix& m, const Vec& v) {
    return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
            v.x * m[2] + v.y * m[6] + v.z * m[10]};
}
inline Vec transform_point(const Matrix& m, const Vec& p) {
    return transform_direction(m, p) + Vec{m[12], m[13], m[14]};
}

} // namespace vx::cache
