// Reconstruction filters: how much a sample counts for a pixel.
#pragma once

namespace vx::image {

enum class FilterKind { box = 0, triangle = 1, gauss = 2, mitchell = 3, lanczos = 4 };

// A separable filter of a given full width and height in pixels. A size of 0 or less stands for the
// kind's own size: 1, 2, 3, 4, 4.
class Filter {
  public:
    Filter(FilterKind kind, float width, float height);

    // Half the width and height, in pixels.
    [[nodiscard]] float radius_x() const { return m_radius_x; }
    [[nodiscard]] float radius_y() const { return m_radius_y; }

    // Weight of a sample at (dx, dy) pixels from the pixel's centre. Zero outside the radius; may
    // be negative for mitchell and lanczos. Not normalised: divide by the sum of the weights.
    [[nodiscard]] float weight(float dx, float dy) const;

  private:
    FilterKind m_kind;
    float m_radius_x, m_radius_y;
};

} // namespace vx::image
