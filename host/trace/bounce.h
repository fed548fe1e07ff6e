// Rays that shaders trace from the surface that they shade: the mi_trace functions for reflection,
// refraction, transparency, environment and probes. For threads and errors see eye_ray.h.
#pragma once

#include "host/trace/traced_frame.h"

namespace vx::trace {

// If the options or the flags of the surface rule out a reflection, refraction or transparency ray,
// the child of the state stays what it was, or becomes that of a miss if there was none.
bool trace_reflection(TracedFrame& frame, miColor* result, miState* state,
                      const miVector& direction);
bool trace_refraction(TracedFrame& frame, miColor* result, miState* state,
                      const miVector& direction);
bool trace_transparent(TracedFrame& frame, miColor* result, miState* state);
bool trace_environment(TracedFrame& frame, miColor* result, miState* state,
                       const miVector& direction);

// Finds the nearest surface and describes it in the state's child, without shading it.
bool trace_probe(TracedFrame& frame, miState* state, const miVector& direction,
                 const miVector& origin);

} // namespace vx::trace
