#include "host/render/tile_sampler.h"

#include "host/sampling/hash.h"

#include <algorithm>
#include <cmath>

namespace vx::render {

using image::Rect;
using image::Sample;
using image::Tile;
using sampling::combine;
using sampling::mix;

namespace {

// How many eye rays a thread sends between two calls of SamplingCalls::cancelled.
constexpr unsigned kRaysPerCancelCheck = 16;

// The upper 24 bits as a number in [0, 1).
float unit(std::uint64_t bits) {
    return static_cast<float>(bits >> 40) * 0x1p-24f;
}

miColor mean(const std::vector<Sample>& samples) {
    miColor sum{};
    for (const Sample& s : samples) {
        sum.r += s.color.r;
        sum.g += s.color.g;
        sum.b += s.color.b;
        sum.a += s.color.a;
    }
    const float f = samples.empty() ? 0.0f : 1.0f / static_cast<float>(samples.size());
    return {sum.r * f, sum.g * f, sum.b * f, sum.a * f};
}

miColor blend(const miColor& a, const miColor& b, float t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t,
            a.a + (b.a - a.a) * t};
}

// The same sample, moved to the center of a pixel.
Sample at_pixel_center(Sample sample, int x, int y) {
    sample.x = static_cast<float>(x) + 0.5f;
    sample.y = static_cast<float>(y) + 0.5f;
    return sample;
}

void add_pixel(Tile& tile, const std::vector<Sample>& samples) {
    const float weight = 1.0f / static_cast<float>(samples.size());
    for (const Sample& s : samples)
        tile.add(s, weight);
}

} // namespace

std::size_t TileSampler::Cells::size() const {
    return static_cast<std::size_t>(x1 - x0) * static_cast<std::size_t>(y1 - y0);
}

std::size_t TileSampler::Cells::index(int x, int y) const {
    return static_cast<std::size_t>(y - y0) * static_cast<std::size_t>(x1 - x0) +
           static_cast<std::size_t>(x - x0);
}

bool TileSampler::Cells::contains(int x, int y) const {
    return x >= x0 && x < x1 && y >= y0 && y < y1;
}

TileSampler::TileSampler(const SamplingSettings& settings, const SamplingCalls& calls)
    : m_settings(settings), m_calls(calls) {
    const int min_level = std::clamp(settings.min_level, kMinLevelLimit, kMaxLevelLimit);
    const int max_level = std::clamp(settings.max_level, min_level, kMaxLevelLimit);
    m_settings.min_level = min_level;
    m_settings.max_level = max_level;
    m_block = min_level < 0 ? 1 << -min_level : 1;
    m_fine_block = max_level < 0 ? 1 << -max_level : 1;
    m_pixel_level = std::max(0, min_level);
}

void TileSampler::take_first_ray(int tile_size) {
    const Rect& w = m_settings.window;
    const int x = std::max(floor_div(w.x0, tile_size) * tile_size, w.x0);
    const int y = std::max(floor_div(w.y0, tile_size) * tile_size, w.y0);
    EyeRequest request = m_block > 1
                             ? block_request(floor_div(x, m_block), floor_div(y, m_block), m_block)
                             : pixel_request(x, y, m_pixel_level, 0, 0);
    request.first = true;
    m_first = m_calls.eye(request);
    m_first_key = request.key;
}

void TileSampler::render_tile(Tile& tile) const {
    if (m_block > 1)
        coarse_tile(tile);
    else
        fine_tile(tile, nullptr);
}

// Position within a cell, 0 to 1: the center, displaced at random by the jitter.
float TileSampler::displaced(std::uint64_t bits) const {
    return 0.5f + m_settings.jitter * (unit(bits) - 0.5f);
}

