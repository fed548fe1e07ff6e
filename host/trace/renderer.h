// Rays and the shaders that they call: what stands behind the trace functions of the interface.
//
// A Renderer lives for one frame. All calls may come from any number of threads at once; those that
// take a state work on the memory of the calling thread. They throw RenderAborted when the render
// ends early.
#pragma once

#include "host/shading/context.h"
#include "host/trace/arena.h"
#include "host/trace/texture.h"
#include "host/trace/world.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace vx::trace {

// Where an eye ray starts.
struct EyeRay {
    miVector origin{};
    miVector direction{}; // normalised
    float raster_x = 0.0f, raster_y = 0.0f;
    std::uint64_t key = 0; // 0 for the first of the frame, see mi_sample
};

// What an eye ray saw.
struct EyeResult {
    miColor color{};
    bool hit = false;
    float depth = 0.0f; // along the camera's viewing direction
    miVector normal{};
    miVector motion{};
    miUint label = 0;
};

class Renderer {
  public:
    // All must outlive the renderer, which makes itself the context's.
    // `textures` may be null: lookups in images then fail.
    Renderer(shading::Context& context, const World& world, miCamera& camera, miOptions& options,
             const Textures* textures = nullptr);
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    [[nodiscard]] shading::Context& context() const { return m_context; }
    [[nodiscard]] const World& world() const { return m_world; }
    [[nodiscard]] const Textures* textures() const { return m_textures; }
    // A state with the frame's part filled in and no ray.
    [[nodiscard]] const miState& frame_state() const { return m_frame_state; }
    // Eye rays sent so far, by all threads.
    [[nodiscard]] std::uint64_t eye_rays();
    // The calling thread's memory.
    [[nodiscard]] ThreadArena& arena() {
        return m_my_arena.renderer == m_id ? *m_my_arena.arena : join_arena();
    }

    // Sends an eye ray through the lens shaders and shades what it meets.
    [[nodiscard]] EyeResult eye(const EyeRay& ray);

    // The functions of the interface, see there.
    bool trace_eye(miColor* result, miState* state, const miVector& origin,
                   const miVector& direction);
    bool trace_reflection(miColor* result, miState* state, const miVector& direction);
    bool trace_refraction(miColor* result, miState* state, const miVector& direction);
    bool trace_transparent(miColor* result, miState* state);
    bool trace_environment(miColor* result, miState* state, const miVector& direction);
    bool trace_probe(miState* state, const miVector& direction, const miVector& origin);
    bool trace_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state, miTag light);
    bool sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state, miTag light,
                      int* samples);
    bool trace_shadow(miColor* result, miState* state);
    bool trace_shadow_segment(miColor* result, miState* state);

  private:
    struct MyArena {
        std::uint64_t renderer;
        ThreadArena* arena;
    };
    static inline thread_local constinit MyArena m_my_arena{0, nullptr};
    ThreadArena& join_arena();

    enum class Bounce { reflection, refraction, transparency };

    Slot* child(miState* parent);
    Slot* child_at_surface(miState* parent);
    bool intersect_once(const Ray& ray, Hit& hit, const SurfaceGeometry*& surface);
    bool bounce(miColor* result, miState* state, const miVector& direction, Bounce kind);
    bool cast_eye(miColor* result, miState* state);
    bool shoot_eye(miColor* result, Slot& slot, bool& hit);
    bool shade(miColor* result, Slot& slot, const miMaterial* material);
    bool leave_scene(miColor* result, Slot& slot);
    const miMaterial* enter_surface(const Hit& hit, const SurfaceGeometry& surface, Slot& slot);
    const miMaterial* enter_surface(const Hit& hit, bool face_ray, Slot& slot);
    void run_volume(miColor* result, Slot& slot);
    bool light_leaf(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                    const LightLeaf& leaf);
    bool shadow_shader(miColor* result, miState* light_state, const Hit& hit, float length);
    void too_deep();

    shading::Context& m_context;
    const World& m_world;
    miCamera& m_camera;
    miOptions& m_options;
    const Textures* m_textures;
    miState m_frame_state{};
    miVector m_camera_origin{}, m_camera_forward{};
    const std::uint64_t m_id;
    std::mutex m_arenas_mutex;
    std::vector<std::unique_ptr<ThreadArena>> m_arenas;
    std::atomic<bool> m_told_too_deep{false};
};

} // namespace vx::trace
