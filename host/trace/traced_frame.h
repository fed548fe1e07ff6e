// What all rays of a frame share.
#pragma once

#include "host/shading/context.h"
#include "host/trace/texture.h"
#include "host/trace/thread_arena.h"
#include "host/trace/world.h"

#include <atomic>
#include <cstdint>

namespace vx::trace {

// Lives as long as the rays of one frame are traced. All functions are safe to call from any number
// of threads.
class TracedFrame {
  public:
    // All arguments must outlive the frame, which becomes the current one. `textures` may be null:
    // lookups in images then fail.
    TracedFrame(shading::Context& context, const World& world, miCamera& camera, miOptions& options,
                const Textures* textures = nullptr);
    ~TracedFrame();
    TracedFrame(const TracedFrame&) = delete;
    TracedFrame& operator=(const TracedFrame&) = delete;

    // The frame that the interface functions of host/api work on; null between frames.
    [[nodiscard]] static TracedFrame* current() {
        return m_current.load(std::memory_order_acquire);
    }

    [[nodiscard]] shading::Context& context() const { return m_context; }
    [[nodiscard]] const World& world() const { return m_world; }
    [[nodiscard]] const miCamera& camera() const { return m_camera; }
    [[nodiscard]] const miOptions& options() const { return m_options; }
    [[nodiscard]] const Textures* textures() const { return m_textures; }
    // Of the camera, in world space.
    [[nodiscard]] const miVector& camera_origin() const { return m_camera_origin; }
    [[nodiscard]] const miVector& camera_forward() const { return m_camera_forward; }
    // A state that describes the frame and no ray.
    [[nodiscard]] const miState& state() const { return m_state; }

    // The calling thread's memory.
    [[nodiscard]] ThreadArena& arena() { return m_arenas.mine(); }
    // Eye rays traced so far, by all threads.
    [[nodiscard]] std::uint64_t eye_rays() { return m_arenas.eye_rays(); }

    // Warns, once per frame, that a ray was not traced because rays nest too deep.
    void warn_too_deep();

  private:
    static inline std::atomic<TracedFrame*> m_current{nullptr};

    shading::Context& m_context;
    const World& m_world;
    const miCamera& m_camera;
    const miOptions& m_options;
    const Textures* m_textures;
    miState m_state{};
    miVector m_camera_origin{}, m_camera_forward{};
    ThreadArenas m_arenas;
    std::atomic<bool> m_warned_too_deep{false};
};

} // namespace vx::trace
