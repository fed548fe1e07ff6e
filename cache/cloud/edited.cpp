#include "cache/cloud/edited.h"

#include <algorithm>
#include <array>
#include <cstring>

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

ConvertedCloud::ConvertedCloud(Cloud& cloud, std::size_t attribute, Type type)
    : m_cloud(cloud), m_index(attribute), m_reader(cloud, attribute, type) {
    file_name = cloud.file_name;
    count = cloud.count;
    attributes = cloud.attributes;
    attributes[attribute].type = type;
}

void ConvertedCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    if (attribute != m_index) {
        m_cloud.read(attribute, first, n, out);
        return;
    }
    const std::byte* const values = m_reader.read(first, n);
    std::memcpy(out, values, static_cast<std::size_t>(n) * attributes[m_index].bytes());
}

std::vector<std::string> rename_aliases(Cloud& cloud) {
    constexpr std::array<std::pair<std::string_view, const char*>, 5> kAliases{
        {{"P", "position"},
         {"N", "normalPP"},
         {"Cd", "rgbPP"},
         {"Alpha", "opacityPP"},
         {"pscale", "radius"}}};
    std::vector<std::string> notes;
    for (const auto& [alias, name] : kAliases) {
        const int at = cloud.find(alias);
        if (at < 0 || cloud.find(name) >= 0) continue;
        Attribute& attribute = cloud.attributes[static_cast<std::size_t>(at)];
        if (attribute.width != known_width(name)) continue;
        attribute.name = name;
        notes.push_back("'" + std::string(alias) + "' is read as '" + name + "'");
    }
    return notes;
}

int known_width(std::string_view name) {
    if (name == "position" || name == "normalPP" || name == "rgbPP") return 3;
    const bool single = name == "opacityPP" || name == "radius" || name == "id" || name == "tag";
    return single ? 1 : 0;
}

} // namespace vx::cache
