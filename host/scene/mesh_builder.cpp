#include "host/scene/mesh_builder.h"

namespace vx::scene {

std::int32_t MeshBuilder::material(std::string_view name) {
    // Long runs of polygons carry the same name.
    if (name == last_name_) return last_material_;
    last_name_ = name;
    if (name.empty()) return last_material_ = -1;
    const auto next = static_cast<std::int32_t>(mesh_.material_names.size());
    const auto [entry, added] = materials_.try_emplace(last_name_, next);
    if (added) mesh_.material_names.push_back(last_name_);
    return last_material_ = entry->second;
}

void MeshBuilder::add_fan(std::span<const std::uint32_t> corners) {
    ++mesh_.source_polygons;
    for (std::size_t i = 2; i < corners.size(); ++i)
        add_triangle(corners[0], corners[i - 1], corners[i]);
}

void MeshBuilder::add_strip(std::span<const std::uint32_t> corners) {
    ++mesh_.source_polygons;
    for (std::size_t i = 2; i < corners.size(); ++i) {
        // Every second triangle runs the other way round.
        const bool odd = i % 2 != 0;
        add_triangle(corners[i - (odd ? 1 : 2)], corners[i - (odd ? 2 : 1)], corners[i]);
    }
}

bool MeshBuilder::add_polygon(std::span<const std::uint32_t> corners,
                              std::span<const std::size_t> rings) {
    ++mesh_.source_polygons;
    scratch_.clear();
    const bool clipped =
        triangulate(std::span(mesh_.positions).subspan(base_), corners, rings, scratch_);
    for (const Triangle& t : scratch_)
        add_triangle(t[0], t[1], t[2]);
    return clipped;
}

Mesh MeshBuilder::finish() {
    const std::size_t count = mesh_.positions.size();
    const auto fill = [&](std::vector<Vec3>& plane) {
        if (!plane.empty()) plane.resize(count);
    };
    fill(mesh_.normals);
    for (auto* const planes : {&mesh_.textures, &mesh_.bump_x, &mesh_.bump_y, &mesh_.motion,
                               &mesh_.derivatives, &mesh_.user})
        for (auto& plane : *planes)
            fill(plane);
    return std::move(mesh_);
}

} // namespace vx::scene
