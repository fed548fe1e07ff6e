// The end of a ray: the surface that it hits or the environment, and the shaders that run there.
#pragma once

#include "host/trace/traced_frame.h"

namespace vx::trace {

// Sets the members of a ray's state that describe the hit: the surface, the material's shader, its
// environment and the volume behind it. Without a surface shader, `shader` is
// FunctionTable::no_shader. Returns the material, or null if the surface has none.
const miMaterial* enter_surface(TracedFrame& frame, const Hit& hit, const SurfaceGeometry& surface,
                                RayState& ray);
// The same, with the surface measured here; for `face_ray` see measure_surface.
const miMaterial* enter_surface(TracedFrame& frame, const Hit& hit, bool face_ray, RayState& ray);

// Runs the material's shaders (none if null), then the shaders of the volume that the ray passed
// through. True if a shader of the material returned true.
bool shade(TracedFrame& frame, miColor* result, RayState& ray, const miMaterial* material);

// The same for a ray that hits nothing: runs the shaders of the environment and of the volume.
bool leave_scene(TracedFrame& frame, miColor* result, RayState& ray);

} // namespace vx::trace
