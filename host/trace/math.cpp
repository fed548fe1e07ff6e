#include "host/trace/math.h"

namespace vx::trace {

std::optional<Matrix> inverse(const Matrix& m) {
    // Gauss-Jordan with row pivots, in double precision.
    double a[4][8] = {};
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = 0; j < 4; ++j)
            a[i][j] = static_cast<double>(m[4 * i + j]);
        a[i][4 + i] = 1.0;
    }
    for (std::size_t column = 0; column < 4; ++column) {
        std::size_t pivot = column;
        for (std::size_t row = column + 1; row < 4; ++row)
            if (std::abs(a[row][column]) > std::abs(a[pivot][column])) pivot = row;
        if (!(std::abs(a[pivot][column]) > 0.0) || !std::isfinite(a[pivot][column]))
            return std::nullopt;
        if (pivot != column)
            for (std::size_t j = 0; j < 8; ++j)
                std::swap(a[pivot][j], a[column][j]);
        const double f = 1.0 / a[column][column];
        for (std::size_t j = 0; j < 8; ++j)
            a[column][j] *= f;
        for (std::size_t row = 0; row < 4; ++row) {
            if (row == column) continue;
            const double g = a[row][column];
            if (g == 0.0) continue;
            for (std::size_t j = 0; j < 8; ++j)
                a[row][j] -= g * a[column][j];
        }
    }
    Matrix r{};
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t j = 0; j < 4; ++j) {
            r[4 * i + j] = static_cast<float>(a[i][4 + j]);
            if (!std::isfinite(r[4 * i + j])) return std::nullopt;
        }
    return r;
}

} // namespace vx::trace
