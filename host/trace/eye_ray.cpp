#include "host/trace/eye_ray.h"

#include "host/shading/call.h"
#include "host/trace/child_state.h"
#include "host/trace/ray_end.h"

namespace vx::trace {

namespace {

// Passes the hit of an eye ray on to the lens shader that sent it.
void copy_hit(miState& to, const miState& from) {
    to.label = from.label;
    to.point = from.point;
    to.normal = from.normal;
    to.dist = from.dist;
    to.motion = from.motion;
}

// Traces the eye ray that `ray` describes and shades what it hits.
bool shoot_eye(TracedFrame& frame, miColor* result, RayState& ray, bool& hit) {
    const miState& state = ray.state;
    Ray query;
    query.origin = state.org;
    query.direction = state.dir;
    query.mask = mask_eye;
    query.faces = true;
    // Clipping distances are measured along the viewing direction; lens shaders may trace rays in
    // any other direction.
    const float cosine = dot(state.dir, frame.camera_forward());
    const float stretch = cosine > 1e-3f ? 1.0f / cosine : 1.0f;
    query.near_limit = frame.camera().clip.min * stretch;
    query.far_limit = frame.camera().clip.max * stretch;

    const ThreadArena::Running running(frame.arena(), &ray);
    Hit found;
    hit = frame.world().accel().intersect(query, found);
    if (!hit) return leave_scene(frame, result, ray);
    const miMaterial* const material = enter_surface(frame, found, true, ray);
    return shade(frame, result, ray, material);
}

// Traces the eye ray behind the last lens shader, whose state is `state`.
bool cast_eye(TracedFrame& frame, miColor* result, miState* state) {
    RayState* const ray = child_state(frame, state);
    if (ray == nullptr) return false;
    miState& c = ray->state;
    c.type = miRAY_EYE;
    const shading::StateScope scope(frame.context().thread(), c);
    bool hit = false;
    const bool lit = shoot_eye(frame, result, *ray, hit);
    if (hit)
        copy_hit(*state, c);
    else
        clear_hit(c);
    return lit;
}

} // namespace

EyeResult send_eye_ray(TracedFrame& frame, const EyeRay& ray) {
    ThreadArena& memory = frame.arena();
    memory.begin_eye_ray(ray.key);
    RayState* const first = memory.take(nullptr);
    if (first == nullptr) return {};
    shading::ThreadContext& thread = frame.context().thread();
    miState& state = first->state;
    state = frame.state();
    state.thread = static_cast<short>(thread.number);
    state.raster_x = ray.raster_x;
    state.raster_y = ray.raster_y;
    state.org = ray.origin;
    state.dir = ray.direction;
    state.point = ray.origin;

    EyeResult result;
    const shading::StateScope scope(thread, state);
    const miTag lens = frame.camera().lens;
    if (frame.options().lens && lens != miNULLTAG) {
        const ThreadArena::Running running(memory, first);
        shading::call_one(frame.context(), lens, &result.color, &state, miSHADER_LENS);
        result.hit = sent_ray_hit(state);
    } else {
        // Without a lens shader the material's state is the first one: it has no parent.
        shoot_eye(frame, &result.color, *first, result.hit);
    }
    if (result.hit) {
        result.depth = dot(state.point - frame.camera_origin(), frame.camera_forward());
        result.normal = state.normal;
        result.motion = state.motion;
        result.label = state.label;
    }
    return result;
}

bool trace_eye(TracedFrame& frame, miColor* result, miState* state, const miVector& origin,
               const miVector& direction) {
    const miVector dir = normalized(direction);
    state->org = origin;
    state->dir = dir;
    *result = {};
    const ThreadArena::BehindLens behind(frame.arena());
    const miTag next = state->shader != nullptr ? state->shader->next_function : miNULLTAG;
    if (next == miNULLTAG) return cast_eye(frame, result, state);

    RayState* const ray = child_state(frame, state);
    if (ray == nullptr) return false;
    miState& c = ray->state;
    const shading::StateScope scope(frame.context().thread(), c);
    const ThreadArena::Running running(frame.arena(), ray);
    const bool lit = shading::call_one(frame.context(), next, result, &c, miSHADER_LENS);
    if (sent_ray_hit(c))
        copy_hit(*state, c);
    else
        clear_hit(c);
    return lit;
}

} // namespace vx::trace
