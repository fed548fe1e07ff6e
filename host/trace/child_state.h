// States of new rays, made from the state that sends them.
#pragma once

#include "host/trace/traced_frame.h"

namespace vx::trace {

// A copy of `parent` as its child, without a child, a hit or anything cached of its own. Null if
// rays nest too deep, with a warning once per frame; the child is then that of a miss. Throws
// RenderAborted if the render ends early.
RayState* child_state(TracedFrame& frame, miState* parent);

// The same for a ray that is known to hit, which is faster: what enter_surface (ray_end.h) sets is
// not copied, so enter_surface must be called.
RayState* child_state_at_surface(TracedFrame& frame, miState* parent);

// Clears the members that describe a hit, for the state of a ray that hits nothing.
void clear_hit(miState& state);

// Whether the last ray sent from a state hit something.
inline bool sent_ray_hit(const miState& state) {
    return state.child != nullptr && state.child->dist > 0.0;
}

} // namespace vx::trace
