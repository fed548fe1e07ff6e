#include "host/scene/mesh_builder.h"

namespace vx::scene {

std::int32_t MeshBuilder::material(std::string_view name) {
    // Consecutive polygons usually have the same material.
    if (name == m_last_name) return m_last_material;
    m_last_name = name;
    if (name.empty()) return m_last_material = -1;
    const auto next = static_cast<std::int32_t>(m_mesh.material_names.size());
    const auto [entry, added] = m_materials.try_emplace(m_last_name, next);
    if (added) m_mesh.material_names.push_back(m_last_name);
    return m_last_material = entry->second;
}

void MeshBuilder::add_fan(std::span<const std::uint32_t> corners) {
    ++m_mesh.source_polygons;
    for (std::size_t i = 2; i < corners.size(); ++i)
        add_triangle(corners[0], corners[i - 1], corners[i]);
}

void MeshBuilder::add_strip(std::span<const std::uint32_t> corners) {
    ++m_mesh.source_polygons;
    for (std::size_t i = 2; i < corners.size(); ++i) {
        // Every second triangle has the opposite orientation.
        const bool odd = i % 2 != 0;
        add_triangle(corners[i - (odd ? 1 : 2)], corners[i - (odd ? 2 : 1)], corners[i]);
    }
}

bool MeshBuilder::add_polygon(std::span<const std::uint32_t> corners,
                              std::span<const std::size_t> rings) {
    ++m_mesh.source_polygons;
    m_scratch.clear();
    const bool clipped =
        triangulate(std::span(m_mesh.positions).subspan(m_base), corners, rings, m_scratch);
    for (const Triangle& t : m_scratch)
        add_triangle(t[0], t[1], t[2]);
    return clipped;
}

Mesh MeshBuilder::finish() {
    const std::size_t count = m_mesh.positions.size();
    const auto fill = [&](std::vector<Vec3>& plane) {
        if (!plane.empty()) plane.resize(count);
    };
    fill(m_mesh.normals);
    for (auto* const planes : {&m_mesh.textures, &m_mesh.bump_x, &m_mesh.bump_y, &m_mesh.motion,
                               &m_mesh.derivatives, &m_mesh.user})
        for (auto& plane : *planes)
            fill(plane);
    return std::move(m_mesh);
}

} // namespace vx::scene
