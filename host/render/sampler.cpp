#include "host/render/sampler.h"

#include "host/render/tile_sampler.h"

#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

namespace vx::render {

using image::Rect;
using image::Tile;

namespace {

constexpr int kDefaultTileSize = 32, kMinTileSize = 8, kMaxTileSize = 1024;

// Merges finished tiles into the frame in the order of their indices, so that floating-point sums
// do not depend on scheduling, and reuses their memory.
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

    void put(std::size_t index, std::unique_ptr<Tile> tile) {
        const std::scoped_lock lock(m_mutex);
        m_waiting[index] = std::move(tile);
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

// A multiple of the block size, so that no block spans two tiles. The size must not depend on the
// number of threads.
int tile_size(const SamplingSettings& settings, int block) {
    const int size = settings.tile_size > 0
                         ? std::clamp(settings.tile_size, kMinTileSize, kMaxTileSize)
                         : kDefaultTileSize;
    return (size + block - 1) / block * block;
}

// Renders the tiles of a frame on several threads.
class FrameLoop {
  public:
    FrameLoop(const SamplingSettings& settings, const SamplingCalls& calls, image::Frame& frame)
        : m_calls(calls),
          m_sampler(settings, calls),
          m_tile_size(tile_size(settings, m_sampler.block())),
          m_rects(make_tiles(settings.window, m_tile_size)),
          m_tiles(frame, settings, m_rects.size()),
          m_total(pixels(settings.window)) {}

    // Returns false if the frame was cancelled. Rethrows the first exception of a thread.
    bool run(int threads) {
        if (m_rects.empty()) return true;
        const tbb::global_control allowed(tbb::global_control::max_allowed_parallelism,
                                          static_cast<std::size_t>(threads));
        tbb::task_arena arena(threads);
        arena.execute([&] {
            guard([&] { m_sampler.take_first_ray(m_tile_size); });
            if (m_stop) return;
            const auto work = [&] { guard([&] { render_tiles(); }); };
            tbb::task_group group;
            for (int i = 1; i < threads; ++i)
                group.run(work);
            work();
            group.wait();
        });
        if (m_failure) std::rethrow_exception(m_failure);
        return !m_stop;
    }

  private:
    static std::uint64_t pixels(const Rect& rect) {
        return static_cast<std::uint64_t>(rect.width()) * static_cast<std::uint64_t>(rect.height());
    }

    // Calls `work`. An exception stops all threads.
    template <class Work>
    void guard(Work&& work) {
        try {
            work();
        } catch (const Cancelled&) {
            m_stop = true;
        } catch (...) {
            const std::scoped_lock lock(m_failure_mutex);
            if (!m_failure) m_failure = std::current_exception();
            m_stop = true;
        }
    }

    void render_tiles() {
        for (std::size_t i = m_next++; i < m_rects.size() && !m_stop; i = m_next++) {
            if (m_calls.cancelled && m_calls.cancelled()) throw Cancelled{};
            std::unique_ptr<Tile> tile = m_tiles.get(m_rects[i]);
            m_sampler.render_tile(*tile);
            m_tiles.put(i, std::move(tile));
            if (!m_calls.tile_done) continue;
            const std::scoped_lock lock(m_done_mutex);
            m_done += pixels(m_rects[i]);
            m_calls.tile_done(m_done, m_total);
        }
    }

    const SamplingCalls& m_calls;
    TileSampler m_sampler;
    int m_tile_size;
    std::vector<Rect> m_rects;
    TileStore m_tiles;
    std::atomic<std::size_t> m_next{0};
    std::atomic<bool> m_stop{false};
    std::mutex m_failure_mutex;
    std::exception_ptr m_failure;
    std::mutex m_done_mutex;
    std::uint64_t m_done = 0;
    const std::uint64_t m_total;
};

} // namespace

image::Frame render_frame(const SamplingSettings& settings, const SamplingCalls& calls,
                          bool& complete) {
    image::Frame frame(settings.width, settings.height, settings.surfaces);
    const int threads = settings.threads > 0 ? settings.threads : tbb::info::default_concurrency();
    complete = FrameLoop(settings, calls, frame).run(threads);
    return frame;
}

} // namespace vx::render
