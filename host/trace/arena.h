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
    static constexpr std::size_t max_depth = 500;

    // The slot for a child of `parent` (null: the first slot), or null when calls nest too deep.
    Slot* take(const miState* parent) {
        std::size_t at = active_;
        if (parent) {
            const std::size_t own = index_of(parent);
            if (own != none && own + 1 > at) at = own + 1;
        }
        if (at >= max_depth) return nullptr;
        while (slots_.size() <= at)
            slots_.push_back(std::make_unique<Slot>());
        last_taken_ = at;
        return slots_[at].get();
    }

    // Holds a slot while the shaders of its state run.
    class Running {
      public:
        Running(ThreadArena& arena, const Slot* slot) : arena_(arena), before_(arena.active_) {
            arena_.active_ = arena_.index_of(&slot->state) + 1;
        }
        ~Running() { arena_.active_ = before_; }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

      private:
        ThreadArena& arena_;
        std::size_t before_;
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
        explicit SentOn(ThreadArena& arena) : arena_(arena), before_(arena.sampling) {
            Sampling& s = arena.sampling;
            if (s.eye_rays > 0) s.key = sampling::combine(s.key, s.eye_rays);
            s.eye_rays = 0;
            s.first_asked = arena.asked.size();
            ++before_.eye_rays;
        }
        ~SentOn() {
            arena_.asked.resize(arena_.sampling.first_asked);
            arena_.sampling = before_;
        }
        SentOn(const SentOn&) = delete;
        SentOn& operator=(const SentOn&) = delete;

      private:
        ThreadArena& arena_;
        Sampling before_;
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
    static constexpr std::size_t none = ~std::size_t{0};
    [[nodiscard]] std::size_t index_of(const miState* state) const {
        // Nearly always the state whose shader runs now, or its child.
        if (active_ > 0 && active_ <= slots_.size() && &slots_[active_ - 1]->state == state)
            return active_ - 1;
        if (last_taken_ < slots_.size() && &slots_[last_taken_]->state == state) return last_taken_;
        for (std::size_t i = 0; i < slots_.size(); ++i)
            if (&slots_[i]->state == state) return i;
        return none;
    }

    std::vector<std::unique_ptr<Slot>> slots_;
    std::size_t active_ = 0;
    std::size_t last_taken_ = 0;
};

} // namespace vx::trace
