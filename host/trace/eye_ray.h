// Eye rays: from the camera through the lens shaders into the scene.
//
// Functions that take a frame work on the memory of the calling thread and throw RenderAborted if
// the render ends early; any number of threads may call them at the same time. This holds for the
// other rays (bounce.h, light_ray.h, shadow_ray.h) as well.
#pragma once

#include "host/trace/traced_frame.h"

#include <cstdint>

namespace vx::trace {

struct EyeRay {
    miVector origin{};
    miVector direction{}; // normalized
    float raster_x = 0.0f, raster_y = 0.0f;
    std::uint64_t key = 0; // seeds mi_sample; 0 for the first eye ray of the frame
};

struct EyeResult {
    miColor color{};
    bool hit = false;
    // Of the hit; zero without one.
    float depth = 0.0f; // along the camera's viewing direction
    miVector normal{};
    miVector motion{};
    miUint label = 0;
};

// Traces an eye ray through the lens shaders and shades what it hits.
[[nodiscard]] EyeResult send_eye_ray(TracedFrame& frame, const EyeRay& ray);

// mi_trace_eye: runs the next lens shader, or traces the ray behind the last one.
bool trace_eye(TracedFrame& frame, miColor* result, miState* state, const miVector& origin,
               const miVector& direction);

} // namespace vx::trace
