// Polygons with holes into triangles.
#pragma once

#include "host/scene/values.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vx::scene {

using Triangle = std::array<std::uint32_t, 3>;

/*
 * Appends triangles whose corners are taken from `corners` (numbers that `point` knows) and turn
 * the same way as the first ring. `rings` are the lengths of the rings that `corners` consists of,
 * the outline first, then the holes, which may run either way. Ear clipping in the plane of the
 * outline's normal (Newell's), after each hole was joined to the outline by a bridge.
 *
 * Every ring needs at least three corners. Polygons that cross themselves give some triangles.
 * False: the polygon was so large and jagged that what remained was cut as a fan.
 */
bool triangulate(std::span<const Vec3> points, std::span<const std::uint32_t> corners,
                 std::span<const std::size_t> rings, std::vector<Triangle>& triangles);

} // namespace vx::scene
