// Samples, tiles of filtered pixels, and the finished frame.
//
// Rows are stored bottom-up: pixel (0, 0) is the lower-left pixel of the image. Colors are stored
// as the shaders return them (linear, premultiplied). Depth is the distance from the camera along
// the viewing direction in scene units. Normals and motion vectors are in internal space.
#pragma once

#include "host/image/filter.h"

#include <cstddef>
#include <vector>

#include "shader.h"

namespace vx::image {

// Depth of a pixel in which no surface is visible.
inline constexpr float kNoDepth = 1e30f;

// The result of one eye ray.
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

// The surface data of a pixel: the values of the sample nearest to the pixel center, and sums over
// the samples that hit a surface, for interpolated buffers.
struct Surface {
    float nearest = 1e30f; // squared distance of the nearest sample so far
    float depth = kNoDepth;
    miVector normal{};
    miVector motion{};
    miUint label = 0;
    float hits = 0.0f; // number of samples in the sums below
    float depth_sum = 0.0f;
    miVector normal_sum{};
    miVector motion_sum{};
};

// Filtered sums of the samples in one tile, including a border as wide as the filter extends.
class Tile {
  public:
    // `surfaces`: whether to record depth, normal, motion and label.
    Tile(Rect rect, const Filter& filter, bool surfaces);

    // Clears the tile and moves it to `rect`. Allocated memory is reused.
    void reset(Rect rect);

    // Adds a sample that lies in the tile. `weight`: the fraction of a pixel that it represents.
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
    Rect m_reach; // m_rect plus the border
    Filter m_filter;
    bool m_with_surfaces;
    bool m_one_pixel; // one-pixel box: each sample contributes to its own pixel only
    std::vector<Sum> m_sums;
    std::vector<Surface> m_surfaces;
};

class Frame {
  public:
    // A frame of width x height pixels. `surfaces` as for Tile.
    Frame(int width, int height, bool surfaces);

    // Adds the sums of a tile. Floating-point sums depend on the order of the calls, so a
    // deterministic image requires a deterministic order.
    void merge(const Tile& tile);

    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }

    // Filtered color; transparent black for a pixel without samples.
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
