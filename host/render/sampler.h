// The frame loop: which eye rays are sent, and how they become pixels.
//
// The picture is cut into square tiles at multiples of the tile size. Each pixel has its own
// sequence of sample positions, which depends on its coordinates only; every tile looks one pixel
// (or block) beyond its border to decide where to refine. So the picture depends neither on the
// number of threads nor on the order in which they finish.
#pragma once

#include "host/image/frame.h"

#include <atomic>
#include <cstdint>
#include <functional>

namespace vx::render {

struct SamplingSettings {
    int width = 0, height = 0;
    image::Rect window; // pixels to render, inside the image
    // A pixel takes 4^min to 4^max samples; below 0, one sample stands for 4^-min pixels.
    int min_level = 0, max_level = 0;
    miColor contrast{0.1f, 0.1f, 0.1f, 0.1f}; // refine where neighbours differ by more
    float jitter = 0.0f;                      // 0 regular to 1 fully displaced
    image::Filter filter{image::FilterKind::box, 1.0f, 1.0f};
    bool surfaces = false; // more than colour is wanted
    int tile_size = 0;     // pixels; 0: chosen
    int threads = 0;       // 0: all cores
};

// An eye ray to be sent. `key`: a number of its own, the same on every run.
struct EyeRequest {
    float x = 0.0f, y = 0.0f;
    std::uint64_t key = 0;
    bool first = false; // the first one of the frame; it ends before any other starts
};

// What the frame loop works with. `eye` and `tile_done` are called from all threads at once.
struct SamplingCalls {
    std::function<image::Sample(const EyeRequest&)> eye;
    // After each tile: pixels finished so far, and in all.
    std::function<void(std::uint64_t done, std::uint64_t total)> tile_done;
    // Looked at before each tile and now and then within; true ends the frame early.
    std::function<bool()> cancelled;
};

// Limits for what a scene may ask for: 4^min_level_limit ... 4^max_level_limit samples per pixel.
inline constexpr int kMinLevelLimit = -6;
inline constexpr int kMaxLevelLimit = 7;

// Renders the window. What `eye` throws ends the frame and is thrown on from here, after all
// threads have ended. The first eye ray is sent before the threads start: a shader that does the
// work of a whole frame in its first call then meets the same ray with any number of threads.
// `complete` becomes false when the frame was cancelled.
[[nodiscard]] image::Frame render_frame(const SamplingSettings& settings,
                                        const SamplingCalls& calls, bool& complete);

} // namespace vx::render
