#include "host/trace/bounce.h"

#include "host/shading/call.h"
#include "host/trace/child_state.h"
#include "host/trace/ray_end.h"

#include <cstring>

namespace vx::trace {

namespace {

bool same_bits(const miVector& a, const miVector& b) {
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): three floats, compared by their bits
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// As Accel::intersect, except that the ray that this thread probed last is not traced again; its
// surface is known, too. The nearest of all surfaces is also the nearest of those that exist for
// the ray, provided that it is one of them.
bool intersect_once(TracedFrame& frame, const Ray& ray, Hit& hit, const SurfaceGeometry*& surface) {
    surface = nullptr;
    const Accel& accel = frame.world().accel();
    const ProbedRay& probed = frame.arena().probed;
    if (probed.known && ray.ignore == nullptr && same_bits(probed.direction, ray.direction) &&
        same_bits(probed.origin, ray.origin)) {
        if (!probed.met) return false;
        if ((accel.placement(probed.hit.primitive.placement).mask & ray.mask) != 0) {
            hit = probed.hit;
            surface = &probed.surface;
            return true;
        }
    }
    return accel.intersect(ray, hit);
}

enum class Bounce { reflection, refraction, transparency };

// Whether the options and the surface that the ray leaves allow it.
bool allowed(const TracedFrame& frame, const miState& state, Bounce kind) {
    const miOptions& options = frame.options();
    const bool reflects = kind == Bounce::reflection;
    if (!options.trace) return false;
    if (state.reflection_level + state.refraction_level >= options.trace_depth ||
        (reflects ? state.reflection_level >= options.reflection_depth
                  : state.refraction_level >= options.refraction_depth))
        return false;
    const ObjectLeaf* const from = frame.world().find_object(state.instance);
    if (from == nullptr) return true;
    const unsigned char flags = reflects                     ? from->reflection
                                : kind == Bounce::refraction ? from->refraction
                                                             : from->transparency;
    return (flags & flag_receives) != 0;
}

bool bounce(TracedFrame& frame, miColor* result, miState* state, const miVector& direction,
            Bounce kind) {
    *result = {};
    frame.context().check_aborted();
    if (!allowed(frame, *state, kind)) {
        // No ray is sent: the child stays what it was.
        if (state->child == nullptr)
            if (RayState* const ray = child_state(frame, state)) clear_hit(ray->state);
        return false;
    }
    const bool reflects = kind == Bounce::reflection;
    const ProbedRay& probed = frame.arena().probed;
    const miVector dir = probed.known && same_bits(probed.given, direction) ? probed.direction
                                                                            : normalized(direction);
    const unsigned mask = reflects                     ? mask_reflect
                          : kind == Bounce::refraction ? mask_refract
                                                       : mask_transparent;
    Primitive ignored;
    const miVector origin = state->point;
    const Ray query = ray_from(*state, origin, dir, mask, ignored);

    Hit hit;
    const SurfaceGeometry* known = nullptr;
    const bool met = intersect_once(frame, query, hit, known);
    RayState* const ray = met ? child_state_at_surface(frame, state) : child_state(frame, state);
    if (ray == nullptr) return false;
    miState& c = ray->state;
    c.type = reflects                     ? miRAY_REFLECT
             : kind == Bounce::refraction ? miRAY_REFRACT
                                          : miRAY_TRANSPARENT;
    c.scanline = miFALSE;
    c.org = origin;
    c.dir = dir;
    if (reflects) {
        ++c.reflection_level;
    } else {
        ++c.refraction_level;
        c.volume = state->refraction_volume;
    }

    const shading::StateScope scope(frame.context().thread(), c);
    const ThreadArena::Running running(frame.arena(), ray);
    if (!met) {
        const bool lit = leave_scene(frame, result, *ray);
        clear_hit(c);
        return lit;
    }
    const miMaterial* const material = known != nullptr ? enter_surface(frame, hit, *known, *ray)
                                                        : enter_surface(frame, hit, true, *ray);
    return shade(frame, result, *ray, material);
}

} // namespace

bool trace_reflection(TracedFrame& frame, miColor* result, miState* state,
                      const miVector& direction) {
    return bounce(frame, result, state, direction, Bounce::reflection);
}

bool trace_refraction(TracedFrame& frame, miColor* result, miState* state,
                      const miVector& direction) {
    return bounce(frame, result, state, direction, Bounce::refraction);
}

bool trace_transparent(TracedFrame& frame, miColor* result, miState* state) {
    return bounce(frame, result, state, state->dir, Bounce::transparency);
}

bool trace_environment(TracedFrame& frame, miColor* result, miState* state,
                       const miVector& direction) {
    *result = {};
    const miVector dir = normalized(direction);
    RayState* const ray = child_state(frame, state);
    if (ray == nullptr) return false;
    miState& c = ray->state;
    c.type = miRAY_ENVIRONMENT;
    c.org = state->point;
    c.dir = dir;
    c.dist = 0.0;
    const shading::StateScope scope(frame.context().thread(), c);
    const ThreadArena::Running running(frame.arena(), ray);
    const bool lit =
        shading::call_list(frame.context(), state->environment, result, &c, miSHADER_ENVIRONMENT);
    clear_hit(c);
    return lit;
}

bool trace_probe(TracedFrame& frame, miState* state, const miVector& direction,
                 const miVector& origin) {
    frame.context().check_aborted();
    const miVector start = origin;    // may be the state's own point
    const miVector given = direction; // may be the state's own direction
    const miVector dir = normalized(given);
    Primitive ignored;
    const Ray query = ray_from(*state, start, dir, mask_probe, ignored);
    ProbedRay& probed = frame.arena().probed;
    probed.origin = query.origin;
    probed.given = given;
    probed.direction = dir;
    probed.known = query.ignore == nullptr;
    probed.met = frame.world().accel().intersect(query, probed.hit);
    if (probed.met) measure_surface(frame.world(), probed.hit, start, dir, true, probed.surface);
    RayState* const ray =
        probed.met ? child_state_at_surface(frame, state) : child_state(frame, state);
    if (ray == nullptr) return false;
    miState& c = ray->state;
    c.type = miRAY_PROBE;
    c.scanline = miFALSE;
    c.org = start;
    c.dir = dir;
    if (probed.met)
        enter_surface(frame, probed.hit, probed.surface, *ray);
    else
        clear_hit(c);
    return probed.met;
}

} // namespace vx::trace
