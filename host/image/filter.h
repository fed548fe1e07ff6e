// Reconstruction filters: the weight of a sample in a pixel.
#pragma once

#include "host/image/filter_kind.h"

namespace vx::image {

// A separable filter with a given full width and height in pixels. A size of 0 or less selects the
// kind's default size.
class Filter {
  public:
    Filter(FilterKind kind, float width, float height);

    // Half the width and height, in pixels.
    [[nodiscard]] float radius_x() const { return m_radius_x; }
    [[nodiscard]] float radius_y() const { return m_radius_y; }

    // Weight of a sample at (dx, dy) pixels from the pixel center. Zero outside the radius; may be
    // negative for mitchell and lanczos. Not normalized: divide by the sum of the weights.
    [[nodiscard]] float weight(float dx, float dy) const;

  private:
    FilterKind m_kind;
    float m_radius_x, m_radius_y;
};

} // namespace vx::image
