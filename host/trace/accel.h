// Intersection of rays with the meshes of a frame, by Embree.
//
// All coordinates are 32-bit floats. A mesh that is placed once is part of the top scene, in world
// space; a mesh that is placed several times has a scene of its own with instances in the top
// scene.
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

// Kinds of rays. A surface has a bit for each kind of ray that can hit it, a ray has one.
enum RayMask : unsigned {
    mask_eye = 1u << 0,
    mask_transparent = 1u << 1,
    mask_reflect = 1u << 2,
    mask_refract = 1u << 3,
    mask_shadow = 1u << 4,
    mask_probe = 1u << 5
};

// A mesh in the world.
struct Placement {
    const scene::Mesh* mesh = nullptr; // must outlive the Accel; not null, may be empty
    Matrix to_world = kIdentity;
    Matrix to_local = kIdentity;
    bool at_origin = true; // both matrices are the identity
    unsigned mask = 0;     // RayMask bits
    int eye_face = 3;      // miFACE_* bits: the sides that eye rays see
    // Set by Accel: whether the transformation mirrors, and whether the order of corners in the top
    // scene is reversed by that.
    bool mirrors = false, mirrored = false;
};

// A triangle of the frame, by the numbers of its placement and of its triangle in the mesh.
struct Primitive {
    std::uint32_t placement = 0;
    std::uint32_t triangle = 0;
    bool operator==(const Primitive&) const = default;

    // For the state's `pri`. Never null.
    [[nodiscard]] void* handle() const {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): two numbers, never dereferenced
        return reinterpret_cast<void*>((static_cast<std::uintptr_t>(placement) + 1) << 32 |
                                       triangle);
    }
    // `handle` must not be null.
    static Primitive from_handle(const void* handle) {
        const auto bits = reinterpret_cast<std::uintptr_t>(handle);
        return {static_cast<std::uint32_t>((bits >> 32) - 1), static_cast<std::uint32_t>(bits)};
    }
};

struct Ray {
    miVector origin{};
    miVector direction{}; // normalized
    float near_limit = 0.0f;
    float far_limit = 0.0f;            // 0: none
    unsigned mask = mask_eye;          // one RayMask bit
    const Primitive* ignore = nullptr; // a triangle that the ray does not hit
    bool faces = false;                // obey the placements' eye_face
};

struct Hit {
    Primitive primitive;
    float distance = 0.0f;    // along the ray
    float u = 0.0f, v = 0.0f; // barycentric coordinates of the second and third corner
};

class Accel {
  public:
    // `config` configures the Embree device, for example "isa=avx2"; may be empty. Throws
    // std::runtime_error if Embree fails, for example because it is out of memory.
    Accel(std::span<const Placement> placements, const std::string& config = {});
    ~Accel();
    Accel(const Accel&) = delete;
    Accel& operator=(const Accel&) = delete;

    // Finds the nearest surface along the ray.
    [[nodiscard]] bool intersect(const Ray& ray, Hit& hit) const;
    // Whether the ray hits any surface.
    [[nodiscard]] bool occluded(const Ray& ray) const;
    // Finds all surfaces along the ray, in the order of their distances, `limit` at most.
    void all(const Ray& ray, std::vector<Hit>& hits, std::size_t limit) const;

    [[nodiscard]] const Placement& placement(std::size_t i) const { return m_placements[i]; }
    [[nodiscard]] std::size_t triangle_count() const { return m_triangles; }

  private:
    class Impl;
    std::vector<Placement> m_placements;
    std::size_t m_triangles = 0;
    bool m_faces_matter = false; // eye rays see only one side of some placement
    std::unique_ptr<Impl> m_impl;
};

} // namespace vx::trace
