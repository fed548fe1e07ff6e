#include "host/trace/child_state.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace vx::trace {

namespace {

// Copies all of a state but what a hit sets, which is most of it.
void copy_except_surface(miState& to, const miState& from) {
    constexpr std::size_t kSurface = offsetof(miState, refraction_volume);
    constexpr std::size_t kEnd = offsetof(miState, user);
    std::memcpy(static_cast<void*>(&to), &from, kSurface);
    to.ior = from.ior;
    to.ior_in = from.ior_in;
    to.importance = from.importance;
    std::memcpy(reinterpret_cast<char*>(&to) + kEnd, reinterpret_cast<const char*>(&from) + kEnd,
                sizeof to - kEnd);
}

void attach(miState& child, miState* parent) {
    child.parent = parent;
    child.child = nullptr;
    child.cache = nullptr;
    parent->child = &child;
}

// The child of a state whose rays are not traced because they nest too deep.
void attach_untraced(TracedFrame& frame, miState* parent) {
    frame.warn_too_deep();
    miState& child = frame.arena().untraced;
    if (parent == &child) {
        child.child = &child;
        return;
    }
    child = *parent;
    attach(child, parent);
    clear_hit(child);
}

RayState* take(TracedFrame& frame, miState* parent) {
    RayState* const ray = frame.arena().take(parent);
    if (ray == nullptr) attach_untraced(frame, parent);
    return ray;
}

} // namespace

RayState* child_state(TracedFrame& frame, miState* parent) {
    frame.context().check_aborted();
    RayState* const ray = take(frame, parent);
    if (ray == nullptr) return nullptr;
    ray->state = *parent;
    attach(ray->state, parent);
    return ray;
}

RayState* child_state_at_surface(TracedFrame& frame, miState* parent) {
    RayState* const ray = take(frame, parent);
    if (ray == nullptr) return nullptr;
    copy_except_surface(ray->state, *parent);
    attach(ray->state, parent);
    return ray;
}

void clear_hit(miState& state) {
    state.cache = nullptr;
    state.refraction_volume = miNULLTAG;
    state.label = 0;
    state.instance = miNULLTAG;
    state.light_instance = miNULLTAG;
    std::fill(std::begin(state.bary), std::end(state.bary), 0.0f);
    state.point = {};
    state.normal = {};
    state.normal_geom = {};
    state.inv_normal = miFALSE;
    state.dot_nd = 0.0f;
    state.dist = 0.0;
    state.material = miNULLTAG;
    state.pri = nullptr;
    state.shadow_tol = 0.0;
    state.tex_list = nullptr;
    state.bump_x_list = nullptr;
    state.bump_y_list = nullptr;
    state.tex = {};
    state.motion = {};
    std::fill(std::begin(state.derivs), std::end(state.derivs), nullptr);
}

} // namespace vx::trace
