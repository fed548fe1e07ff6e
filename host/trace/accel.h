// Surfaces for rays: Embree scenes over the meshes of a frame.
//
// Everything is 32-bit float. A mesh that is placed once lies in the top scene in world space; a
// mesh that is placed several times has a scene of its own, and the top scene holds its instances.
#pragma once

#include "host/scene/object.h"
#include "host/trace/math.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vx::trace {

// Which rays a surface exists for, and what a ray asks for.
enum RayMask : unsigned {
    mask_eye = 1u << 0,
    mask_transparent = 1u << 1,
    mask_reflect = 1u << 2,
    mask_refract = 1u << 3,
    mask_shadow = 1u << 4,
    mask_probe = 1u << 5
};

// A mesh somewhere in the world.
struct Placement {
    const scene::Mesh* mesh = nullptr; // must outlive the Accel; not null, may be empty
    Matrix to_world = kIdentity;
    Matrix to_local = kIdentity;
    bool at_origin = true; // both matrices are the identity
    unsigned mask = 0;     // RayMask bits
    int eye_face = 3;      // miFACE_* bits: the sides that eye rays see
    // Set by Accel: the transformation mirrors; and by that, front and back have changed places in
    // the top scene.
    bool mirrors = false, mirrored = false;
};

// A triangle of the frame: number of the placement, number of the triangle.
struct Primitive {
    std::uint32_t placement = 0;
    std::uint32_t triangle = 0;
    bool operator==(const Primitive&) const = default;

    // As the state's `pri`. Never null.
    [[nodiscard]] void* handle() const {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): two numbers, never followed as a pointer
        return reinterpret_cast<void*>((static_cast<std::uintptr_t>(placement) + 1) << 32 |
                                       triangle);
    }
    // Nothing sensible for null: ask before.
    static Primitive from_handle(const void* handle) {
        const auto bits = reinterpret_cast<std::uintptr_t>(handle);
        return {static_cast<std::uint32_t>((bits >> 32) - 1), static_cast<std::uint32_t>(bits)};
    }
};

struct Ray {
    miVector origin{};
    miVector direction{}; // normalised
    float near_limit = 0.0f;
    float far_limit = 0.0f;            // 0: none
    unsigned mask = mask_eye;          // one RayMask bit
    const Primitive* ignore = nullptr; // this triangle does not exist for the ray
    bool faces = false;                // obey the placements' eye_face
};

struct Hit {
    Primitive primitive;
    float distance = 0.0f;    // along the ray
    float u = 0.0f, v = 0.0f; // barycentric coordinates of the second and third corner
};

class Accel {
  public:
    // `config`: text for the Embree device, such as "isa=avx2"; may be empty. Throws
    // std::runtime_error with the reason when Embree fails, out of memory included.
    Accel(std::span<const Placement> placements, const std::string& config = {});
    ~Accel();
    Accel(const Accel&) = delete;
    Accel& operator=(const Accel&) = delete;

    // The first surface along the ray.
    [[nodiscard]] bool intersect(const Ray& ray, Hit& hit) const;
    // Whether there is any.
    [[nodiscard]] bool occluded(const Ray& ray) const;
    // All of them, in order of distance, at most `limit`.
    void all(const Ray& ray, std::vector<Hit>& hits, std::size_t limit) const;

    [[nodiscard]] const Placement& placement(std::size_t i) const { return m_placements[i]; }
    [[nodiscard]] std::size_t placement_count() const { return m_placements.size(); }
    [[nodiscard]] std::size_t triangle_count() const { return m_triangles; }

  private:
    class Impl;
    std::vector<Placement> m_placements;
    std::size_t m_triangles = 0;
    bool m_faces_matter = false; // some placement shows eye rays one side only
    std::unique_ptr<Impl> m_impl;
};

} // namespace vx::trace
