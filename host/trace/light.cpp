// Light and shadow rays.
#include "host/shading/call.h"
#include "host/trace/renderer.h"
#include "host/trace/surface.h"

#include <algorithm>

namespace vx::trace {

namespace {

// What one light meets on its way at most; whatever lies behind so many surfaces is dark.
constexpr std::size_t kMaxOccluders = 1024;

bool black(const miColor& c) {
    return !(c.r > 0.0f) && !(c.g > 0.0f) && !(c.b > 0.0f);
}

} // namespace

bool Renderer::light_leaf(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                          const LightLeaf& leaf) {
    *result = {};
    const bool directional = leaf.light->type == miLIGHT_DIRECTION;
    const miVector from_light =
        directional ? leaf.direction : normalized(state->point - leaf.origin);
    const miVector to_light = -from_light;
    const bool has_normal = dot(state->normal, state->normal) > 0.0f;
    const float cosine = dot(state->normal, to_light);
    if (dir) *dir = to_light;
    if (dot_nl) *dot_nl = std::max(0.0f, cosine);
    // A light behind the surface gives nothing, and its shader need not run.
    if (has_normal && !(cosine > 0.0f)) return false;

    const SurfacePoint* const surface = static_cast<const SurfacePoint*>(state->cache);
    Slot* const slot = child(state);
    state->child = nullptr;
    if (!slot) return false;
    miState& c = slot->state;
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
    state->child = &c;
    const shading::StateScope scope(m_context.thread(), c);
    const ThreadArena::Running running(arena(), slot);
    const bool lit = shading::call_list(m_context, leaf.light->shader, result, &c, miSHADER_LIGHT);
    if (!lit) *result = {};
    return lit;
}

bool Renderer::trace_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                           miTag light) {
    *result = {};
    if (dot_nl) *dot_nl = 0.0f;
    const std::vector<miTag>& leaves = m_world.light_leaves(light);
    const LightLeaf* const leaf = leaves.empty() ? nullptr : m_world.find_light(leaves.front());
    return leaf && light_leaf(result, dir, dot_nl, state, *leaf);
}

bool Renderer::sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                            miTag light, int* samples) {
    *result = {};
    if (dot_nl) *dot_nl = 0.0f;
    const std::vector<miTag>& leaves = m_world.light_leaves(light);
    const auto number = static_cast<std::size_t>(std::max(0, *samples));
    if (number >= leaves.size()) return false;
    ++*samples;
    if (const LightLeaf* const leaf = m_world.find_light(leaves[number]))
        light_leaf(result, dir, dot_nl, state, *leaf);
    // Callers divide by the number of samples; the lights of a group add up all the same.
    const auto count = static_cast<float>(leaves.size());
    result->r *= count;
    result->g *= count;
    result->b *= count;
    result->a *= count;
    return true;
}

bool Renderer::shadow_shader(miColor* result, miState* light_state, const Hit& hit, float length) {
    Slot* const slot = child(light_state);
    light_state->child = nullptr;
    if (!slot) {
        *result = {};
        return false;
    }
    miState& c = slot->state;
    c.type = miRAY_SHADOW;
    const miMaterial* const material = enter_surface(hit, false, *slot);
    c.dist = static_cast<double>(std::max(0.0f, length - hit.distance));
    if (!material || material->shadow == miNULLTAG) {
        *result = {};
        return false;
    }
    light_state->child = &c;
    const shading::StateScope scope(m_context.thread(), c);
    const ThreadArena::Running running(arena(), slot);
    if (!shading::call_list(m_context, material->shadow, result, &c, miSHADER_SHADOW)) *result = {};
    return !black(*result);
}

bool Renderer::trace_shadow(miColor* result, miState* state) {
    if (m_options.shadow == 0 || !m_options.trace) return true;
    if (const ObjectLeaf* const receiver = m_world.find_object(state->instance))
        if ((receiver->shadow & flag_receives) == 0) return true;

    Primitive ignored;
    Ray ray = ray_from(*state, state->point, -state->dir, mask_shadow, ignored);
    const bool endless = !(state->dist > 0.0);
    const float length = endless ? 0.0f : static_cast<float>(state->dist);
    // Not as far as the light itself: what carries it would always be in the way.
    if (!endless) ray.far_limit = length * (1.0f - 1e-5f);
    if (!m_world.has_shadow_shaders()) {
        if (!m_world.accel().occluded(ray)) return true;
        *result = {};
        return false;
    }

    ThreadArena& memory = arena();
    if (memory.occluder_memory.size() <= memory.occluder_depth)
        memory.occluder_memory.push_back(std::make_unique<ThreadArena::Occluders>());
    ThreadArena::Occluders& found = *memory.occluder_memory[memory.occluder_depth];
    // Shadow shaders may ask for lights themselves, so lists nest.
    struct Nested {
        ThreadArena& arena;
        ThreadArena::Occluders* before;
        Nested(ThreadArena& a, ThreadArena::Occluders& list) : arena(a), before(a.occluders) {
            arena.occluders = &list;
            ++arena.occluder_depth;
        }
        ~Nested() {
            arena.occluders = before;
            --arena.occluder_depth;
        }
        Nested(const Nested&) = delete;
        Nested& operator=(const Nested&) = delete;
    } const nested(memory, found);

    m_world.accel().all(ray, found.hits, kMaxOccluders);
    if (found.hits.size() >= kMaxOccluders) {
        *result = {};
        return false;
    }
    // From the light to the point.
    std::reverse(found.hits.begin(), found.hits.end());
    found.next = 0;
    found.length = length;
    if (m_options.shadow == 3) return trace_shadow_segment(result, state);
    while (found.next < found.hits.size())
        if (!shadow_shader(result, state, found.hits[found.next++], length)) return false;
    return true;
}

bool Renderer::trace_shadow_segment(miColor* result, miState* state) {
    ThreadArena::Occluders* const found = arena().occluders;
    if (!found || found->next >= found->hits.size()) return true;
    const Hit hit = found->hits[found->next++];
    return shadow_shader(result, state, hit, found->length);
}

} // namespace vx::trace
