/// @file
/// Vectors of three doubles, and their transformation by the row-vector matrices of scene files.
#pragma once

#include "cache/cloud/derived.h"

#include <cmath>

#include <Imath/ImathVec.h>

namespace vx::cache {

using Vec = Imath::V3d; // not zero unless it is initialized: Vec(0.0)

inline double length(const Vec& a) {
    return std::sqrt(a.dot(a));
}
/// `a` with length 1. A zero vector and one that is not finite are returned unchanged.
inline Vec normalized(const Vec& a) {
    const double l = length(a);
    return l > 0 && std::isfinite(l) ? a * (1 / l) : a;
}
inline bool is_finite(const Vec& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

/// (v.x v.y v.z 0) m
inline Vec transform_direction(const Matrix& m, const Vec& v) {
    Vec out;
    m.multDirMatrix(v, out);
    return out;
}
/// (p.x p.y p.z 1) m, for an affine matrix
inline Vec transform_point(const Matrix& m, const Vec& p) {
    return transform_direction(m, p) + m.translation();
}

} // namespace vx::cache
