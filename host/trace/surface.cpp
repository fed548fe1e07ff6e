#include "host/trace/surface.h"

#include <algorithm>
#include <array>
#include <limits>

namespace vx::trace {

namespace {

float largest(const miVector& v) {
    return std::max({std::abs(v.x), std::abs(v.y), std::abs(v.z)});
}

miVector row(const Matrix& m, int number) {
    return {m[number][0], m[number][1], m[number][2]};
}

const std::array<std::uint32_t, 3>& triangle(const Placement& placement, std::uint32_t number) {
    return placement.mesh->triangles[number];
}

miVector interpolate(const std::vector<scene::Vec3>& values,
                     const std::array<std::uint32_t, 3>& corners, const double weights[3]) {
    double x = 0, y = 0, z = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const scene::Vec3& v = values[corners[i]];
        x += weights[i] * static_cast<double>(v.x);
        y += weights[i] * static_cast<double>(v.y);
        z += weights[i] * static_cast<double>(v.z);
    }
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

void interpolate_all(const std::vector<std::vector<scene::Vec3>>& spaces,
                     const std::array<std::uint32_t, 3>& corners, const double weights[3],
                     std::vector<miVector>& out) {
    out.clear();
    for (const auto& values : spaces)
        out.push_back(values.empty() ? miVector{} : interpolate(values, corners, weights));
}

bool is_null(const miVector& v) {
    return v.x == 0.0f && v.y == 0.0f && v.z == 0.0f;
}

// Replaces the point `p`, computed from Embree's barycentric coordinates, by the intersection of
// the ray with the plane of the triangle, unless the angle is too small. The intersection is more
// accurate, because the coordinates have single precision and the traced ray may start at an offset
// from `origin`. `n` is the normal and has the length `length`.
void refine(const miVector& origin, const miVector& direction, const miVector& corner,
            const double n[3], double length, float extent, double p[3]) {
    const double org[3] = {static_cast<double>(origin.x), static_cast<double>(origin.y),
                           static_cast<double>(origin.z)};
    const double dir[3] = {static_cast<double>(direction.x), static_cast<double>(direction.y),
                           static_cast<double>(direction.z)};
    const double slope = n[0] * dir[0] + n[1] * dir[1] + n[2] * dir[2];
    if (!(std::abs(slope) > 0.01 * length)) return;
    const double t = (n[0] * (static_cast<double>(corner.x) - org[0]) +
                      n[1] * (static_cast<double>(corner.y) - org[1]) +
                      n[2] * (static_cast<double>(corner.z) - org[2])) /
                     slope;
    if (!(t > 0.0)) return;
    const double limit = 1e-4 * static_cast<double>(extent);
    double better[3];
    for (std::size_t i = 0; i < 3; ++i) {
        better[i] = org[i] + t * dir[i];
        if (std::abs(better[i] - p[i]) > limit) return;
    }
    std::copy_n(better, 3, p);
}

} // namespace

void triangle_corners(const World& world, Primitive primitive, miVector corners[3]) {
    const Placement& placement = world.accel().placement(primitive.placement);
    const auto& indices = triangle(placement, primitive.triangle);
    for (std::size_t i = 0; i < 3; ++i) {
        corners[i] = to_vector(placement.mesh->positions[indices[i]]);
        if (!placement.at_origin) corners[i] = point(placement.to_world, corners[i]);
    }
}

void measure_surface(const World& world, const Hit& hit, const miVector& origin,
                     const miVector& ray, bool face_ray, SurfaceGeometry& surface) {
    const Placement& placement = world.accel().placement(hit.primitive.placement);
    const scene::Mesh& mesh = *placement.mesh;
    const auto& indices = triangle(placement, hit.primitive.triangle);

    const double u = static_cast<double>(hit.u);
    const double v = static_cast<double>(hit.v);
    const double weights[3] = {1.0 - u - v, u, v};
    miVector corners[3];
    triangle_corners(world, hit.primitive, corners);

    const double a[3] = {static_cast<double>(corners[1].x) - static_cast<double>(corners[0].x),
                         static_cast<double>(corners[1].y) - static_cast<double>(corners[0].y),
                         static_cast<double>(corners[1].z) - static_cast<double>(corners[0].z)};
    const double b[3] = {static_cast<double>(corners[2].x) - static_cast<double>(corners[0].x),
                         static_cast<double>(corners[2].y) - static_cast<double>(corners[0].y),
                         static_cast<double>(corners[2].z) - static_cast<double>(corners[0].z)};
    const double n[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                         a[0] * b[1] - a[1] * b[0]};
    const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    // Mirroring reverses the order of the corners, but the front stays the front.
    const double f = length > 0.0 ? (placement.mirrors ? -1.0 : 1.0) / length : 0.0;
    surface.normal_geom = {static_cast<float>(n[0] * f), static_cast<float>(n[1] * f),
                           static_cast<float>(n[2] * f)};
    surface.outward = surface.normal_geom;

    double p[3] = {0, 0, 0};
    float extent = 0.0f;
    for (std::size_t i = 0; i < 3; ++i) {
        p[0] += weights[i] * static_cast<double>(corners[i].x);
        p[1] += weights[i] * static_cast<double>(corners[i].y);
        p[2] += weights[i] * static_cast<double>(corners[i].z);
        extent = std::max(extent, largest(corners[i]));
    }
    refine(origin, ray, corners[0], n, length, extent, p);
    surface.point = {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])};
    const double along[3] = {p[0] - static_cast<double>(origin.x),
                             p[1] - static_cast<double>(origin.y),
                             p[2] - static_cast<double>(origin.z)};
    surface.dist = std::sqrt(along[0] * along[0] + along[1] * along[1] + along[2] * along[2]);

    surface.normal = surface.normal_geom;
    if (!mesh.normals.empty()) {
        const miVector local = interpolate(mesh.normals, indices, weights);
        const miVector shading =
            placement.at_origin ? normalized(local) : normalized(normal(placement.to_local, local));
        if (!is_null(local) && !is_null(shading) && finite(shading)) surface.normal = shading;
    }

    // Embree subtracts the ray's origin from the corners in single precision; for an instance it
    // also transforms the ray into the space of the mesh.
    constexpr float kUlps = 8.0f * std::numeric_limits<float>::epsilon();
    surface.error = kUlps * extent;
    if (!placement.at_origin) {
        const Matrix& m = placement.to_world;
        const float scale = std::max({largest(row(m, 0)), largest(row(m, 1)), largest(row(m, 2))});
        float local_extent = largest(row(m, 3));
        for (const std::uint32_t i : indices)
            local_extent = std::max(local_extent, scale * largest(to_vector(mesh.positions[i])));
        surface.error = std::max(surface.error, kUlps * local_extent);
    }

    surface.inverted = dot(ray, surface.normal_geom) > 0.0f;
    if (surface.inverted && face_ray) {
        surface.normal = -surface.normal;
        surface.normal_geom = -surface.normal_geom;
    }
    surface.dot_nd = dot(surface.normal, ray);
}

