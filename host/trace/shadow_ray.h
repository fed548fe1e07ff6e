// Shadow rays: from the point that is shaded to a light source, through the shadow shaders of what
// lies in between. For threads and errors see eye_ray.h.
#pragma once

#include "host/trace/traced_frame.h"

namespace vx::trace {

// mi_trace_shadow: attenuates `result`, the light's color, and returns whether any of it remains.
// `state` is that of a light ray.
bool trace_shadow(TracedFrame& frame, miColor* result, miState* state);

// mi_trace_shadow_seg: the same for the next occluder only, which a shadow shader asks for if
// shadow segments are on.
bool trace_shadow_segment(TracedFrame& frame, miColor* result, miState* state);

} // namespace vx::trace
