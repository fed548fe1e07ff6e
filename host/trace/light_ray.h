// Light rays: from a light source to the point that is shaded. For threads and errors see
// eye_ray.h.
#pragma once

#include "host/trace/traced_frame.h"

namespace vx::trace {

// mi_trace_light: runs the shader of the first light that `light` stands for (World::light_leaves).
// `dir` and `dot_nl` may be null.
bool trace_light(TracedFrame& frame, miColor* result, miVector* dir, miScalar* dot_nl,
                 miState* state, miTag light);

// mi_sample_light: one sample per light that `light` stands for. `samples` counts the calls.
bool sample_light(TracedFrame& frame, miColor* result, miVector* dir, miScalar* dot_nl,
                  miState* state, miTag light, int* samples);

} // namespace vx::trace
