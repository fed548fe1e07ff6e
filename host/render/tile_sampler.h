// Sends the eye rays of one tile and adds their samples to it.
//
// Sampling levels follow miOptions: at level n >= 0 a pixel has 2^n x 2^n samples; at level -n one
// sample covers a block of 2^n x 2^n pixels. A tile is sampled at the minimum level first and
// refined, up to the maximum level, where colors differ by more than the contrast.
#pragma once

#include "host/render/sampler.h"

#include <optional>
#include <vector>

namespace vx::render {

// Thrown by TileSampler when SamplingCalls::cancelled returns true.
struct Cancelled {};

// a / b, rounded towards negative infinity. b > 0.
constexpr int floor_div(int a, int b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

class TileSampler {
  public:
    // `calls` must outlive the sampler.
    TileSampler(const SamplingSettings& settings, const SamplingCalls& calls);

    // Width and height in pixels of the blocks at the minimum level. Tiles must begin and end at
    // multiples of it, except at the border of the window.
    [[nodiscard]] int block() const { return m_block; }

    // Sends the first eye ray of a frame with tiles of this size and keeps the result for the tile
    // that asks for the same ray.
    void take_first_ray(int tile_size);

    // May be called from several threads, for different tiles.
    void render_tile(image::Tile& tile) const;

  private:
    // The pixels or blocks [x0, x1) x [y0, y1), numbered row by row.
    struct Cells {
        int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        [[nodiscard]] std::size_t size() const;
        [[nodiscard]] std::size_t index(int x, int y) const;
        [[nodiscard]] bool contains(int x, int y) const;
    };
    using Samples = std::vector<image::Sample>;

    [[nodiscard]] float displaced(std::uint64_t bits) const;
    [[nodiscard]] EyeRequest pixel_request(int x, int y, int level, int i, int j) const;
    [[nodiscard]] EyeRequest block_request(int bx, int by, int size) const;
    [[nodiscard]] image::Sample take(const EyeRequest& request) const;
    void take_pixel(int x, int y, int level, Samples& samples) const;
    [[nodiscard]] bool exceeds_contrast(const miColor& a, const miColor& b) const;
    [[nodiscard]] bool exceeds_contrast(const Samples& samples) const;

    void fine_tile(image::Tile& tile, const std::vector<char>* wanted) const;
    void uniform_tile(image::Tile& tile, const std::vector<char>* wanted) const;
    void coarse_tile(image::Tile& tile) const;
    [[nodiscard]] bool needs_refinement(const Samples& of_block, const Cells& blocks, int bx,
                                        int by) const;
    [[nodiscard]] image::Sample between_blocks(const Samples& of_block, const Cells& blocks, int x,
                                               int y) const;
    void block_tile(image::Tile& tile, const std::vector<char>& wanted) const;

    SamplingSettings m_settings;
    const SamplingCalls& m_calls;
    int m_block = 1;       // pixels per block at the minimum level
    int m_fine_block = 1;  // pixels per block at the maximum level
    int m_pixel_level = 0; // level of the first samples within a pixel
    std::optional<image::Sample> m_first;
    std::uint64_t m_first_key = 0;
};

} // namespace vx::render
