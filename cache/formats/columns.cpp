#include "cache/formats/columns.h"

#include "cache/formats/names.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

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

Type wider(Type a, Type b) {
    if (a == b) return a;
    // A 32-bit float holds neither kind of integer.
    const bool integers = is_integer(a) && is_integer(b);
    return integers ? Type::int64 : Type::float64;
}

// The names that an attribute takes, and those that no other column may have, since it would be
// joined with the attribute's own.
struct Spelling {
    std::vector<std::string> columns;
    std::vector<std::string> reserved;
};

Spelling spell(const std::string& name, int width, bool known) {
    Spelling out;
    if (width == 1) {
        out.columns.push_back(name);
        return out;
    }
    out.reserved = {name, name + ".x", name + ".y", name + ".z", name + ".0"};
    for (const KnownGroup& group : kKnownGroups) {
        if (group.attribute != name) continue;
        if (known && width == 3 && out.columns.empty()) {
            out.columns.assign(group.columns.begin(), group.columns.end());
        }
        out.reserved.insert(out.reserved.end(), group.columns.begin(), group.columns.end());
    }
    if (out.columns.empty()) {
        for (int k = 0; k < width; ++k)
            out.columns.push_back(name + component_suffix(width, k));
        if (width > 3) out.reserved.push_back(name + "." + std::to_string(width));
    }
    return out;
}

} // namespace

std::string component_suffix(int width, int component) {
    if (width == 1) return "";
    if (width > 3) return "." + std::to_string(component);
    return std::string(".") + "xyz"[component];
}

std::vector<Grouped> group_columns(const std::vector<std::string>& names,
                                   const std::vector<Type>& types) {
    std::unordered_map<std::string_view, std::size_t> place;
    for (std::size_t i = 0; i < names.size(); ++i)
        place.emplace(names[i], i);
    std::vector<bool> taken(names.size(), false);
    std::vector<Grouped> groups;
    std::unordered_set<std::string> joined_names;
    const auto has_attribute = [&](const std::string& name) {
        return place.contains(name) || joined_names.contains(name);
    };
    const auto join = [&](std::string name, const std::vector<std::size_t>& columns) {
        Grouped g;
        joined_names.insert(name);
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
            const std::string attribute(known.attribute);
            if (names[i] != known.columns[0] || has_attribute(attribute)) continue;
            const auto b = place.find(known.columns[1]);
            const auto c = place.find(known.columns[2]);
            if (b == place.end() || c == place.end() || taken[b->second] || taken[c->second]) {
                continue;
            }
            join(attribute, {i, b->second, c->second});
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

ColumnNames name_columns(const std::vector<Attribute>& attributes,
                         const std::vector<std::string>& wanted, bool known) {
    ColumnNames out;
    out.attributes.resize(attributes.size());
    out.columns.resize(attributes.size());
    NameSet taken;    // names of columns
    NameSet reserved; // names that no further column may have
    const auto all_free = [](const std::vector<std::string>& names, const NameSet& set) {
        return std::none_of(names.begin(), names.end(),
                            [&set](const std::string& name) { return set.contains(name); });
    };
    // Attributes of several values come first: theirs are the names that readers know. Then come
    // names that need no change.
    const auto rank = [&](std::size_t i) {
        return (attributes[i].width > 1 ? 0 : 2) + (attributes[i].name == wanted[i] ? 0 : 1);
    };
    for (const int turn : {0, 1, 2, 3}) {
        for (std::size_t i = 0; i < attributes.size(); ++i) {
            if (rank(i) != turn) continue;
            const int width = attributes[i].width;
            out.attributes[i] = taken.first_free(wanted[i], [&](const std::string& name) {
                const Spelling s = spell(name, width, known);
                return all_free(s.columns, taken) && all_free(s.columns, reserved) &&
                       all_free(s.reserved, taken);
            });
            Spelling s = spell(out.attributes[i], width, known);
            for (const std::string& name : s.columns)
                taken.insert(name);
            for (std::string& name : s.reserved) {
                if (!taken.contains(name)) reserved.insert(std::move(name));
            }
            out.columns[i] = std::move(s.columns);
        }
    }
    return out;
}

std::size_t count_columns(const std::vector<Attribute>& attributes) {
    std::size_t columns = 0;
    for (const Attribute& a : attributes)
        columns += static_cast<std::size_t>(a.width);
    return columns;
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
        if (static_cast<std::size_t>(a.width) > kMostColumns) {
            throw FileError(cloud.file_name, -1,
                            "'" + a.name + "' has " + std::to_string(a.width) +
                                " values, too many to be split into attributes (at most " +
                                std::to_string(kMostColumns) + ")");
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
    if (m_raw_attribute != part.attribute || m_raw_first != first || m_raw_count != n) {
        m_raw_count = 0;
        m_raw.resize(static_cast<std::size_t>(n) * whole.bytes());
        m_cloud.read(part.attribute, first, n, m_raw.data());
        m_raw_attribute = part.attribute;
        m_raw_first = first;
        m_raw_count = n;
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        std::memcpy(static_cast<std::byte*>(out) + i * size,
                    m_raw.data() + i * whole.bytes() +
                        static_cast<std::size_t>(part.component) * size,
                    size);
    }
}

} // namespace vx::cache
