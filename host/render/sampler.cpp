#include "host/render/sampler.h"

#include "host/sampling/hash.h"

#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace vx::render {

using image::Rect;
using image::Sample;
using image::Tile;
using sampling::combine;
using sampling::mix;

namespace {

struct Cancelled {};

float unit(std::uint64_t bits) {
    return static_cast<float>(bits >> 40) * 0x1p-24f;
}

bool differ(const miColor& a, const miColor& b, const miColor& contrast) {
    return std::abs(a.r - b.r) > contrast.r || std::abs(a.g - b.g) > contrast.g ||
           std::abs(a.b - b.b) > contrast.b || std::abs(a.a - b.a) > contrast.a;
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

// Numbers of cells, with or without a border.
struct Cells {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    [[nodiscard]] std::size_t size() const {
        return static_cast<std::size_t>(x1 - x0) * static_cast<std::size_t>(y1 - y0);
    }
    [[nodiscard]] std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y - y0) * static_cast<std::size_t>(x1 - x0) +
               static_cast<std::size_t>(x - x0);
    }
    [[nodiscard]] bool holds(int x, int y) const { return x >= x0 && x < x1 && y >= y0 && y < y1; }
};

int floor_div(int a, int b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

class FrameLoop {
  public:
    FrameLoop(const SamplingSettings& settings, const SamplingCalls& calls)
        : m_s(settings), m_calls(calls) {
        m_s.min_level = std::clamp(m_s.min_level, kMinLevelLimit, kMaxLevelLimit);
        m_s.max_level = std::clamp(m_s.max_level, m_s.min_level, kMaxLevelLimit);
        m_block = m_s.min_level < 0 ? 1 << -m_s.min_level : 1;
        m_fine = m_s.max_level < 0 ? 1 << -m_s.max_level : 1;
        m_pixel_min = std::max(0, m_s.min_level);
    }

    void take_first_ray() {
        const Rect& w = m_s.window;
        const int bx = floor_div(w.x0, m_tile) * m_tile;
        const int by = floor_div(w.y0, m_tile) * m_tile;
        const int x = std::max(bx, w.x0);
        const int y = std::max(by, w.y0);
        Request r = m_block > 1
                        ? block_request(floor_div(x, m_block), floor_div(y, m_block), m_block)
                        : pixel_request(x, y, m_pixel_min, 0, 0);
        r.eye.first = true;
        m_first = m_calls.eye(r.eye);
        m_first_key = r.eye.key;
    }

    void render_tile(Tile& tile) {
        if (m_block > 1)
            coarse_tile(tile);
        else
            fine_tile(tile, nullptr);
    }

    void set_tile_size(int size) { m_tile = size; }
    [[nodiscard]] int block() const { return m_block; }

  private:
    struct Request {
        EyeRequest eye;
    };

    Request make(float x, float y, std::uint64_t key) const { return {{x, y, key, false}}; }

    [[nodiscard]] float displaced(std::uint64_t bits) const {
        return 0.5f + m_s.jitter * (unit(bits) - 0.5f);
    }

    // Cell (i, j) of the 2^level x 2^level cells of a pixel.
    [[nodiscard]] Request pixel_request(int x, int y, int level, int i, int j) const {
        const std::uint64_t pixel =
            combine(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
        const std::uint64_t cell = static_cast<std::uint64_t>(level) << 32 |
                                   static_cast<std::uint64_t>(static_cast<unsigned>(j) << level |
                                                              static_cast<unsigned>(i));
        const std::uint64_t key = combine(pixel, cell);
        const auto n = static_cast<float>(1 << level);
        return make(static_cast<float>(x) + (static_cast<float>(i) + displaced(mix(key + 1))) / n,
                    static_cast<float>(y) + (static_cast<float>(j) + displaced(mix(key + 2))) / n,
                    key);
    }

    // A block of size x size pixels; its number is its corner divided by the size.
    [[nodiscard]] Request block_request(int bx, int by, int size) const {
        const std::uint64_t key =
            combine(combine(static_cast<std::uint32_t>(bx), static_cast<std::uint32_t>(by)),
                    (std::uint64_t{1} << 63) | static_cast<std::uint64_t>(size));
        const auto f = static_cast<float>(size);
        const float x = (static_cast<float>(bx) + displaced(mix(key + 1))) * f;
        const float y = (static_cast<float>(by) + displaced(mix(key + 2))) * f;
        return make(std::min(x, static_cast<float>(m_s.width)),
                    std::min(y, static_cast<float>(m_s.height)), key);
    }

    Sample take(const Request& request) {
        thread_local unsigned taken = 0;
        if (++taken % 16 == 0 && m_calls.cancelled && m_calls.cancelled()) throw Cancelled{};
        if (request.eye.key == m_first_key && m_first) return *m_first;
        return m_calls.eye(request.eye);
    }

    void take_pixel(int x, int y, int level, std::vector<Sample>& samples) {
        samples.clear();
        const int n = 1 << level;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
                samples.push_back(take(pixel_request(x, y, level, i, j)));
    }

    void add_pixel(Tile& tile, const std::vector<Sample>& samples) {
        const float weight = 1.0f / static_cast<float>(samples.size());
        for (const Sample& s : samples)
            tile.add(s, weight);
    }

    [[nodiscard]] bool spread(const std::vector<Sample>& samples) const {
        return std::any_of(samples.begin(), samples.end(), [&](const Sample& s) {
            return differ(s.color, samples.front().color, m_s.contrast);
        });
    }

    // Pixels from m_pixel_min on. `wanted`: which pixels of the tile, all when null.
    void fine_tile(Tile& tile, const std::vector<char>* wanted) {
        const Rect& rect = tile.rect();
        const Cells own{rect.x0, rect.y0, rect.x1, rect.y1};
        const auto is_wanted = [&](int x, int y) {
            return !wanted || (own.holds(x, y) && (*wanted)[own.index(x, y)] != 0);
        };
        std::vector<Sample> samples;
        if (m_s.max_level <= m_pixel_min) {
            for (int y = rect.y0; y < rect.y1; ++y)
                for (int x = rect.x0; x < rect.x1; ++x) {
                    if (!is_wanted(x, y)) continue;
                    if (m_pixel_min == 0) {
                        tile.add(take(pixel_request(x, y, 0, 0, 0)), 1.0f);
                        continue;
                    }
                    take_pixel(x, y, m_pixel_min, samples);
                    add_pixel(tile, samples);
                }
            return;
        }

        const Rect& w = m_s.window;
        const Cells all{std::max(w.x0, rect.x0 - 1), std::max(w.y0, rect.y0 - 1),
                        std::min(w.x1, rect.x1 + 1), std::min(w.y1, rect.y1 + 1)};
        std::vector<std::vector<Sample>> base(all.size());
        std::vector<miColor> means(all.size());
        for (int y = all.y0; y < all.y1; ++y)
            for (int x = all.x0; x < all.x1; ++x) {
                const bool border = !own.holds(x, y);
                if (wanted && (border || !is_wanted(x, y))) continue;
                std::vector<Sample>& of_pixel = base[all.index(x, y)];
                take_pixel(x, y, m_pixel_min, of_pixel);
                means[all.index(x, y)] = mean(of_pixel);
            }
        for (int y = rect.y0; y < rect.y1; ++y)
            for (int x = rect.x0; x < rect.x1; ++x) {
                if (!is_wanted(x, y)) continue;
                const auto stands_out = [&](const std::vector<Sample>& of_pixel) {
                    if (spread(of_pixel)) return true;
                    const miColor here = mean(of_pixel);
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx)
                            if (all.holds(x + dx, y + dy) &&
                                !base[all.index(x + dx, y + dy)].empty() &&
                                differ(means[all.index(x + dx, y + dy)], here, m_s.contrast))
                                return true;
                    return false;
                };
                samples = base[all.index(x, y)];
                // An edge may run between the samples of two pixels, so both sides are refined.
                for (int level = m_pixel_min + 1; level <= m_s.max_level && stands_out(samples);
                     ++level)
                    take_pixel(x, y, level, samples);
                add_pixel(tile, samples);
            }
    }

    // One sample per block of pixels first; pixels of their own only where blocks differ.
    void coarse_tile(Tile& tile) {
        const Rect& rect = tile.rect();
        const int first_x = floor_div(rect.x0, m_block);
        const int first_y = floor_div(rect.y0, m_block);
        const int last_x = floor_div(rect.x1 - 1, m_block);
        const int last_y = floor_div(rect.y1 - 1, m_block);
        const Cells blocks{first_x - 1, first_y - 1, last_x + 2, last_y + 2};
        std::vector<Sample> of_block(blocks.size());
        for (int by = blocks.y0; by < blocks.y1; ++by)
            for (int bx = blocks.x0; bx < blocks.x1; ++bx)
                of_block[blocks.index(bx, by)] = take(block_request(bx, by, m_block));

        const Cells own{rect.x0, rect.y0, rect.x1, rect.y1};
        std::vector<char> wanted(own.size(), 0);
        bool any = false;
        for (int by = first_y; by <= last_y; ++by)
            for (int bx = first_x; bx <= last_x; ++bx) {
                const miColor& here = of_block[blocks.index(bx, by)].color;
                bool refine = false;
                if (m_s.max_level > m_s.min_level)
                    for (int dy = -1; dy <= 1 && !refine; ++dy)
                        for (int dx = -1; dx <= 1 && !refine; ++dx)
                            refine = differ(of_block[blocks.index(bx + dx, by + dy)].color, here,
                                            m_s.contrast);
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
        if (m_fine == 1)
            fine_tile(tile, &wanted);
        else
            block_tile(tile, wanted);
    }

    // The pixel's value between the centres of the four blocks around it.
    [[nodiscard]] Sample between_blocks(const std::vector<Sample>& of_block, const Cells& blocks,
                                        int x, int y) const {
        const float fx = (static_cast<float>(x) + 0.5f) / static_cast<float>(m_block) - 0.5f;
        const float fy = (static_cast<float>(y) + 0.5f) / static_cast<float>(m_block) - 0.5f;
        const int bx = static_cast<int>(std::floor(fx));
        const int by = static_cast<int>(std::floor(fy));
        const auto at = [&](int i, int j) -> const Sample& {
            return of_block[blocks.index(bx + i, by + j)];
        };
        const float tx = fx - static_cast<float>(bx);
        const float ty = fy - static_cast<float>(by);
        Sample s = of_block[blocks.index(floor_div(x, m_block), floor_div(y, m_block))];
        s.x = static_cast<float>(x) + 0.5f;
        s.y = static_cast<float>(y) + 0.5f;
        s.color = blend(blend(at(0, 0).color, at(1, 0).color, tx),
                        blend(at(0, 1).color, at(1, 1).color, tx), ty);
        return s;
    }

    // Refinement that ends above single pixels: every pixel gets its smaller block's sample.
    void block_tile(Tile& tile, const std::vector<char>& wanted) {
        const Rect& rect = tile.rect();
        const Cells own{rect.x0, rect.y0, rect.x1, rect.y1};
        for (int by = floor_div(rect.y0, m_fine); by <= floor_div(rect.y1 - 1, m_fine); ++by)
            for (int bx = floor_div(rect.x0, m_fine); bx <= floor_div(rect.x1 - 1, m_fine); ++bx) {
                std::optional<Sample> sample;
                for (int y = by * m_fine; y < (by + 1) * m_fine; ++y)
                    for (int x = bx * m_fine; x < (bx + 1) * m_fine; ++x) {
                        if (!own.holds(x, y) || wanted[own.index(x, y)] == 0) continue;
                        if (!sample) sample = take(block_request(bx, by, m_fine));
                        Sample s = *sample;
                        s.x = static_cast<float>(x) + 0.5f;
                        s.y = static_cast<float>(y) + 0.5f;
                        tile.add(s, 1.0f);
                    }
            }
    }

    SamplingSettings m_s;
    const SamplingCalls& m_calls;
    int m_block = 1, m_fine = 1, m_pixel_min = 0, m_tile = 64;
    std::optional<Sample> m_first;
    std::uint64_t m_first_key = 0;
};

// Merges finished tiles into the frame in the order of their numbers, so that sums do not depend on
// which thread was first, and hands their memory to the next.
class TileStore {
  public:
    TileStore(image::Frame& frame, const SamplingSettings& settings, std::size_t count)
        : m_frame(frame), m_settings(settings), m_waiting(count) {}

    std::unique_ptr<Tile> get(const Rect& rect) {
        std::unique_ptr<Tile> tile;
        {
            const std::scoped_lock lock(m_mutex);
            if (!m_free.empty()) {
                tile = std::move(m_free.back());
                m_free.pop_back();
            }
        }
        if (tile)
            tile->reset(rect);
        else
            tile = std::make_unique<Tile>(rect, m_settings.filter, m_settings.surfaces);
        return tile;
    }

    void put(std::size_t number, std::unique_ptr<Tile> tile) {
        const std::scoped_lock lock(m_mutex);
        m_waiting[number] = std::move(tile);
        for (; m_next < m_waiting.size() && m_waiting[m_next]; ++m_next) {
            m_frame.merge(*m_waiting[m_next]);
            m_free.push_back(std::move(m_waiting[m_next]));
        }
    }

  private:
    image::Frame& m_frame;
    const SamplingSettings& m_settings;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Tile>> m_waiting, m_free;
    std::size_t m_next = 0;
};

std::vector<Rect> make_tiles(const Rect& window, int size) {
    std::vector<Rect> tiles;
    if (window.empty()) return tiles;
    for (int by = floor_div(window.y0, size); by <= floor_div(window.y1 - 1, size); ++by)
        for (int bx = floor_div(window.x0, size); bx <= floor_div(window.x1 - 1, size); ++bx)
            tiles.push_back({std::max(window.x0, bx * size), std::max(window.y0, by * size),
                             std::min(window.x1, (bx + 1) * size),
                             std::min(window.y1, (by + 1) * size)});
    return tiles;
}

} // namespace

image::Frame render_frame(const SamplingSettings& settings, const SamplingCalls& calls,
                          bool& complete) {
    complete = true;
    image::Frame frame(settings.width, settings.height, settings.surfaces);
    FrameLoop loop(settings, calls);
    // Blocks may not lie across tiles. The size never depends on the number of threads.
    int size = settings.tile_size > 0 ? std::clamp(settings.tile_size, 8, 1024) : 32;
    size = (size + loop.block() - 1) / loop.block() * loop.block();
    loop.set_tile_size(size);
    const std::vector<Rect> rects = make_tiles(settings.window, size);
    if (rects.empty()) return frame;

    const int threads = settings.threads > 0 ? settings.threads : tbb::info::default_concurrency();
    const tbb::global_control allowed(tbb::global_control::max_allowed_parallelism,
                                      static_cast<std::size_t>(threads));
    tbb::task_arena arena(threads);

    TileStore store(frame, settings, rects.size());
    std::atomic<std::size_t> next{0};
    std::atomic<bool> stop{false};
    std::mutex failure_mutex;
    std::exception_ptr failure;
    std::uint64_t done = 0;
    const auto total = static_cast<std::uint64_t>(settings.window.width()) *
                       static_cast<std::uint64_t>(settings.window.height());
    std::mutex done_mutex;

    const auto guarded = [&](auto&& work) {
        try {
            work();
        } catch (const Cancelled&) {
            stop = true;
        } catch (...) {
            const std::scoped_lock lock(failure_mutex);
            if (!failure) failure = std::current_exception();
            stop = true;
        }
    };
    const auto worker = [&] {
        guarded([&] {
            for (std::size_t i = next++; i < rects.size() && !stop; i = next++) {
                if (calls.cancelled && calls.cancelled()) throw Cancelled{};
                std::unique_ptr<Tile> tile = store.get(rects[i]);
                loop.render_tile(*tile);
                store.put(i, std::move(tile));
                if (!calls.tile_done) continue;
                const std::scoped_lock lock(done_mutex);
                done += static_cast<std::uint64_t>(rects[i].width()) *
                        static_cast<std::uint64_t>(rects[i].height());
                calls.tile_done(done, total);
            }
        });
    };
    arena.execute([&] {
        guarded([&] { loop.take_first_ray(); });
        if (stop) return;
        tbb::task_group group;
        for (int i = 1; i < threads; ++i)
            group.run(worker);
        worker();
        group.wait();
    });
    if (failure) std::rethrow_exception(failure);
    complete = !stop;
    return frame;
}

} // namespace vx::render
