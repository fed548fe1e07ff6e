#include "host/trace/shadow_ray.h"

#include "host/shading/call.h"
#include "host/trace/child_state.h"
#include "host/trace/ray_end.h"

#include <algorithm>

namespace vx::trace {

namespace {

// Occluders of one shadow ray at most; points behind that many surfaces are in shadow.
constexpr std::size_t kMaxOccluders = 1024;
// The value of miOptions::shadow for shadow segments.
constexpr int kShadowSegments = 3;

bool black(const miColor& c) {
    return !(c.r > 0.0f) && !(c.g > 0.0f) && !(c.b > 0.0f);
}

// Runs the shadow shader of an occluder. False if no light remains.
bool run_shadow_shader(TracedFrame& frame, miColor* result, miState* light_state, const Hit& hit,
                       float length) {
    RayState* const ray = child_state(frame, light_state);
    if (ray == nullptr) {
        *result = {};
        return false;
    }
    miState& c = ray->state;
    c.type = miRAY_SHADOW;
    const miMaterial* const material = enter_surface(frame, hit, false, *ray);
    c.dist = static_cast<double>(std::max(0.0f, length - hit.distance));
    if (material == nullptr || material->shadow == miNULLTAG) {
        *result = {};
        return false;
    }
    const shading::StateScope scope(frame.context().thread(), c);
    const ThreadArena::Running running(frame.arena(), ray);
    if (!shading::call_list(frame.context(), material->shadow, result, &c, miSHADER_SHADOW))
        *result = {};
    return !black(*result);
}

// A list of occluders for one shadow ray. Lists nest, since shadow shaders may ask for lights.
class NestedOccluders {
  public:
    explicit NestedOccluders(ThreadArena& arena) : m_arena(arena), m_before(arena.occluders) {
        if (arena.occluder_memory.size() <= arena.occluder_depth)
            arena.occluder_memory.push_back(std::make_unique<ThreadArena::Occluders>());
        arena.occluders = arena.occluder_memory[arena.occluder_depth].get();
        ++arena.occluder_depth;
    }
    ~NestedOccluders() {
        m_arena.occluders = m_before;
        --m_arena.occluder_depth;
    }
    NestedOccluders(const NestedOccluders&) = delete;
    NestedOccluders& operator=(const NestedOccluders&) = delete;

  private:
    ThreadArena& m_arena;
    ThreadArena::Occluders* const m_before;
};

} // namespace

bool trace_shadow(TracedFrame& frame, miColor* result, miState* state) {
    const World& world = frame.world();
    const miOptions& options = frame.options();
    if (options.shadow == 0 || !options.trace) return true;
    if (const ObjectLeaf* const receiver = world.find_object(state->instance))
        if ((receiver->shadow & flag_receives) == 0) return true;

    Primitive ignored;
    Ray query = ray_from(*state, state->point, -state->dir, mask_shadow, ignored);
    const bool endless = !(state->dist > 0.0);
    const float length = endless ? 0.0f : static_cast<float>(state->dist);
    // Short of the light itself: an object that carries the light would always block it.
    if (!endless) query.far_limit = length * (1.0f - 1e-5f);
    if (!world.has_shadow_shaders()) {
        if (!world.accel().occluded(query)) return true;
        *result = {};
        return false;
    }

    const NestedOccluders nested(frame.arena());
    ThreadArena::Occluders& found = *frame.arena().occluders;
    world.accel().all(query, found.hits, kMaxOccluders);
    if (found.hits.size() >= kMaxOccluders) {
        *result = {};
        return false;
    }
    // From the light to the point.
    std::reverse(found.hits.begin(), found.hits.end());
    found.next = 0;
    found.length = length;
    if (options.shadow == kShadowSegments) return trace_shadow_segment(frame, result, state);
    while (found.next < found.hits.size())
        if (!run_shadow_shader(frame, result, state, found.hits[found.next++], length))
            return false;
    return true;
}

bool trace_shadow_segment(TracedFrame& frame, miColor* result, miState* state) {
    ThreadArena::Occluders* const found = frame.arena().occluders;
    if (found == nullptr || found->next >= found->hits.size()) return true;
    const Hit hit = found->hits[found->next++];
    return run_shadow_shader(frame, result, state, hit, found->length);
}

} // namespace vx::trace