// The ray through cell (i, j) of the 2^level x 2^level cells of a pixel.
EyeRequest TileSampler::pixel_request(int x, int y, int level, int i, int j) const {
    const std::uint64_t pixel =
        combine(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
    const std::uint64_t cell =
        static_cast<std::uint64_t>(level) << 32 |
        static_cast<std::uint64_t>(static_cast<unsigned>(j) << level | static_cast<unsigned>(i));
    const std::uint64_t key = combine(pixel, cell);
    const auto n = static_cast<float>(1 << level);
    return {static_cast<float>(x) + (static_cast<float>(i) + displaced(mix(key + 1))) / n,
            static_cast<float>(y) + (static_cast<float>(j) + displaced(mix(key + 2))) / n, key};
}

// The ray through a block of size x size pixels. (bx, by): its lower-left corner divided by the
// size.
EyeRequest TileSampler::block_request(int bx, int by, int size) const {
    const std::uint64_t key =
        combine(combine(static_cast<std::uint32_t>(bx), static_cast<std::uint32_t>(by)),
                (std::uint64_t{1} << 63) | static_cast<std::uint64_t>(size));
    const auto f = static_cast<float>(size);
    const float x = (static_cast<float>(bx) + displaced(mix(key + 1))) * f;
    const float y = (static_cast<float>(by) + displaced(mix(key + 2))) * f;
    return {std::min(x, static_cast<float>(m_settings.width)),
            std::min(y, static_cast<float>(m_settings.height)), key};
}

Sample TileSampler::take(const EyeRequest& request) const {
    thread_local unsigned taken = 0;
    if (++taken % kRaysPerCancelCheck == 0 && m_calls.cancelled && m_calls.cancelled())
        throw Cancelled{};
    if (request.key == m_first_key && m_first) return *m_first;
    return m_calls.eye(request);
}

void TileSampler::take_pixel(int x, int y, int level, Samples& samples) const {
    samples.clear();
    const int n = 1 << level;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
            samples.push_back(take(pixel_request(x, y, level, i, j)));
}

bool TileSampler::exceeds_contrast(const miColor& a, const miColor& b) const {
    const miColor& limit = m_settings.contrast;
    return std::abs(a.r - b.r) > limit.r || std::abs(a.g - b.g) > limit.g ||
           std::abs(a.b - b.b) > limit.b || std::abs(a.a - b.a) > limit.a;
}

bool TileSampler::exceeds_contrast(const Samples& samples) const {
    return std::any_of(samples.begin(), samples.end(), [&](const Sample& s) {
        return exceeds_contrast(s.color, samples.front().color);
    });
}

// Samples pixels at level 0 and above. `wanted`: one entry per pixel of the tile, 0 to skip it;
// null for all pixels.
void TileSampler::fine_tile(Tile& tile, const std::vector<char>* wanted) const {
    if (m_settings.max_level <= m_pixel_level) return uniform_tile(tile, wanted);
    const Rect& rect = tile.rect();
    const Cells own{rect.x0, rect.y0, rect.x1, rect.y1};
    const auto is_wanted = [&](int x, int y) {
        return wanted == nullptr || (own.contains(x, y) && (*wanted)[own.index(x, y)] != 0);
    };

    // The first samples of the tile and of a border of one pixel around it.
    const Rect& w = m_settings.window;
    const Cells all{std::max(w.x0, rect.x0 - 1), std::max(w.y0, rect.y0 - 1),
                    std::min(w.x1, rect.x1 + 1), std::min(w.y1, rect.y1 + 1)};
    std::vector<Samples> base(all.size());
    std::vector<miColor> means(all.size());
    for (int y = all.y0; y < all.y1; ++y)
        for (int x = all.x0; x < all.x1; ++x) {
            if (!is_wanted(x, y)) continue;
            Samples& of_pixel = base[all.index(x, y)];
            take_pixel(x, y, m_pixel_level, of_pixel);
            means[all.index(x, y)] = mean(of_pixel);
        }

    // Whether a pixel with these samples needs refinement: its samples differ from each other, or
    // their mean differs from the mean of a neighbor.
    const auto needs_more = [&](int x, int y, const Samples& of_pixel) {
        if (exceeds_contrast(of_pixel)) return true;
        const miColor here = mean(of_pixel);
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                if (!all.contains(x + dx, y + dy)) continue;
                const std::size_t neighbor = all.index(x + dx, y + dy);
                if (!base[neighbor].empty() && exceeds_contrast(means[neighbor], here)) return true;
            }
        return false;
    };
    Samples samples;
    for (int y = rect.y0; y < rect.y1; ++y)
        for (int x = rect.x0; x < rect.x1; ++x) {
            if (!is_wanted(x, y)) continue;
            samples = base[all.index(x, y)];
            // An edge may lie between the samples of two pixels, so both pixels are refined.
            for (int level = m_pixel_level + 1;
                 level <= m_settings.max_level && needs_more(x, y, samples); ++level)
                take_pixel(x, y, level, samples);
            add_pixel(tile, samples);
        }
}

// Samples every wanted pixel at the same level.
void TileSampler::uniform_tile(Tile& tile, const std::vector<char>* wanted) const {
    const Rect& rect = tile.rect();
    const Cells own{rect.x0, rect.y0, rect.x1, rect.y1};
    Samples samples;
    for (int y = rect.y0; y < rect.y1; ++y)
        for (int x = rect.x0; x < rect.x1; ++x) {
            if (wanted != nullptr && (*wanted)[own.index(x, y)] == 0) continue;
            if (m_pixel_level == 0) {
                tile.add(take(pixel_request(x, y, 0, 0, 0)), 1.0f);
                continue;
            }
            take_pixel(x, y, m_pixel_level, samples);
            add_pixel(tile, samples);
        }
}

