// The state of a ray, with the memory that its pointers lead to.
#pragma once

#include "host/trace/accel.h"

#include <vector>

namespace vx::trace {

// Where a ray hit a surface. A state's `cache` points to one while the state's point is that place.
struct SurfacePoint {
    miVector point{};
    miVector normal_geom{}; // as the mesh has it, never flipped
    float error = 0.0f;     // bound on the distance between the rounded point and the surface
    Primitive primitive;
};

// States are passed to shaders by address, so a RayState never moves.
struct RayState {
    miState state{}; // first: the address of the state is that of its RayState
    SurfacePoint surface;
    std::vector<miVector> textures, bump_x, bump_y;
};

} // namespace vx::trace
