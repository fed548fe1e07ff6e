// Samples a frame: sends eye rays on all threads and filters the results into pixels.
//
// The image is divided into square tiles at multiples of the tile size. Every pixel has its own
// sequence of sample positions, which depends on the pixel coordinates only, and every tile samples
// a border of one pixel (or block) to decide where to refine. The image therefore depends neither
// on the number of threads nor on the order in which tiles finish.
#pragma once

#include "host/image/frame.h"

#include <atomic>
#include <cstdint>
#include <functional>

namespace vx::render {

struct SamplingSettings {
    int width = 0, height = 0;
    image::Rect window; // pixels to render, within the image
    // A pixel has 4^min to 4^max samples. A level below 0 is one sample per 4^-level pixels.
    int min_level = 0, max_level = 0;
    miColor contrast{0.1f, 0.1f, 0.1f, 0.1f}; // refine where neighbors differ by more than this
    float jitter = 0.0f;                      // 0 regular to 1 fully displaced
    image::Filter filter{image::FilterKind::box, 1.0f, 1.0f};
    bool surfaces = false; // record depth, normal, motion and label
    int tile_size = 0;     // pixels; 0: default
    int threads = 0;       // 0: all cores
};

// An eye ray through a raster position.
struct EyeRequest {
    float x = 0.0f, y = 0.0f; // pixels
    std::uint64_t key = 0;    // identifies the ray; the same on every run
    bool first = false;       // the first ray of the frame; it completes before any other starts
};

// Callbacks of render_frame. They are called from all threads; calls of `tile_done` do not overlap.
struct SamplingCalls {
    std::function<image::Sample(const EyeRequest&)> eye;
    // Called after each tile with the number of finished pixels and the total.
    std::function<void(std::uint64_t done, std::uint64_t total)> tile_done;
    // Polled before each tile and repeatedly within it. Returning true ends the frame early.
    std::function<bool()> cancelled;
};

// Sampling levels are clamped to this range.
inline constexpr int kMinLevelLimit = -6;
inline constexpr int kMaxLevelLimit = 7;

// Renders the window. An exception thrown by `eye` ends the frame and is rethrown after all threads
// have finished. The first eye ray is traced before the threads start, so that a shader that does
// the work of a whole frame in its first call sees the same ray with any number of threads. Sets
// `complete` to false if the frame was cancelled.
[[nodiscard]] image::Frame render_frame(const SamplingSettings& settings,
                                        const SamplingCalls& calls, bool& complete);

} // namespace vx::render
