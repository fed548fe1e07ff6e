// Memory of one rendering thread for the states of its rays and for what lasts longer than a call.
#pragma once

#include "host/sampling/hash.h"
#include "host/trace/ray_state.h"
#include "host/trace/surface.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace vx::trace {

// The last probe of a thread. A shader that probes and then shades sends the same ray twice; the
// second time its hit is known. The entry is found by the ray itself, so it stays valid whatever a
// shader does to its state in between.
struct ProbedRay {
    miVector origin{};
    miVector given{};     // the direction that the shader passed
    miVector direction{}; // normalized
    Hit hit;
    SurfaceGeometry surface; // of the hit, with its normals facing the ray
    bool known = false;
    bool met = false; // false: the ray hits nothing
};

// States lie in a stack, numbered by depth. A call from state k uses a state above k and above
// those of all calls in progress, so a child state stays unchanged until the next call from the
// same parent. States never move.
class ThreadArena {
  public:
    static constexpr std::size_t kMaxDepth = 500;

    // Memory for a child of `parent` (null: the first state), or null if calls nest too deep.
    RayState* take(const miState* parent) {
        std::size_t at = m_active;
        if (parent != nullptr) {
            const std::size_t own = index_of(parent);
            if (own != kNone && own + 1 > at) at = own + 1;
        }
        if (at >= kMaxDepth) return nullptr;
        while (m_states.size() <= at)
            m_states.push_back(std::make_unique<RayState>());
        m_last_taken = at;
        return m_states[at].get();
    }

    // Reserves a state, and all below it, while its shaders run.
    class Running {
      public:
        Running(ThreadArena& arena, const RayState* ray)
            : m_arena(arena), m_before(arena.m_active) {
            m_arena.m_active = m_arena.index_of(&ray->state) + 1;
        }
        ~Running() { m_arena.m_active = m_before; }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

      private:
        ThreadArena& m_arena;
        std::size_t m_before;
    };

    // The occluders between a light and a point, from the light on.
    struct Occluders {
        std::vector<Hit> hits;
        std::size_t next = 0; // the first whose shadow shader has not run
        float length = 0.0f;  // from the light to the point; 0: the light is directional
    };
    Occluders* occluders = nullptr;                          // of the innermost shadow ray
    std::vector<std::unique_ptr<Occluders>> occluder_memory; // by nesting depth
    std::size_t occluder_depth = 0;

    std::atomic<std::uint64_t> eye_rays{0}; // written by its own thread only

    // Quasi-random loops of shaders in progress, in the order in which they began.
    struct Loop {
        const void* counter = nullptr; // address of the caller's counter
        std::uint64_t seed = 0;
    };
    std::vector<Loop> loops;

    // Seeds of loops, see mi_sample.
    struct Sampling {
        std::uint64_t key = 0;       // of the current eye ray; 0 for the first of the frame
        std::uint64_t eye_rays = 0;  // traced by the current lens shader so far
        std::size_t first_asked = 0; // start of this eye ray's entries in `asked`
    };
    Sampling sampling;
    // Number of loops begun, by hash of the shader instance's name.
    std::vector<std::pair<std::uint64_t, std::uint32_t>> asked;

    // Exists while a lens shader traces its eye ray. Shaders behind the lens sample as if there
    // were no lens, regardless of what the lens and the shaders that it called have sampled.
    // Further eye rays of the same lens shader sample differently.
    class BehindLens {
      public:
        explicit BehindLens(ThreadArena& arena) : m_arena(arena), m_before(arena.sampling) {
            Sampling& s = arena.sampling;
            if (s.eye_rays > 0) s.key = sampling::combine(s.key, s.eye_rays);
            s.eye_rays = 0;
            s.first_asked = arena.asked.size();
            ++m_before.eye_rays;
        }
        ~BehindLens() {
            m_arena.asked.resize(m_arena.sampling.first_asked);
            m_arena.sampling = m_before;
        }
        BehindLens(const BehindLens&) = delete;
        BehindLens& operator=(const BehindLens&) = delete;

      private:
        ThreadArena& m_arena;
        Sampling m_before;
    };

    std::array<miVector, 3> corners{}; // result of mi_tri_vectors
    miState untraced{};                // child of states at the limit of the depth
    ProbedRay probed;

    void begin_eye_ray(std::uint64_t key) {
        sampling = {key, 0, 0};
        asked.clear();
        loops.clear();
        eye_rays.store(eye_rays.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

  private:
    static constexpr std::size_t kNone = ~std::size_t{0};
    [[nodiscard]] std::size_t index_of(const miState* state) const {
        // Nearly always the state whose shader runs now, or its child.
        if (m_active > 0 && m_active <= m_states.size() && &m_states[m_active - 1]->state == state)
            return m_active - 1;
        if (m_last_taken < m_states.size() && &m_states[m_last_taken]->state == state)
            return m_last_taken;
        for (std::size_t i = 0; i < m_states.size(); ++i)
            if (&m_states[i]->state == state) return i;
        return kNone;
    }

    std::vector<std::unique_ptr<RayState>> m_states;
    std::size_t m_active = 0; // states below this index are reserved
    std::size_t m_last_taken = 0;
};

// The arenas of all threads that trace rays of one frame.
class ThreadArenas {
  public:
    ThreadArenas();

    // The calling thread's arena. Safe to call from any number of threads.
    ThreadArena& mine() { return m_mine.owner == m_id ? *m_mine.arena : join(); }
    // Eye rays traced so far, by all threads.
    std::uint64_t eye_rays();

  private:
    struct Mine {
        std::uint64_t owner; // m_id of the ThreadArenas that the arena belongs to
        ThreadArena* arena;
    };
    ThreadArena& join();

    static inline thread_local constinit Mine m_mine{0, nullptr};
    const std::uint64_t m_id;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<ThreadArena>> m_arenas;
};

} // namespace vx::trace
