/// @file
/// Clouds that are computed from other clouds as they are read.
#pragma once

#include "cache/cloud/cloud.h"

#include <cstdint>
#include <memory>
#include <vector>

#include <Imath/ImathMatrix.h>

namespace vx::cache {

/// Some of the points of a cloud, in its order. The cloud must outlive it.
class SelectedCloud final : public Cloud {
  public:
    /// @param keep  whether to keep each point of the cloud
    SelectedCloud(Cloud& cloud, std::vector<bool> keep);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    Cloud& m_cloud;
    std::vector<bool> m_keep;
    std::vector<std::int64_t> m_starts; // kept points before each block of the source
    std::vector<std::byte> m_raw;
};

/// An affine transformation. Points are row vectors: p' = (x y z 1) M, as in scene files.
using Matrix = Imath::M44d;
/// The first three values of a row.
inline Imath::V3d row_of(const Matrix& m, int row) {
    return {m[row][0], m[row][1], m[row][2]};
}

/// A cloud, transformed: positions by the matrix; normals by its inverse transpose, with their
/// length kept; radii by the cube root of the change of volume. Integer attributes of these names
/// become float64. The cloud must outlive it.
class TransformedCloud final : public Cloud {
  public:
    /// @throws UsageError  if the matrix has no inverse
    TransformedCloud(Cloud& cloud, const Matrix& matrix);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    Cloud& m_cloud;
    Matrix m_matrix;
    Imath::M33d m_normal; // the inverse transpose
    double m_scale = 1;
    std::vector<double> m_values;
};

/// Clouds one after the other, with the attributes that all of them have. Types widen to hold all
/// values. The clouds must outlive it.
class MergedCloud final : public Cloud {
  public:
    /// @param renumber  whether "id" counts from 0, also for clouds without ids
    /// @throws FileError  if a cloud lacks an attribute of another, or if their widths differ
    MergedCloud(std::vector<Cloud*> clouds, bool renumber);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    void read_part(std::size_t attribute, std::size_t cloud, std::int64_t first, std::int64_t n,
                   std::byte* out);

    std::vector<Cloud*> m_clouds;
    std::vector<std::int64_t> m_starts;
    bool m_renumber;
    std::vector<std::byte> m_raw;
};

} // namespace vx::cache
