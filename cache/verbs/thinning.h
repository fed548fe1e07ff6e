// Thinning of clouds for lookups with a wide radius.
#pragma once

#include "cache/cloud/cloud.h"

#include <vector>

namespace vx::cache {

struct Thinning {
    double spacing = 0; // 0: there are few enough points
    // Mean number of points within the radius of a point of the cloud, which is also what a lookup
    // costs: it examines all of them.
    double before = 0;
    double after = 0;
};

// The spacing for which about `points` of the points that select_points() would keep with it lie
// within `radius` of any of the points marked in `keep`. Thins and counts a few times, around 200
// samples, until the mean is within 5 %; surfaces and volumes are treated alike. Throws FileError.
Thinning choose_spacing(Cloud& cloud, const std::vector<bool>& keep, double radius, double points);

} // namespace vx::cache
