// Clouds that are computed from other clouds while they are read.
#pragma once

#include "cache/cloud/cloud.h"

#include <cstdint>
#include <memory>
#include <vector>

#include <Imath/ImathMatrix.h>

namespace vx::cache {

// Some of the points of a cloud, in their order: one bit per point.
class SelectedCloud final : public Cloud {
  public:
    SelectedCloud(Cloud& cloud, std::vector<bool> keep);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    Cloud& m_cloud;
    std::vector<bool> m_keep;
    std::vector<std::int64_t> m_starts; // how many are kept before each block of the source
    std::vector<std::byte> m_raw;
};

// Points multiply it from the left: p' = (x y z 1) M, the convention of the renderer's scene files.
using Matrix = Imath::M44d;
/// The first three values of a row.
inline Imath::V3d row_of(const Matrix& m, int row) {
    return {m[row][0], m[row][1], m[row][2]};
}

// Positions by the matrix, normals by its inverse transpose and kept at their length, the radius by
// the scale of its volume. Integer attributes of those names become float64.
class TransformedCloud final : public Cloud {
  public:
    // Throws UsageError when the matrix has no inverse.
    TransformedCloud(Cloud& cloud, const Matrix& matrix);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    Cloud& m_cloud;
    Matrix m_matrix;
    Imath::M33d m_normal; // the inverse transpose
    double m_scale = 1;
    std::vector<double> m_values;
};

// One cloud after the other. Has every attribute of any of them, zero where one lacks it; types
// widen to hold all. With `renumber` an "id" counts from 0.
class MergedCloud final : public Cloud {
  public:
    // Throws FileError when attributes of one name differ in width.
    MergedCloud(std::vector<CloudPtr> clouds, bool renumber);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    void read_part(std::size_t attribute, std::size_t cloud, std::int64_t first, std::int64_t n,
                   std::byte* out);

    std::vector<CloudPtr> m_clouds;
    std::vector<std::int64_t> m_starts;
    bool m_renumber;
    std::vector<std::byte> m_raw;
};

} // namespace vx::cache
