// Triangulation of polygons with holes.
#pragma once

#include "host/scene/values.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vx::scene {

using Triangle = std::array<std::uint32_t, 3>;

// Appends triangles with the orientation of the outline. `corners` are indices into `points`;
// `rings` are the lengths of the consecutive rings in `corners`: the outline, then the holes, which
// may have either orientation. Holes are connected to the outline by bridges, and the result is
// ear-clipped in the plane of the outline (Newell's normal).
//
// Every ring must have at least three corners. The triangulation of self-intersecting polygons is
// unspecified. Returns false if the work limit was reached and the rest was split into a fan.
bool triangulate(std::span<const Vec3> points, std::span<const std::uint32_t> corners,
                 std::span<const std::size_t> rings, std::vector<Triangle>& triangles);

} // namespace vx::scene