void fill_surface(const World& world, const Hit& hit, const SurfaceGeometry& surface,
                  RayState& ray) {
    const Placement& placement = world.accel().placement(hit.primitive.placement);
    const ObjectLeaf& leaf = world.object(hit.primitive.placement);
    const scene::Mesh& mesh = *placement.mesh;
    miState& state = ray.state;

    state.point = surface.point;
    state.normal = surface.normal;
    state.normal_geom = surface.normal_geom;
    state.inv_normal = surface.inverted ? miTRUE : miFALSE;
    state.dot_nd = surface.dot_nd;
    state.dist = surface.dist;
    ray.surface.point = surface.point;
    ray.surface.normal_geom = surface.outward;
    ray.surface.error = surface.error;
    ray.surface.primitive = hit.primitive;

    const double weights[3] = {1.0 - static_cast<double>(hit.u) - static_cast<double>(hit.v),
                               static_cast<double>(hit.u), static_cast<double>(hit.v)};
    state.bary[0] = static_cast<float>(weights[0]);
    state.bary[1] = hit.u;
    state.bary[2] = hit.v;
    state.bary[3] = 0.0f;
    state.instance = leaf.instance;
    state.light_instance = miNULLTAG;
    state.material = leaf.material(hit.primitive.triangle);
    state.label = leaf.label;
    state.pri = hit.primitive.handle();
    state.cache = &ray.surface;
    state.shadow_tol = static_cast<double>(surface.error);

    const auto interpolated = [&](const std::vector<std::vector<scene::Vec3>>& spaces,
                                  std::vector<miVector>& out) -> miVector* {
        if (spaces.empty()) return nullptr;
        interpolate_all(spaces, triangle(placement, hit.primitive.triangle), weights, out);
        return out.data();
    };
    state.tex_list = interpolated(mesh.textures, ray.textures);
    state.bump_x_list = interpolated(mesh.bump_x, ray.bump_x);
    state.bump_y_list = interpolated(mesh.bump_y, ray.bump_y);
    state.tex = state.tex_list != nullptr ? *state.tex_list : miVector{};
    state.motion = miVector{};
    if (!mesh.motion.empty() && !mesh.motion.front().empty())
        state.motion = direction(
            placement.to_world,
            interpolate(mesh.motion.front(), triangle(placement, hit.primitive.triangle), weights));
    std::fill(std::begin(state.derivs), std::end(state.derivs), nullptr);
}

Ray ray_from(const miState& state, const miVector& origin, const miVector& direction, unsigned mask,
             Primitive& ignored) {
    Ray ray;
    ray.origin = origin;
    ray.direction = direction;
    ray.mask = mask;
    const auto* const surface = static_cast<const SurfacePoint*>(state.cache);
    if (surface == nullptr || !same(surface->point, origin)) return ray;
    ignored = surface->primitive;
    ray.ignore = &ignored;
    const float side = dot(surface->normal_geom, direction) < 0.0f ? -1.0f : 1.0f;
    ray.origin = origin + surface->normal_geom * (side * surface->error);
    return ray;
}

} // namespace vx::trace