// Samples blocks of pixels, and then the pixels of those blocks that differ from a neighbor. The
// pixels of other blocks are interpolated.
void TileSampler::coarse_tile(Tile& tile) const {
    const Rect& rect = tile.rect();
    const int first_x = floor_div(rect.x0, m_block);
    const int first_y = floor_div(rect.y0, m_block);
    const int last_x = floor_div(rect.x1 - 1, m_block);
    const int last_y = floor_div(rect.y1 - 1, m_block);
    const Cells blocks{first_x - 1, first_y - 1, last_x + 2, last_y + 2};
    Samples of_block(blocks.size());
    for (int by = blocks.y0; by < blocks.y1; ++by)
        for (int bx = blocks.x0; bx < blocks.x1; ++bx)
            of_block[blocks.index(bx, by)] = take(block_request(bx, by, m_block));

    const Cells own{rect.x0, rect.y0, rect.x1, rect.y1};
    std::vector<char> wanted(own.size(), 0);
    bool any = false;
    for (int by = first_y; by <= last_y; ++by)
        for (int bx = first_x; bx <= last_x; ++bx) {
            const bool refine = needs_refinement(of_block, blocks, bx, by);
            const int x1 = std::min(rect.x1, (bx + 1) * m_block);
            const int y1 = std::min(rect.y1, (by + 1) * m_block);
            for (int y = std::max(rect.y0, by * m_block); y < y1; ++y)
                for (int x = std::max(rect.x0, bx * m_block); x < x1; ++x) {
                    if (refine) {
                        wanted[own.index(x, y)] = 1;
                        any = true;
                    } else {
                        tile.add(between_blocks(of_block, blocks, x, y), 1.0f);
                    }
                }
        }
    if (!any) return;
    if (m_fine_block == 1)
        fine_tile(tile, &wanted);
    else
        block_tile(tile, wanted);
}

// Whether a block differs from one of its neighbors.
bool TileSampler::needs_refinement(const Samples& of_block, const Cells& blocks, int bx,
                                   int by) const {
    if (m_settings.max_level <= m_settings.min_level) return false;
    const miColor& here = of_block[blocks.index(bx, by)].color;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
            if (exceeds_contrast(of_block[blocks.index(bx + dx, by + dy)].color, here)) return true;
    return false;
}

// The color of a pixel, interpolated between the centers of the four blocks around it. Surface data
// is that of the pixel's own block.
Sample TileSampler::between_blocks(const Samples& of_block, const Cells& blocks, int x,
                                   int y) const {
    const float fx = (static_cast<float>(x) + 0.5f) / static_cast<float>(m_block) - 0.5f;
    const float fy = (static_cast<float>(y) + 0.5f) / static_cast<float>(m_block) - 0.5f;
    const int bx = static_cast<int>(std::floor(fx));
    const int by = static_cast<int>(std::floor(fy));
    const auto at = [&](int i, int j) -> const Sample& {
        return of_block[blocks.index(bx + i, by + j)];
    };
    const float tx = fx - static_cast<float>(bx);
    const float ty = fy - static_cast<float>(by);
    Sample s =
        at_pixel_center(of_block[blocks.index(floor_div(x, m_block), floor_div(y, m_block))], x, y);
    s.color = blend(blend(at(0, 0).color, at(1, 0).color, tx),
                    blend(at(0, 1).color, at(1, 1).color, tx), ty);
    return s;
}

// Refinement for a maximum level below 0: every wanted pixel gets the sample of the smaller block
// that contains it.
void TileSampler::block_tile(Tile& tile, const std::vector<char>& wanted) const {
    const Rect& rect = tile.rect();
    const Cells own{rect.x0, rect.y0, rect.x1, rect.y1};
    const int size = m_fine_block;
    for (int by = floor_div(rect.y0, size); by <= floor_div(rect.y1 - 1, size); ++by)
        for (int bx = floor_div(rect.x0, size); bx <= floor_div(rect.x1 - 1, size); ++bx) {
            std::optional<Sample> sample;
            for (int y = by * size; y < (by + 1) * size; ++y)
                for (int x = bx * size; x < (bx + 1) * size; ++x) {
                    if (!own.contains(x, y) || wanted[own.index(x, y)] == 0) continue;
                    if (!sample) sample = take(block_request(bx, by, size));
                    tile.add(at_pixel_center(*sample, x, y), 1.0f);
                }
        }
}

} // namespace vx::render
