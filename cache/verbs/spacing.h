// How far points are from their nearest neighbors, by a sample of them.
#pragma once

#include "cache/cloud/cloud.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vx::cache {

struct Spacing {
    std::int64_t samples = 0; // points whose nearest neighbor was looked for; 0: no figures
    double median = 0;
    double most = 0;
};

// About 200 points, evenly out of the cloud's order, less those in crowds and those whose nearest
// neighbor is farther than a cell of a grid over the cloud (sqrt(n)/2 cells, at most 128, along
// the longest side); no figures when more than half are lost that way. One walk over all points, no
// tree. `low` and `size` are the lower corner and the longest side of the finite positions. Throws
// FileError.
Spacing find_spacing(Cloud& cloud, std::size_t position, const std::array<double, 3>& low,
                     double size);

} // namespace vx::cache
