#include "cache/formats/mrmap.h"
#include "maps/interface.h"

#include <algorithm>
#include <cstring>

namespace vx::cache {

namespace {

using mi::shader_v3::Access_map;
using mi::shader_v3::Map_base;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_field_id;
using mi::shader_v3::Map_field_type;
using mi::shader_v3::Map_status;

Attribute attribute_of_field(const Map_declaration& declaration, Map_field_id id) {
    Attribute a;
    a.name = declaration->get_field_name(id);
    a.single = declaration->is_field_global(id);
    a.type = Type::float32;
    switch (declaration->get_field_type(id).get_type()) {
    case Map_field_type::Integer:
        a.type = Type::int32;
        break;
    case Map_field_type::Vector:
        a.width = 3;
        break;
    case Map_field_type::Color:
        a.width = 4;
        break;
    case Map_field_type::Transform:
        a.width = 16;
        break;
    case Map_field_type::Integer_array:
        a.type = Type::int32;
        a.width = static_cast<int>(declaration->get_field_length(id));
        break;
    case Map_field_type::Scalar_array:
        a.width = static_cast<int>(declaration->get_field_length(id));
        break;
    default:
        break;
    }
    return a;
}

// Copies the values of rows out of a column. Bytes is 0 if their size is known at run time only.
template <std::size_t Bytes>
void gather(const unsigned char* column, const std::uint32_t* rows, std::size_t count,
            std::size_t bytes, std::byte* out) {
    const std::size_t each = Bytes > 0 ? Bytes : bytes;
    for (std::size_t i = 0; i < count; ++i)
        std::memcpy(out + i * each, column + rows[i] * each, each);
}

class MapCloud final : public Cloud {
  public:
    MapCloud(FilePtr file, Findings& findings)
        : m_file(std::move(file)), m_map(path().c_str(), &m_status) {
        if (m_status == Map_status::File_not_a_map ||
            m_status == Map_status::File_version_unsupported) {
            const MapDamage damage = find_map_damage(*m_file);
            throw FileError(m_file->name(), damage.offset,
                            map_error(m_status) + (damage.what.empty() ? "" : ": " + damage.what));
        }
        if (m_status != Map_status::OK) fail(map_error(m_status));
        const Map_base& map = *m_map.operator->();
        if (!map.has_declaration()) fail("the map has no declaration");
        const Map_declaration declaration(m_map);
        if (declaration->get_dimension() != 3) {
            fail("a map of dimension " + std::to_string(declaration->get_dimension()) +
                 "; the points of a cloud have 3");
        }
        // A map that was just read has rows.
        m_rows = vx::maps::rows_of(map).value();
        count = map.size();
        attributes.push_back({"position", Type::float32, 3, false});
        m_columns.push_back(nullptr);
        for (Map_field_id id = 0; id < declaration->get_field_count(); ++id) {
            const std::string field = declaration->get_field_name(id);
            const Map_field_type type = declaration->get_field_type(id);
            if (type == Map_field_type::String) {
                add_text(map, field, id, declaration->get_field_length(id), findings);
                continue;
            }
            if (field == "position") {
                findings.push_back({Severity::warning, -1,
                                    "field 'position' has the name of what every point has "
                                    "anyway; it is left out"});
                continue;
            }
            attributes.push_back(attribute_of_field(declaration, id));
            m_columns.push_back(m_rows.columns[id].data);
        }
    }

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const Attribute& a = attributes[attribute];
        auto* const target = static_cast<std::byte*>(out);
        const std::uint32_t* const rows = m_rows.rank + first;
        const auto points = static_cast<std::size_t>(n);
        if (a.single) {
            std::memcpy(target, m_columns[attribute], a.bytes());
        } else if (attribute == 0) {
            auto* const positions = static_cast<float*>(out);
            for (std::size_t i = 0; i < points; ++i)
                copy_position(rows[i], positions + 3 * i);
        } else if (a.bytes() == 4) {
            gather<4>(m_columns[attribute], rows, points, 4, target);
        } else if (a.bytes() == 12) {
            gather<12>(m_columns[attribute], rows, points, 12, target);
        } else {
            gather<0>(m_columns[attribute], rows, points, a.bytes(), target);
        }
    }
    void read_rows(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const Attribute& a = attributes[attribute];
        if (attribute == 0) {
            auto* positions = static_cast<float*>(out);
            for (std::int64_t row = first; row < first + n;) {
                const std::int64_t end = std::min(row / 16 * 16 + 16, first + n);
                const float* const leaf = m_rows.positions + row / 16 * 48;
                for (std::int64_t lane = row % 16; row < end; ++row, ++lane, positions += 3) {
                    positions[0] = leaf[lane];
                    positions[1] = leaf[lane + 16];
                    positions[2] = leaf[lane + 32];
                }
            }
            return;
        }
        const auto skipped = a.single ? std::size_t{0} : static_cast<std::size_t>(first);
        std::memcpy(out, m_columns[attribute] + skipped * a.bytes(),
                    static_cast<std::size_t>(n) * a.bytes());
    }
    std::int64_t stored_row(std::int64_t point) const override { return m_rows.rank[point]; }
    bool reads_in_parallel() const override { return true; }

    std::vector<std::pair<std::int64_t, std::string>> verify() override {
        const Map_status status = vx::maps::verify_file(path().c_str());
        if (status == Map_status::OK) return {};
        const MapDamage damage = find_map_damage(*m_file);
        if (!damage.what.empty()) return {{damage.offset, damage.what}};
        return {{-1, "the rows are not a permutation of the points"}};
    }

    // A tag for further accesses to the same map.
    miTag tag() { return m_map.store(); }

  private:
    // The engine opens files by name.
    std::string path() const { return "/proc/self/fd/" + std::to_string(m_file->descriptor()); }
    void copy_position(std::uint32_t row, float* out) const {
        const float* const leaf = m_rows.positions + row / 16 * 48 + row % 16;
        out[0] = leaf[0];
        out[1] = leaf[16];
        out[2] = leaf[32];
    }
    // A cloud holds numbers only: texts are shown but not converted.
    void add_text(const Map_base& map, const std::string& field, Map_field_id id, miUint length,
                  Findings& findings) {
        std::vector<char> text(std::size_t{length} + 1, '\0');
        check(map.get(id, text.data()));
        std::string shown(text.data());
        for (char& c : shown)
            c = static_cast<unsigned char>(c) < ' ' ? ' ' : c;
        details.emplace_back("text " + field, "\"" + shown + "\"");
        findings.push_back(
            {Severity::warning, -1,
             "field '" + field + "' is a text: info shows it, conversions do not carry it"});
    }
    [[noreturn]] void fail(const std::string& why) const {
        throw FileError(m_file->name(), -1, why);
    }
    void check(const Map_status& status) const {
        if (status != Map_status::OK) fail(map_error(status));
    }

    FilePtr m_file;
    Map_status m_status;
    Access_map m_map;
    vx::maps::Rows m_rows;
    // Per attribute, the values of its rows; null for "position".
    std::vector<const unsigned char*> m_columns;
};

} // namespace

CloudPtr open_mrmap(FilePtr file, Findings& findings, const OpenOptions&) {
    return std::make_unique<MapCloud>(std::move(file), findings);
}

bool store_map_of(Cloud& cloud, miTag& tag) {
    auto* const whole = dynamic_cast<MapCloud*>(&cloud);
    if (whole == nullptr) return false;
    tag = whole->tag();
    return true;
}

} // namespace vx::cache
