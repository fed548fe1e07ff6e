// Memory of one rendering thread for the states of its rays.
#pragma once

#include "host/sampling/hash.h"
#include "host/trace/accel.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace vx::trace {

// Where a ray met a surface; a state's `cache` points to one while the state's point is that place.
struct SurfacePoint {
    miVector point{};
    miVector normal_geom{}; // not turned over
    float error = 0.0f;     // how far off the surface rounding may have put the point
    Primitive primitive;
};

// A state and what its pointers point to.
struct Slot {
    miState state{}; // first: a state's address is its slot's
    SurfacePoint surface;
    std::vector<miVector> textures, bump_x, bump_y;
};

// Where and how a ray met a surface, in internal space.
struct SurfaceGeometry {
    miVector point{};
    miVector normal{}, normal_geom{}; // as the state has them
    miVector outward{};               // the geometric normal, never turned over
    float dot_nd = 0.0f;
    float error = 0.0f; // as in SurfacePoint
    bool inverted = false;
    double dist = 0.0;
};

// The last probe of a thread. A shader that probes first and then shades sends the same ray twice;
// the second time its hit is known. It holds whatever a shader does to its state in between, since
// it is looked up by the ray itself.
struct ProbedRay {
    miVector origin{};
    miVector given{};     // the direction as the shader gave it
    miVector direction{}; // normalised
    Hit hit;
    SurfaceGeometry surface; // of the hit, its normals turned to the ray
    bool known = false;
    bool met = false; // else nothing lies along the ray
};

/*
 * States lie in slots numbered by depth. A call from the state in slot k uses a slot above k and
 * above those of all calls under way, so a child state stays as it is until the next call from the
 * same state. Slots never move.
 */
class ThreadArena {
  public:
    static constexpr std::size_t kMaxDepth = 500;

    // The slot for a child of `parent` (null: the first slot), or null when calls nest too deep.
    Slot* take(const miState* parent) {
        std::size_t at = m_active;
        if (parent) {
            const std::size_t own = index_of(parent);
            if (own != kNone && own + 1 > at) at = own + 1;
        }
        if (at >= kMaxDepth) return nullptr;
        while (m_slots.size() <= at)
            m_slots.push_back(std::make_unique<Slot>());
        m_last_taken = at;
        return m_slots[at].get();
    }

    // Holds a slot while the shaders of its state run.
    class Running {
      public:
        Running(ThreadArena& arena, const Slot* slot) : m_arena(arena), m_before(arena.m_active) {
            m_arena.m_active = m_arena.index_of(&slot->state) + 1;
        }
        ~Running() { m_arena.m_active = m_before; }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

      private:
        ThreadArena& m_arena;
        std::size_t m_before;
    };

    // Shadow rays in segment mode: the occluders of the innermost light, and the next one's number.
    struct Occluders {
        std::vector<Hit> hits; // from the light to the point
        std::size_t next = 0;
        float length = 0.0f; // from the light to the point; 0: endless
    };
    Occluders* occluders = nullptr;
    std::vector<std::unique_ptr<Occluders>> occluder_memory; // by nesting
    std::size_t occluder_depth = 0;

    std::atomic<std::uint64_t> eye_rays{0}; // written by its own thread only

    // Quasi-random loops of shaders that have begun and not ended, in the order of their beginning.
    struct Loop {
        const void* counter = nullptr; // address of the caller's counter
        std::uint64_t seed = 0;
    };
    std::vector<Loop> loops;

    // What loops are seeded from, see mi_sample.
    struct Sampling {
        std::uint64_t key = 0;       // of the eye ray under way; 0 for the frame's first
        std::uint64_t eye_rays = 0;  // that a lens shader has sent on
        std::size_t first_asked = 0; // where the counts of this eye ray begin
    };
    Sampling sampling;
    std::vector<std::pair<std::uint64_t, std::uint32_t>> asked; // loops begun by shader instance

    // While a lens shader sends its eye ray on: what lies behind the lens samples as if there were
    // none, whatever the lens and the shaders that it called have sampled. Further rays of the same
    // lens sample differently.
    class SentOn {
      public:
        explicit SentOn(ThreadArena& arena) : m_arena(arena), m_before(arena.sampling) {
            Sampling& s = arena.sampling;
            if (s.eye_rays > 0) s.key = sampling::combine(s.key, s.eye_rays);
            s.eye_rays = 0;
            s.first_asked = arena.asked.size();
            ++m_before.eye_rays;
        }
        ~SentOn() {
            m_arena.asked.resize(m_arena.sampling.first_asked);
            m_arena.sampling = m_before;
        }
        SentOn(const SentOn&) = delete;
        SentOn& operator=(const SentOn&) = delete;

      private:
        ThreadArena& m_arena;
        Sampling m_before;
    };

    std::array<miVector, 3> corners{}; // of mi_tri_vectors
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
        if (m_active > 0 && m_active <= m_slots.size() && &m_slots[m_active - 1]->state == state)
            return m_active - 1;
        if (m_last_taken < m_slots.size() && &m_slots[m_last_taken]->state == state)
            return m_last_taken;
        for (std::size_t i = 0; i < m_slots.size(); ++i)
            if (&m_slots[i]->state == state) return i;
        return kNone;
    }

    std::vector<std::unique_ptr<Slot>> m_slots;
    std::size_t m_active = 0;
    std::size_t m_last_taken = 0;
};

} // namespace vx::trace
