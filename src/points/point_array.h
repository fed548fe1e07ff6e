// The baked point record and the growable array that holds one eye sample's points.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

// One baked surface sample.
class CPoint {
  public:
    float positionX, positionY, positionZ;
    float normalX, normalY, normalZ;
    float red, green, blue;
    float opacity;
    std::int32_t tag;
};
static_assert(sizeof(CPoint) == 44 && alignof(CPoint) == 4);
static_assert(offsetof(CPoint, normalX) == 12 && offsetof(CPoint, red) == 24);
static_assert(offsetof(CPoint, opacity) == 36 && offsetof(CPoint, tag) == 40);
static_assert(std::is_trivial_v<CPoint> && std::is_standard_layout_v<CPoint>);

// The points of one eye sample, in the order in which they were appended. A copy has its own copies
// of all records.
class CPointArray {
  public:
    std::vector<CPoint> points;
};
