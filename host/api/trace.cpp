// mi_trace_*: secondary rays.
#include "host/trace/bounce.h"
#include "host/trace/eye_ray.h"
#include "host/trace/shadow_ray.h"

namespace {

using vx::trace::TracedFrame;

miBoolean truth(bool value) {
    return value ? miTRUE : miFALSE;
}

// The result of a ray that brings back a color.
miBoolean seen(const TracedFrame& frame, bool value) {
    if (!value) frame.context().thread().note_false_below();
    return truth(value);
}

// A result color that exists even if the shader passes null.
class Result {
  public:
    explicit Result(miColor* given) : m_given(given) {}
    operator miColor*() { return m_given != nullptr ? m_given : &m_own; }

  private:
    miColor* m_given;
    miColor m_own{};
};

} // namespace

miBoolean mi_trace_eye(miColor* result, miState* state, miVector* origin, miVector* direction) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return miFALSE;
    const miVector from = origin != nullptr ? *origin : state->org;
    const miVector along = direction != nullptr ? *direction : state->dir;
    return seen(*frame, vx::trace::trace_eye(*frame, Result(result), state, from, along));
}

miBoolean mi_trace_reflection(miColor* result, miState* state, miVector* direction) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr || direction == nullptr) return miFALSE;
    return seen(*frame, vx::trace::trace_reflection(*frame, Result(result), state, *direction));
}

miBoolean mi_trace_refraction(miColor* result, miState* state, miVector* direction) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr || direction == nullptr) return miFALSE;
    return seen(*frame, vx::trace::trace_refraction(*frame, Result(result), state, *direction));
}

miBoolean mi_trace_transparent(miColor* result, miState* state) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return miFALSE;
    return seen(*frame, vx::trace::trace_transparent(*frame, Result(result), state));
}

miBoolean mi_trace_environment(miColor* result, miState* state, miVector* direction) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return miFALSE;
    return seen(*frame,
                vx::trace::trace_environment(*frame, Result(result), state,
                                             direction != nullptr ? *direction : state->dir));
}

miBoolean mi_trace_probe(miState* state, miVector* direction, miVector* origin) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr || direction == nullptr) return miFALSE;
    return truth(vx::trace::trace_probe(*frame, state, *direction,
                                        origin != nullptr ? *origin : state->point));
}

miBoolean mi_trace_shadow(miColor* result, miState* state) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return miFALSE;
    return truth(vx::trace::trace_shadow(*frame, Result(result), state));
}

miBoolean mi_trace_shadow_seg(miColor* result, miState* state) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return miFALSE;
    return truth(vx::trace::trace_shadow_segment(*frame, Result(result), state));
}

void mi_flush_cache(miState* state) {
    if (state != nullptr) state->cache = nullptr;
}

void mi_reflection_dir(miVector* dir, miState* state) {
    const miVector n = state->normal;
    const miVector d = state->dir;
    const miScalar twice = 2.0f * mi_vector_dot(&n, &d);
    *dir = {d.x - twice * n.x, d.y - twice * n.y, d.z - twice * n.z};
}

miBoolean mi_refraction_dir(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out) {
    const miVector n = state->normal;
    const miVector d = state->dir;
    const double ratio =
        ior_out != 0.0f ? static_cast<double>(ior_in) / static_cast<double>(ior_out) : 1.0;
    const double cosine = -static_cast<double>(mi_vector_dot(&n, &d));
    const double inside = 1.0 - ratio * ratio * (1.0 - cosine * cosine);
    if (!(inside >= 0.0)) {
        mi_reflection_dir(dir, state);
        return miFALSE;
    }
    const double along_normal = ratio * cosine - std::sqrt(inside);
    *dir = {static_cast<miScalar>(ratio * static_cast<double>(d.x) +
                                  along_normal * static_cast<double>(n.x)),
            static_cast<miScalar>(ratio * static_cast<double>(d.y) +
                                  along_normal * static_cast<double>(n.y)),
            static_cast<miScalar>(ratio * static_cast<double>(d.z) +
                                  along_normal * static_cast<double>(n.z))};
    return miTRUE;
}

miBoolean mi_tri_vectors(miState* state, int which, int space, miVector** a, miVector** b,
                         miVector** c) {
    auto* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr || state->pri == nullptr) return miFALSE;
    const auto primitive = vx::trace::Primitive::from_handle(state->pri);
    if (primitive.placement >= frame->world().object_count()) return miFALSE;
    const auto& placement = frame->world().accel().placement(primitive.placement);
    if (primitive.triangle >= placement.mesh->triangles.size()) return miFALSE;
    const auto& indices = placement.mesh->triangles[primitive.triangle];

    auto& corners = frame->arena().corners;
    const auto* source = static_cast<const std::vector<vx::scene::Vec3>*>(nullptr);
    switch (which) {
    case 'p':
        vx::trace::triangle_corners(frame->world(), primitive, corners.data());
        break;
    case 'n':
        source = &placement.mesh->normals;
        break;
    case 't':
        if (space < 0 || static_cast<std::size_t>(space) >= placement.mesh->textures.size())
            return miFALSE;
        source = &placement.mesh->textures[static_cast<std::size_t>(space)];
        break;
    default:
        return miFALSE;
    }
    if (source != nullptr) {
        if (source->empty()) return miFALSE;
        for (std::size_t i = 0; i < 3; ++i) {
            const vx::scene::Vec3& v = (*source)[indices[i]];
            corners[i] = {v.x, v.y, v.z};
            if (which == 'n')
                corners[i] =
                    vx::trace::normalized(vx::trace::normal(placement.to_local, corners[i]));
        }
    }
    if (a != nullptr) *a = &corners[0];
    if (b != nullptr) *b = &corners[1];
    if (c != nullptr) *c = &corners[2];
    return miTRUE;
}
