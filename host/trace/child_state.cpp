#include "host/trace/child_state.h"

#include <cstddef>
#include <cstring>

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

RayState* take(TracedFrame& frame, const miState* parent) {
    RayState* const ray = frame.arena().take(parent);
    if (!ray) frame.warn_too_deep();
    return ray;
}

void attach(miState& child, miState* parent) {
    child.parent = parent;
    child.child = nullptr;
    child.cache = nullptr;
}

} // namespace

RayState* child_state(TracedFrame& frame, miState* parent) {
    frame.context().check_aborted();
    RayState* const ray = take(frame, parent);
    if (!ray) return nullptr;
    ray->state = *parent;
    attach(ray->state, parent);
    return ray;
}

RayState* child_state_at_surface(TracedFrame& frame, miState* parent) {
    RayState* const ray = take(frame, parent);
    if (!ray) return nullptr;
    copy_except_surface(ray->state, *parent);
    attach(ray->state, parent);
    return ray;
}

} // namespace vx::trace
