#include "host/trace/renderer.h"

#include "host/shading/call.h"
#include "host/trace/surface.h"

#include <cstddef>
#include <cstring>

namespace vx::trace {

namespace {

std::atomic<std::uint64_t> next_id{1};

bool same_bits(const miVector& a, const miVector& b) {
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): three floats, and the bits count
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Copies all of a state but what a hit fills in, which makes up most of it.
void copy_beside_surface(miState& to, const miState& from) {
    constexpr std::size_t kSurface = offsetof(miState, refraction_volume);
    constexpr std::size_t kEnd = offsetof(miState, user);
    std::memcpy(static_cast<void*>(&to), &from, kSurface);
    to.ior = from.ior;
    to.ior_in = from.ior_in;
    to.importance = from.importance;
    std::memcpy(reinterpret_cast<char*>(&to) + kEnd, reinterpret_cast<const char*>(&from) + kEnd,
                sizeof to - kEnd);
}

} // namespace

Renderer::Renderer(shading::Context& context, const World& world, miCamera& camera,
                   miOptions& options, const Textures* textures)
    : m_context(context),
      m_world(world),
      m_camera(camera),
      m_options(options),
      m_textures(textures),
      m_id(next_id++) {
    const auto* const instance =
        context.database.find<miInstance>(world.camera_instance(), miSCENE_INSTANCE);
    const Matrix to_world = instance ? to_matrix(instance->tf.local_to_global) : kIdentity;
    m_camera_origin = point(to_world.data(), {0.0f, 0.0f, 0.0f});
    m_camera_forward = normalized(direction(to_world.data(), {0.0f, 0.0f, -1.0f}));
    m_frame_state.version = 2;
    m_frame_state.camera_inst = m_world.camera_instance();
    m_frame_state.camera = &m_camera;
    m_frame_state.options = &m_options;
    m_frame_state.global_lock = m_context.global_lock;
    m_frame_state.type = miRAY_EYE;
    m_frame_state.volume = m_camera.volume;
    m_frame_state.environment = m_camera.environment;
    m_frame_state.face = m_options.face;
    m_frame_state.ior = 1.0f;
    m_frame_state.ior_in = 1.0f;
    m_frame_state.importance = 1.0f;
    m_context.renderer = this;
}

Renderer::~Renderer() {
    if (m_context.renderer == this) m_context.renderer = nullptr;
}

ThreadArena& Renderer::join_arena() {
    const std::scoped_lock lock(m_arenas_mutex);
    m_arenas.push_back(std::make_unique<ThreadArena>());
    m_my_arena = {m_id, m_arenas.back().get()};
    return *m_arenas.back();
}

std::uint64_t Renderer::eye_rays() {
    const std::scoped_lock lock(m_arenas_mutex);
    std::uint64_t sum = 0;
    for (const auto& arena : m_arenas)
        sum += arena->eye_rays.load(std::memory_order_relaxed);
    return sum;
}

void Renderer::too_deep() {
    if (!m_told_too_deep.exchange(true))
        m_context.say(shading::Level::warning,
                      "rays nest too deep; those beyond see nothing (told once)");
}

// A new state below `parent`, a copy of it, with nothing yet of a ray of its own.
Slot* Renderer::child(miState* parent) {
    m_context.check_aborted();
    Slot* const slot = arena().take(parent);
    if (!slot) {
        too_deep();
        return nullptr;
    }
    slot->state = *parent;
    slot->state.parent = parent;
    slot->state.child = nullptr;
    slot->state.cache = nullptr;
    return slot;
}

// The same for a ray that is known to hit: enter_surface must fill in the rest.
Slot* Renderer::child_at_surface(miState* parent) {
    Slot* const slot = arena().take(parent);
    if (!slot) {
        too_deep();
        return nullptr;
    }
    copy_beside_surface(slot->state, *parent);
    slot->state.parent = parent;
    slot->state.child = nullptr;
    slot->state.cache = nullptr;
    return slot;
}

// As Accel::intersect, but a ray that this thread probed last is not traced again, and its surface
// is known then. The nearest of all surfaces is also the nearest of those that exist for the ray,
// if it is one of them.
bool Renderer::intersect_once(const Ray& ray, Hit& hit, const SurfaceGeometry*& surface) {
    surface = nullptr;
    const ProbedRay& probed = arena().probed;
    if (probed.known && !ray.ignore && same_bits(probed.direction, ray.direction) &&
        same_bits(probed.origin, ray.origin)) {
        if (!probed.met) return false;
        if ((m_world.accel().placement(probed.hit.primitive.placement).mask & ray.mask) != 0) {
            hit = probed.hit;
            surface = &probed.surface;
            return true;
        }
    }
    return m_world.accel().intersect(ray, hit);
}

EyeResult Renderer::eye(const EyeRay& ray) {
    ThreadArena& memory = arena();
    memory.begin_eye_ray(ray.key);
    Slot* const slot = memory.take(nullptr);
    if (!slot) return {};
    shading::ThreadContext& thread = m_context.thread();
    miState& state = slot->state;
    state = m_frame_state;
    state.thread = static_cast<short>(thread.number);
    state.raster_x = ray.raster_x;
    state.raster_y = ray.raster_y;
    state.org = ray.origin;
    state.dir = ray.direction;
    state.point = ray.origin;

    EyeResult result;
    const shading::StateScope scope(thread, state);
    if (m_options.lens && m_camera.lens != miNULLTAG) {
        const ThreadArena::Running running(memory, slot);
        shading::call_one(m_context, m_camera.lens, &result.color, &state, miSHADER_LENS);
        result.hit = state.child != nullptr;
    } else {
        // Without a lens the material's state is the first one: it has no parent.
        shoot_eye(&result.color, *slot, result.hit);
    }
    if (result.hit) {
        result.depth = dot(state.point - m_camera_origin, m_camera_forward);
        result.normal = state.normal;
        result.motion = state.motion;
        result.label = state.label;
    }
    return result;
}

bool Renderer::trace_eye(miColor* result, miState* state, const miVector& origin,
                         const miVector& direction) {
    const miVector dir = normalized(direction);
    state->org = origin;
    state->dir = dir;
    *result = {};
    const ThreadArena::SentOn sent_on(arena());
    const miTag next = state->shader ? state->shader->next_function : miNULLTAG;
    if (next == miNULLTAG) return cast_eye(result, state);

    Slot* const slot = child(state);
    if (!slot) {
        state->child = nullptr;
        return false;
    }
    const shading::StateScope scope(m_context.thread(), slot->state);
    const ThreadArena::Running running(arena(), slot);
    state->child = &slot->state;
    const bool lit = shading::call_one(m_context, next, result, &slot->state, miSHADER_LENS);
    const bool hit = slot->state.child != nullptr;
    state->child = hit ? &slot->state : nullptr;
    if (hit) {
        state->label = slot->state.label;
        state->point = slot->state.point;
        state->normal = slot->state.normal;
        state->dist = slot->state.dist;
        state->motion = slot->state.motion;
    }
    return lit;
}

// Casts the eye ray behind the last lens shader.
bool Renderer::cast_eye(miColor* result, miState* state) {
    Slot* const slot = child(state);
    state->child = nullptr;
    if (!slot) return false;
    miState& c = slot->state;
    c.type = miRAY_EYE;
    const shading::StateScope scope(m_context.thread(), c);
    bool hit = false;
    const bool lit = shoot_eye(result, *slot, hit);
    if (!hit) return lit;
    state->child = &c;
    state->label = c.label;
    state->point = c.point;
    state->normal = c.normal;
    state->dist = c.dist;
    state->motion = c.motion;
    return lit;
}

// Casts the eye ray in the slot and shades what it meets.
bool Renderer::shoot_eye(miColor* result, Slot& slot, bool& hit) {
    const miState& c = slot.state;
    Ray ray;
    ray.origin = c.org;
    ray.direction = c.dir;
    ray.mask = mask_eye;
    ray.faces = true;
    // The clipping distances lie along the viewing direction; a lens may send rays anywhere else.
    const float cosine = dot(c.dir, m_camera_forward);
    const float stretch = cosine > 1e-3f ? 1.0f / cosine : 1.0f;
    ray.near_limit = m_camera.clip.min * stretch;
    ray.far_limit = m_camera.clip.max * stretch;

    const ThreadArena::Running running(arena(), &slot);
    Hit found;
    hit = m_world.accel().intersect(ray, found);
    if (!hit) return leave_scene(result, slot);
    const miMaterial* const material = enter_surface(found, true, slot);
    if (slot.state.parent) slot.state.parent->child = &slot.state;
    return shade(result, slot, material);
}

// The surface, its material's shader and environment into the state of the ray that met it. Returns
// the material; null when there is none.
const miMaterial* Renderer::enter_surface(const Hit& hit, const SurfaceGeometry& surface,
                                          Slot& slot) {
    fill_surface(m_world, hit, surface, slot);
    miState& state = slot.state;
    state.refraction_volume = miNULLTAG;
    const auto* const material =
        m_context.database.find<miMaterial>(state.material, miSCENE_MATERIAL);
    if (!material) {
        state.shader = nullptr;
        return nullptr;
    }
    state.shader = m_context.database.find<miFunction>(material->shader, miSCENE_FUNCTION);
    state.refraction_volume = material->volume;
    if (material->environment != miNULLTAG) state.environment = material->environment;
    return material;
}

// The same for a surface that is still to be measured.
const miMaterial* Renderer::enter_surface(const Hit& hit, bool face_ray, Slot& slot) {
    SurfaceGeometry surface;
    measure_surface(m_world, hit, slot.state.org, slot.state.dir, face_ray, surface);
    return enter_surface(hit, surface, slot);
}

bool Renderer::shade(miColor* result, Slot& slot, const miMaterial* material) {
    bool lit = false;
    if (material && material->shader != miNULLTAG)
        lit =
            shading::call_list(m_context, material->shader, result, &slot.state, miSHADER_MATERIAL);
    run_volume(result, slot);
    return lit;
}

bool Renderer::leave_scene(miColor* result, Slot& slot) {
    miState& state = slot.state;
    state.dist = 0.0;
    state.instance = miNULLTAG;
    state.material = miNULLTAG;
    state.pri = nullptr;
    bool lit = false;
    if (state.environment != miNULLTAG)
        lit =
            shading::call_list(m_context, state.environment, result, &state, miSHADER_ENVIRONMENT);
    run_volume(result, slot);
    return lit;
}

void Renderer::run_volume(miColor* result, Slot& slot) {
    if (m_options.volume && slot.state.volume != miNULLTAG)
        shading::call_list(m_context, slot.state.volume, result, &slot.state, miSHADER_VOLUME);
}

bool Renderer::bounce(miColor* result, miState* state, const miVector& direction, Bounce kind) {
    *result = {};
    m_context.check_aborted();
    if (!m_options.trace) return false;
    const bool reflects = kind == Bounce::reflection;
    if (state->reflection_level + state->refraction_level >= m_options.trace_depth ||
        (reflects ? state->reflection_level >= m_options.reflection_depth
                  : state->refraction_level >= m_options.refraction_depth))
        return false;
    if (const ObjectLeaf* const from = m_world.find_object(state->instance)) {
        const unsigned char flags = reflects                     ? from->reflection
                                    : kind == Bounce::refraction ? from->refraction
                                                                 : from->transparency;
        if ((flags & flag_receives) == 0) return false;
    }
    const ProbedRay& probed = arena().probed;
    const miVector dir = probed.known && same_bits(probed.given, direction) ? probed.direction
                                                                            : normalized(direction);
    const unsigned mask = reflects                     ? mask_reflect
                          : kind == Bounce::refraction ? mask_refract
                                                       : mask_transparent;
    Primitive ignored;
    const miVector origin = state->point;
    const Ray ray = ray_from(*state, origin, dir, mask, ignored);

    Hit hit;
    const SurfaceGeometry* known = nullptr;
    const bool met = intersect_once(ray, hit, known);
    Slot* const slot = met ? child_at_surface(state) : child(state);
    state->child = nullptr;
    if (!slot) return false;
    miState& c = slot->state;
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

    const shading::StateScope scope(m_context.thread(), c);
    const ThreadArena::Running running(arena(), slot);
    if (!met) {
        const bool lit = leave_scene(result, *slot);
        state->child = nullptr;
        return lit;
    }
    const miMaterial* const material =
        known ? enter_surface(hit, *known, *slot) : enter_surface(hit, true, *slot);
    state->child = &c;
    return shade(result, *slot, material);
}

bool Renderer::trace_reflection(miColor* result, miState* state, const miVector& direction) {
    return bounce(result, state, direction, Bounce::reflection);
}

bool Renderer::trace_refraction(miColor* result, miState* state, const miVector& direction) {
    return bounce(result, state, direction, Bounce::refraction);
}

bool Renderer::trace_transparent(miColor* result, miState* state) {
    return bounce(result, state, state->dir, Bounce::transparency);
}

bool Renderer::trace_environment(miColor* result, miState* state, const miVector& direction) {
    *result = {};
    const miVector dir = normalized(direction);
    Slot* const slot = child(state);
    state->child = nullptr;
    if (!slot || state->environment == miNULLTAG) return false;
    miState& c = slot->state;
    c.type = miRAY_ENVIRONMENT;
    c.org = state->point;
    c.dir = dir;
    c.dist = 0.0;
    const shading::StateScope scope(m_context.thread(), c);
    const ThreadArena::Running running(arena(), slot);
    return shading::call_list(m_context, state->environment, result, &c, miSHADER_ENVIRONMENT);
}

bool Renderer::trace_probe(miState* state, const miVector& direction, const miVector& origin) {
    m_context.check_aborted();
    const miVector start = origin;    // may be the state's own point
    const miVector given = direction; // may be the state's own direction
    const miVector dir = normalized(given);
    Primitive ignored;
    const Ray ray = ray_from(*state, start, dir, mask_probe, ignored);
    state->child = nullptr;
    ProbedRay& probed = arena().probed;
    probed.origin = ray.origin;
    probed.given = given;
    probed.direction = dir;
    probed.known = ray.ignore == nullptr;
    probed.met = m_world.accel().intersect(ray, probed.hit);
    if (!probed.met) return false;
    measure_surface(m_world, probed.hit, start, dir, true, probed.surface);
    Slot* const slot = child_at_surface(state);
    if (!slot) return false;
    miState& c = slot->state;
    c.type = miRAY_PROBE;
    c.scanline = miFALSE;
    c.org = start;
    c.dir = dir;
    enter_surface(probed.hit, probed.surface, *slot);
    state->child = &c;
    return true;
}

} // namespace vx::trace
