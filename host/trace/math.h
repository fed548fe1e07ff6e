// Row-vector matrices and small vector helpers. p' = p * M; translation in the last row.
#pragma once

#include <array>
#include <cmath>
#include <optional>

#include "shader.h"

namespace vx::trace {

using Matrix = std::array<float, 16>;
inline constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

inline Matrix to_matrix(const miMatrix& m) {
    Matrix r{};
    for (std::size_t i = 0; i < 16; ++i)
        r[i] = m[i];
    return r;
}
inline void store(const Matrix& from, miMatrix& to) {
    for (std::size_t i = 0; i < 16; ++i)
        to[i] = from[i];
}

// Applies a first, then b: p * (a * b) = (p * a) * b. Summed in double precision, since the
// matrices of nested groups are multiplied many times over.
inline Matrix multiply(const Matrix& a, const Matrix& b) {
    Matrix r{};
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t j = 0; j < 4; ++j) {
            double sum = 0.0;
            for (std::size_t k = 0; k < 4; ++k)
                sum += static_cast<double>(a[4 * i + k]) * static_cast<double>(b[4 * k + j]);
            r[4 * i + j] = static_cast<float>(sum);
        }
    return r;
}

// Nothing when the matrix is singular or not finite.
[[nodiscard]] std::optional<Matrix> inverse(const Matrix& m);

// Of the upper left 3 x 3; negative when the matrix mirrors.
inline double determinant(const Matrix& m) {
    const auto e = [&](std::size_t i) { return static_cast<double>(m[i]); };
    return e(0) * (e(5) * e(10) - e(6) * e(9)) - e(1) * (e(4) * e(10) - e(6) * e(8)) +
           e(2) * (e(4) * e(9) - e(5) * e(8));
}

inline miVector point(const float* m, const miVector& p) {
    return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
            p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
            p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}
// Leaves the translation out.
inline miVector direction(const float* m, const miVector& v) {
    return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
            v.x * m[2] + v.y * m[6] + v.z * m[10]};
}
// Transforms a normal by the transpose of `m`, so give the matrix of the opposite way.
inline miVector normal(const float* m, const miVector& n) {
    return {n.x * m[0] + n.y * m[1] + n.z * m[2], n.x * m[4] + n.y * m[5] + n.z * m[6],
            n.x * m[8] + n.y * m[9] + n.z * m[10]};
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
inline miVector cross(const miVector& a, const miVector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline bool same(const miVector& a, const miVector& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}
inline bool finite(const miVector& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}
// The null vector stays. So does a vector whose length is 1 but for rounding: to normalize twice is
// to normalize once, to the bit. Through double precision: squares of small lengths vanish in
// single.
inline miVector normalized(const miVector& v) {
    const double square = static_cast<double>(v.x) * v.x + static_cast<double>(v.y) * v.y +
                          static_cast<double>(v.z) * v.z;
    // Rounding changes each component, and so the length, by 2^-24 of itself at most.
    if (std::abs(square - 1.0) <= 0x1p-22) return v;
    const double length = std::sqrt(square);
    if (!(length > 0.0) || !std::isfinite(length)) return v;
    const double f = 1.0 / length;
    return {static_cast<float>(v.x * f), static_cast<float>(v.y * f), static_cast<float>(v.z * f)};
}

} // namespace vx::trace
