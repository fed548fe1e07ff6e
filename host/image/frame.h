// What a render gathers: samples, tiles of filtered pixels, and the finished frame.
//
// Memory is bottom-up: pixel (0, 0) is the lower left one of the image. Colours are as the shaders
// returned them (linear, premultiplied); depth is the distance from the camera along the viewing
// direction in scene units; normals and motion are in internal space.
#pragma once

#include "host/image/filter.h"

#include <cstddef>
#include <vector>

#include "shader.h"

namespace vx::image {

// Depth of a pixel in which no surface was seen.
inline constexpr float kNoDepth = 1e30f;

// One eye ray's result at a raster position.
struct Sample {
    float x = 0.0f, y = 0.0f; // raster position, pixels
    miColor color{};
    float depth = kNoDepth;
    miVector normal{};
    miVector motion{};
    miUint label = 0;
};

// Pixels [x0, x1) x [y0, y1).
struct Rect {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    [[nodiscard]] int width() const { return x1 - x0; }
    [[nodiscard]] int height() const { return y1 - y0; }
    [[nodiscard]] bool empty() const { return x1 <= x0 || y1 <= y0; }
};

// Everything of a pixel but its colour: taken from the sample nearest to the pixel's centre, and
// the mean over the samples that saw a surface for buffers that ask for interpolation.
struct Surface {
    float nearest = 1e30f; // squared distance of the sample taken so far
    float depth = kNoDepth;
    miVector normal{};
    miVector motion{};
    miUint label = 0;
    float hits = 0.0f; // number of samples in the sums below
    float depth_sum = 0.0f;
    miVector normal_sum{};
    miVector motion_sum{};
};

// Filtered sums of the samples of one tile, with a border as wide as the filter reaches.
class Tile {
  public:
    // `surfaces`: whether anything but colour is wanted.
    Tile(Rect rect, const Filter& filter, bool surfaces);

    // Starts over with other pixels and keeps the memory.
    void reset(Rect rect);

    // Adds a sample that lies in the tile. `weight`: the share of a pixel that it stands for.
    void add(const Sample& sample, float weight);

    [[nodiscard]] const Rect& rect() const { return m_rect; }

  private:
    friend class Frame;
    void spread(const Sample& sample, float weight);
    void add_surface(const Sample& sample);
    struct Sum {
        miColor color{};
        float weight = 0.0f;
    };
    Rect m_rect;
    Rect m_reach; // m_rect and the border
    Filter m_filter;
    bool m_with_surfaces;
    bool m_one_pixel; // a box of one pixel: each sample counts for its own pixel only
    std::vector<Sum> m_sums;
    std::vector<Surface> m_surfaces;
};

class Frame {
  public:
    // A frame of width x height pixels. `surfaces` as above.
    Frame(int width, int height, bool surfaces);

    // Adds a tile's sums. The order of the calls is the order of the floating-point sums, so a
    // deterministic picture needs a deterministic order.
    void merge(const Tile& tile);

    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }
    [[nodiscard]] bool has_surfaces() const { return !m_surfaces.empty(); }

    // Filtered colour; transparent black where no sample counted.
    [[nodiscard]] miColor color(int x, int y) const;
    [[nodiscard]] float depth(int x, int y, bool interpolated) const;
    [[nodiscard]] miVector normal(int x, int y, bool interpolated) const;
    [[nodiscard]] miVector motion(int x, int y, bool interpolated) const;
    [[nodiscard]] miUint label(int x, int y) const;

  private:
    [[nodiscard]] std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) +
               static_cast<std::size_t>(x);
    }
    int m_width, m_height;
    std::vector<Tile::Sum> m_sums;
    std::vector<Surface> m_surfaces;
};

} // namespace vx::image
