// Selection of points.
#pragma once

#include "cache/cloud/cloud.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vx::cache {

struct Criteria {
    std::optional<std::string> labels; // a list in the shaders' syntax
    std::vector<double> box;           // min x y z, max x y z; the border is inside
    std::vector<double> around;        // x y z and the radius, which is inside
    std::vector<double> cone;          // x y z and the largest angle to it in degrees
    std::optional<double> least_opacity;
    std::optional<double> most_opacity;
    std::string where; // an Expression; points for which it is 0 or not a number fail
    double random = 1; // share of the points that is kept
    std::uint64_t seed = 0;
    double spacing = 0;  // least distance between two points that are kept
    bool invert = false; // keeps the other points; applied before thinning
};

// Clears the bits of points that are closer than `spacing` to an earlier one whose bit is set.
void thin_points(Cloud& cloud, double spacing, std::vector<bool>& keep);

// One bit per point. Throws FileError if an attribute that a criterion needs is missing.
std::vector<bool> select_points(Cloud& cloud, const Criteria& criteria);

} // namespace vx::cache
