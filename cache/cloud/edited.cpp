#include "cache/cloud/edited.h"

#include <algorithm>

namespace vx::cache {

PickedCloud::PickedCloud(Cloud& cloud, std::vector<std::size_t> picked)
    : m_cloud(cloud), m_picked(std::move(picked)) {
    file_name = cloud.file_name;
    count = cloud.count;
    for (const std::size_t i : m_picked)
        attributes.push_back(cloud.attributes[i]);
}

void PickedCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    m_cloud.read(m_picked[attribute], first, n, out);
}

FilledCloud::FilledCloud(Cloud& cloud, const std::string& name, std::vector<double> values)
    : m_cloud(cloud), m_values(std::move(values)) {
    file_name = cloud.file_name;
    count = cloud.count;
    attributes = cloud.attributes;
    attributes.push_back({name, Type::float64, static_cast<int>(m_values.size()), false});
}

void FilledCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    if (attribute < m_cloud.attributes.size()) {
        m_cloud.read(attribute, first, n, out);
        return;
    }
    auto* target = static_cast<double*>(out);
    for (std::int64_t i = 0; i < n; ++i)
        target = std::copy(m_values.begin(), m_values.end(), target);
}

int known_width(std::string_view name) {
    if (name == "position" || name == "normalPP" || name == "rgbPP") return 3;
    const bool single = name == "opacityPP" || name == "radius" || name == "id" || name == "tag";
    return single ? 1 : 0;
}

} // namespace vx::cache
