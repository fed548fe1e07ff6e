#include "host/trace/light_ray.h"

#include "host/shading/call.h"
#include "host/trace/child_state.h"

#include <algorithm>

namespace vx::trace {

namespace {

bool trace_leaf(TracedFrame& frame, miColor* result, miVector* dir, miScalar* dot_nl,
                miState* state, const LightLeaf& leaf) {
    *result = {};
    const bool directional = leaf.light->type == miLIGHT_DIRECTION;
    const miVector from_light =
        directional ? leaf.direction : normalized(state->point - leaf.origin);
    const miVector to_light = -from_light;
    const bool has_normal = dot(state->normal, state->normal) > 0.0f;
    const float cosine = dot(state->normal, to_light);
    if (dir != nullptr) *dir = to_light;
    if (dot_nl != nullptr) *dot_nl = std::max(0.0f, cosine);
    // A light behind the surface contributes nothing, so its shader does not run.
    if (has_normal && !(cosine > 0.0f)) return false;

    const SurfacePoint* const surface = static_cast<const SurfacePoint*>(state->cache);
    RayState* const ray = child_state(frame, state);
    if (ray == nullptr) return false;
    miState& c = ray->state;
    c.type = miRAY_LIGHT;
    c.scanline = miFALSE;
    // The shading point is still the hit that the caller's cache describes.
    c.cache = const_cast<SurfacePoint*>(surface);
    c.light_instance = leaf.instance;
    c.dir = from_light;
    if (directional) {
        c.org = state->point;
        c.dist = 0.0;
    } else {
        c.org = leaf.origin;
        const miVector d = state->point - leaf.origin;
        c.dist = std::sqrt(static_cast<double>(d.x) * static_cast<double>(d.x) +
                           static_cast<double>(d.y) * static_cast<double>(d.y) +
                           static_cast<double>(d.z) * static_cast<double>(d.z));
    }
    const shading::StateScope scope(frame.context().thread(), c);
    const ThreadArena::Running running(frame.arena(), ray);
    const bool lit =
        shading::call_list(frame.context(), leaf.light->shader, result, &c, miSHADER_LIGHT);
    if (!lit) *result = {};
    return lit;
}

} // namespace

bool trace_light(TracedFrame& frame, miColor* result, miVector* dir, miScalar* dot_nl,
                 miState* state, miTag light) {
    *result = {};
    if (dot_nl != nullptr) *dot_nl = 0.0f;
    const World& world = frame.world();
    const std::vector<miTag>& leaves = world.light_leaves(light);
    const LightLeaf* const leaf = leaves.empty() ? nullptr : world.find_light(leaves.front());
    return leaf != nullptr && trace_leaf(frame, result, dir, dot_nl, state, *leaf);
}

bool sample_light(TracedFrame& frame, miColor* result, miVector* dir, miScalar* dot_nl,
                  miState* state, miTag light, int* samples) {
    *result = {};
    if (dot_nl != nullptr) *dot_nl = 0.0f;
    const std::vector<miTag>& leaves = frame.world().light_leaves(light);
    const auto number = static_cast<std::size_t>(std::max(0, *samples));
    if (number >= leaves.size()) return false;
    ++*samples;
    if (const LightLeaf* const leaf = frame.world().find_light(leaves[number]))
        trace_leaf(frame, result, dir, dot_nl, state, *leaf);
    // Callers divide by the number of samples, but the lights of a group add up.
    const auto count = static_cast<float>(leaves.size());
    result->r *= count;
    result->g *= count;
    result->b *= count;
    result->a *= count;
    return true;
}

} // namespace vx::trace
