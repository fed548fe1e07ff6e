// Transformations of the interface's vectors, and arithmetic on them.
//
// Matrices are Imath's, for row vectors: p' = p * M, with the translation in the last row. Vectors
// stay miVector, the type of states and records.
#pragma once

#include <Imath/ImathMatrix.h>

#include <algorithm>
#include <cmath>

#include "host/scene/values.h"
#include "shader.h"

namespace vx::trace {

using Matrix = Imath::M44f;
inline constexpr Matrix kIdentity;

inline miVector to_vector(const scene::Vec3& v) {
    return {v.x, v.y, v.z};
}
inline Matrix to_matrix(const miMatrix& m) {
    Matrix result;
    std::copy_n(m, 16, result.getValue());
    return result;
}
inline void store(const Matrix& from, miMatrix& to) {
    std::copy_n(from.getValue(), 16, to);
}

// Applies a first, then b: p * (a * b) = (p * a) * b. In double precision, because the matrices of
// nested groups are multiplied many times over.
inline Matrix multiply(const Matrix& a, const Matrix& b) {
    // The added zero turns elements that are -0 into 0.
    return Matrix(Imath::M44d(a) * Imath::M44d(b) + Imath::M44d(0.0));
}

// True if the matrix mirrors: the determinant of its upper left 3 x 3 is negative.
inline bool mirrors(const Matrix& m) {
    return Imath::M44d(m).fastMinor(0, 1, 2, 0, 1, 2) < 0.0;
}

inline miVector point(const float* m, const miVector& p) {
    return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
            p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
            p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}
inline miVector point(const Matrix& m, const miVector& p) {
    return point(m.getValue(), p);
}
// Without the translation.
inline miVector direction(const float* m, const miVector& v) {
    return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
            v.x * m[2] + v.y * m[6] + v.z * m[10]};
}
inline miVector direction(const Matrix& m, const miVector& v) {
    return direction(m.getValue(), v);
}
// Multiplies by the transpose of `m`, so pass the inverse of the transformation.
inline miVector normal(const float* m, const miVector& n) {
    return {n.x * m[0] + n.y * m[1] + n.z * m[2], n.x * m[4] + n.y * m[5] + n.z * m[6],
            n.x * m[8] + n.y * m[9] + n.z * m[10]};
}
inline miVector normal(const Matrix& m, const miVector& n) {
    return normal(m.getValue(), n);
}

inline miVector operator+(const miVector& a, const miVector& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline miVector operator-(const miVector& a, const miVector& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline miVector operator-(const miVector& a) {
    return {-a.x, -a.y, -a.z};
}
inline miVector operator*(const miVector& a, float f) {
    return {a.x * f, a.y * f, a.z * f};
}
inline float dot(const miVector& a, const miVector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline bool same(const miVector& a, const miVector& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}
inline bool finite(const miVector& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}
// Returns a null vector as it is, and also a vector of length 1 within rounding, so that
// normalizing twice gives the same bits as normalizing once. In double precision, because squares
// of small lengths vanish in single precision.
inline miVector normalized(const miVector& v) {
    const double square = static_cast<double>(v.x) * v.x + static_cast<double>(v.y) * v.y +
                          static_cast<double>(v.z) * v.z;
    // Rounding changes each component, and so the length, by a factor of 1 + 2^-24 at most.
    if (std::abs(square - 1.0) <= 0x1p-22) return v;
    const double length = std::sqrt(square);
    if (!(length > 0.0) || !std::isfinite(length)) return v;
    const double f = 1.0 / length;
    return {static_cast<float>(v.x * f), static_cast<float>(v.y * f), static_cast<float>(v.z * f)};
}

} // namespace vx::trace
