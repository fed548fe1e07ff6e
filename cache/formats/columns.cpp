#include "cache/formats/columns.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

namespace vx::cache {

namespace {

struct KnownGroup {
    std::string_view attribute;
    std::array<std::string_view, 3> columns;
};
constexpr std::array<KnownGroup, 4> kKnownGroups{{{"position", {"x", "y", "z"}},
                                                  {"normalPP", {"nx", "ny", "nz"}},
                                                  {"rgbPP", {"red", "green", "blue"}},
                                                  {"rgbPP", {"r", "g", "b"}}}};

std::size_t index_of(const std::vector<std::string>& names, std::string_view name) {
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

Type wider(Type a, Type b) {
    if (a == b) return a;
    // A 32-bit float holds neither kind of integer.
    const bool integers = is_integer(a) && is_integer(b);
    return integers ? Type::int64 : Type::float64;
}

} // namespace

std::string component_suffix(int width, int component) {
    if (width == 1) return "";
    if (width > 3) return "." + std::to_string(component);
    return std::string(".") + "xyz"[component];
}

std::vector<Grouped> group_columns(const std::vector<std::string>& names,
                                   const std::vector<Type>& types) {
    std::map<std::string_view, std::size_t> place;
    for (std::size_t i = 0; i < names.size(); ++i)
        place.emplace(names[i], i);
    std::vector<bool> taken(names.size(), false);
    std::vector<Grouped> groups;
    const auto has_attribute = [&](std::string_view name) {
        return place.contains(name) || std::any_of(groups.begin(), groups.end(), [&](auto& g) {
                   return g.attribute.name == name;
               });
    };
    const auto join = [&](std::string name, const std::vector<std::size_t>& columns) {
        Grouped g;
        g.attribute.name = std::move(name);
        g.attribute.type = types[columns[0]];
        g.attribute.width = static_cast<int>(columns.size());
        g.columns = columns;
        for (const std::size_t c : columns) {
            g.attribute.type = wider(g.attribute.type, types[c]);
            taken[c] = true;
        }
        groups.push_back(std::move(g));
    };
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (taken[i]) continue;
        bool joined = false;
        for (const KnownGroup& known : kKnownGroups) {
            if (names[i] != known.columns[0] || has_attribute(known.attribute)) continue;
            const std::size_t b = index_of(names, known.columns[1]);
            const std::size_t c = index_of(names, known.columns[2]);
            if (b == names.size() || c == names.size() || taken[b] || taken[c]) continue;
            join(std::string(known.attribute), {i, b, c});
            joined = true;
            break;
        }
        if (joined) continue;
        for (const std::string_view first : {".x", ".0"}) {
            if (!names[i].ends_with(first) || names[i].size() == first.size()) continue;
            const std::string base = names[i].substr(0, names[i].size() - first.size());
            std::vector<std::size_t> columns{i};
            for (int k = 1; first == ".0" || k < 3; ++k) {
                const auto next = place.find(
                    base + (first == ".0" ? "." + std::to_string(k) : component_suffix(3, k)));
                if (next == place.end() || taken[next->second]) break;
                columns.push_back(next->second);
            }
            if (columns.size() < 2 || has_attribute(base)) continue;
            join(base, columns);
            joined = true;
            break;
        }
        if (!joined) join(names[i], {i});
    }
    return groups;
}

SplitCloud::SplitCloud(Cloud& cloud, std::span<const int> widths, Notes& notes) : m_cloud(cloud) {
    file_name = cloud.file_name;
    count = cloud.count;
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        if (std::find(widths.begin(), widths.end(), a.width) != widths.end()) {
            attributes.push_back(a);
            m_parts.push_back({i, -1});
            continue;
        }
        notes.push_back("'" + a.name + "': has " + std::to_string(a.width) +
                        " values per point and was split into as many attributes");
        for (int k = 0; k < a.width; ++k) {
            attributes.push_back({a.name + component_suffix(a.width, k), a.type, 1, a.single});
            m_parts.push_back({i, k});
        }
    }
}

void SplitCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    const Part part = m_parts[attribute];
    if (part.component < 0) {
        m_cloud.read(part.attribute, first, n, out);
        return;
    }
    const Attribute& whole = m_cloud.attributes[part.attribute];
    const std::size_t size = type_size(whole.type);
    m_raw.resize(static_cast<std::size_t>(n) * whole.bytes());
    m_cloud.read(part.attribute, first, n, m_raw.data());
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        std::memcpy(static_cast<std::byte*>(out) + i * size,
                    m_raw.data() + i * whole.bytes() +
                        static_cast<std::size_t>(part.component) * size,
                    size);
    }
}

} // namespace vx::cache
