// Distances between nearest neighbors, estimated from a sample of the points.
#pragma once

#include "cache/cloud/cloud.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vx::cache {

struct Spacing {
    std::int64_t samples = 0; // points whose nearest neighbor was found; 0: no estimate
    double median = 0;
    double most = 0;
};

// Samples about 200 points at even intervals, except those in dense clusters and those whose
// nearest neighbor is farther than a cell of a grid over the cloud (sqrt(n)/2 cells, at most 128,
// along the longest side). There is no estimate if that excludes more than half. Takes one pass
// over all points and no tree. `low` and `size` are the lower corner and the longest side of the
// finite positions. Throws FileError.
Spacing find_spacing(Cloud& cloud, std::size_t position, const std::array<double, 3>& low,
                     double size);

} // namespace vx::cache
