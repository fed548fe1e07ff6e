// A cloud thinned to a number of points without reading more than the runs asked for.
#pragma once

#include "cache/cloud/cloud.h"

#include <cstdint>
#include <vector>

namespace vx::cache {

// `points` of a cloud's points, in their order: one from each of as many runs of equal length, at a
// place in the run that a hash of the run's number gives. Even steps would show the scan lines of a
// bake as stripes. All points when the cloud has no more. Keeps a reference to the cloud.
class SampledCloud final : public Cloud {
  public:
    // `points` at most 2^27; products of point numbers stay within 64 bits.
    SampledCloud(Cloud& cloud, std::int64_t points);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;
    // The number in the whole cloud of point number `index` of this one.
    std::int64_t source_of(std::int64_t index) const;

  private:
    Cloud& m_cloud;
    std::vector<std::byte> m_raw;
};

} // namespace vx::cache
