/// @file
/// Sampling of clouds.
#pragma once

#include "cache/cloud/cloud.h"

#include <cstdint>
#include <vector>

namespace vx::cache {

/// A limited number of the points of a cloud, in its order. The cloud is divided into as many runs
/// of equal length; a hash of its number selects the point of a run. A constant step would turn the
/// scan lines of a bake into stripes. The cloud must outlive it.
class SampledCloud final : public Cloud {
  public:
    /// @param points  at most 2^27, so that products of point numbers fit in 64 bits; a smaller
    /// cloud
    ///                is not sampled
    SampledCloud(Cloud& cloud, std::int64_t points);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;
    /// The index in the source of point number `index`.
    std::int64_t source_of(std::int64_t index) const;

  private:
    Cloud& m_cloud;
    std::vector<std::byte> m_raw;
};

} // namespace vx::cache
