// From a hit to the members of a state that describe it.
#pragma once

#include "host/trace/ray_state.h"
#include "host/trace/world.h"

namespace vx::trace {

// Where and how a ray hits a surface, in internal space.
struct SurfaceGeometry {
    miVector point{};
    miVector normal{}, normal_geom{}; // as the state has them
    miVector outward{};               // the geometric normal, never flipped
    float dot_nd = 0.0f;
    float error = 0.0f; // as in SurfacePoint
    bool inverted = false;
    double dist = 0.0;
};

// Computes the surface at a hit. `origin` and the normalized direction `ray` are those of the ray.
// With `face_ray`, both normals are flipped if the ray hit the back; without it (shadow rays) they
// stay, and only `inverted` is set.
void measure_surface(const World& world, const Hit& hit, const miVector& origin,
                     const miVector& ray, bool face_ray, SurfaceGeometry& surface);

// Sets all members of ray.state that describe an intersection, except refraction_volume: point,
// normals, dist, bary, instance, material, label, textures, bump vectors, motion, pri, cache.
void fill_surface(const World& world, const Hit& hit, const SurfaceGeometry& surface,
                  RayState& ray);

// The three corners of a triangle in internal space.
void triangle_corners(const World& world, Primitive primitive, miVector corners[3]);

// A ray that leaves a state's point. If `origin` is still the hit that the state's cache describes,
// the ray ignores the triangle and starts off the surface by the bound on the rounding error of the
// point, so that it does not hit that surface or its neighbors by accident. From any other point it
// starts exactly there. `ignored` must outlive the ray.
[[nodiscard]] Ray ray_from(const miState& state, const miVector& origin, const miVector& direction,
                           unsigned mask, Primitive& ignored);

} // namespace vx::trace
