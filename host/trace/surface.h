// From a hit to what a state says of it.
#pragma once

#include "host/trace/arena.h"
#include "host/trace/world.h"

namespace vx::trace {

// What a hit and its ray say of the surface: `origin` and the normalised direction `ray` are the
// ray's. `face_ray`: turn both normals towards the ray where its back was hit; without it (shadow
// rays) they stay, and only `inverted` tells.
void measure_surface(const World& world, const Hit& hit, const miVector& origin,
                     const miVector& ray, bool face_ray, SurfaceGeometry& surface);

// Fills in everything of the intersection part of slot.state but refraction_volume: point, normals,
// dist, bary, instance, material, label, textures, bump vectors, motion, pri, cache.
void fill_surface(const World& world, const Hit& hit, const SurfaceGeometry& surface, Slot& slot);

// The three corners of a triangle in internal space.
void triangle_corners(const World& world, Primitive primitive, miVector corners[3]);

// A ray that leaves a state's point. Where the point still is the hit that the state's cache
// describes, the ray ignores the triangle and starts as far off the surface as rounding may have
// put the point, so that it meets neither that surface nor its neighbours by accident. From any
// other point it starts exactly there. `ignored` must live as long as the ray.
[[nodiscard]] Ray ray_from(const miState& state, const miVector& origin, const miVector& direction,
                           unsigned mask, Primitive& ignored);

} // namespace vx::trace
