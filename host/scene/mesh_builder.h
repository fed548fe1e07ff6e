// Builds a mesh from the vectors, vertices and polygons of groups and triangle lists.
#pragma once

#include "host/scene/object.h"
#include "host/scene/triangulate.h"

#include <unordered_map>

namespace vx::scene {

class MeshBuilder {
  public:
    explicit MeshBuilder(bool tagged) : m_tagged(tagged) {}

    bool tagged() const { return m_tagged; }
    Mesh& mesh() { return m_mesh; }

    // Starts a group: vertex indices are relative to the first vertex added after this call.
    void begin_group() { m_base = m_mesh.positions.size(); }
    std::size_t group_vertices() const { return m_mesh.positions.size() - m_base; }

    void add_vertex(const Vec3& position) { m_mesh.positions.push_back(position); }
    // Sets a vector of the last vertex. Returns false if it is already set.
    bool set(std::vector<Vec3>& plane, const Vec3& value) {
        const std::size_t count = m_mesh.positions.size();
        if (plane.size() >= count) return false;
        // Null vectors for earlier vertices without this vector.
        if (plane.size() + 1 < count) plane.resize(count - 1);
        plane.push_back(value);
        return true;
    }
    static std::vector<Vec3>& plane(std::vector<std::vector<Vec3>>& planes, std::size_t index) {
        if (planes.size() <= index) planes.resize(index + 1);
        return planes[index];
    }

    // Index of a material name, the same for the same name; -1 for the empty one.
    std::int32_t material(std::string_view name);
    // Sets the material index or label of the following polygons.
    void set_material(std::int32_t index_or_label) { m_material = index_or_label; }

    // Corner indices are relative to the group and must be less than group_vertices().
    void add_triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        const auto base = static_cast<std::uint32_t>(m_base);
        m_mesh.triangles.push_back({a + base, b + base, c + base});
        m_mesh.triangle_material.push_back(m_material);
    }
    void add_fan(std::span<const std::uint32_t> corners);
    void add_strip(std::span<const std::uint32_t> corners);
    // Returns the result of triangulate.
    bool add_polygon(std::span<const std::uint32_t> corners, std::span<const std::size_t> rings);

    // Returns the mesh. Missing vectors of the last vertices are set to null vectors.
    Mesh finish();

  private:
    bool m_tagged;
    Mesh m_mesh;
    std::size_t m_base = 0;
    std::int32_t m_material = -1;
    std::unordered_map<std::string, std::int32_t> m_materials;
    std::string m_last_name;
    std::int32_t m_last_material = -1;
    std::vector<Triangle> m_scratch;
};

} // namespace vx::scene
