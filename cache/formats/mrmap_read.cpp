#include "cache/formats/mrmap.h"

#include <cstring>

namespace vx::cache {

namespace {

using mi::shader_v3::Access_map;
using mi::shader_v3::Map_base;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_field_id;
using mi::shader_v3::Map_field_type;
using mi::shader_v3::Map_iterator;
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

// Reads one field into the bytes of an attribute; Source is the map (global fields) or an iterator.
template <typename Source>
Map_status get_field(const Source& source, Map_field_id id, Map_field_type type, void* out) {
    switch (type.get_type()) {
    case Map_field_type::Integer: {
        int value = 0;
        const Map_status status = source.get(id, value);
        std::memcpy(out, &value, sizeof value);
        return status;
    }
    case Map_field_type::Scalar: {
        float value = 0;
        const Map_status status = source.get(id, value);
        std::memcpy(out, &value, sizeof value);
        return status;
    }
    case Map_field_type::Vector: {
        miVector value{};
        const Map_status status = source.get(id, value);
        std::memcpy(out, &value, sizeof value);
        return status;
    }
    case Map_field_type::Color: {
        miColor value{};
        const Map_status status = source.get(id, value);
        std::memcpy(out, &value, sizeof value);
        return status;
    }
    case Map_field_type::Transform:
        return source.get(id, static_cast<miMatrix*>(out));
    case Map_field_type::Integer_array:
        return source.get(id, static_cast<int*>(out));
    default:
        return source.get(id, static_cast<float*>(out));
    }
}

class MapCloud final : public Cloud {
  public:
    MapCloud(FilePtr file, Findings& findings)
        : m_file(std::move(file)),
          m_file_name(m_file->name()),
          m_map(("/proc/self/fd/" + std::to_string(m_file->descriptor())).c_str(), &m_status) {
        if (m_status == Map_status::File_not_a_map ||
            m_status == Map_status::File_version_unsupported) {
            const MapDamage damage = find_map_damage(*m_file);
            throw FileError(m_file_name, damage.offset,
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
        m_iterator = std::make_unique<Map_iterator>(m_map);
        count = map.size();
        attributes.push_back({"position", Type::float32, 3, false});
        m_fields.push_back({});
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
            m_fields.push_back({id, type});
        }
    }

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const Attribute& a = attributes[attribute];
        auto* target = static_cast<std::byte*>(out);
        const StoredField field = m_fields[attribute];
        if (a.single) {
            const Map_base& map = *m_map.operator->();
            check(get_field(map, field.id, field.type, target));
            return;
        }
        auto& row = *m_iterator->operator->();
        for (std::int64_t i = 0; i < n; ++i, target += a.bytes()) {
            check(i == 0 ? row.go_to(static_cast<miUint>(first)) : row.next());
            if (attribute == 0) {
                std::memcpy(target, row.get_position(), 12);
            } else {
                check(get_field(row, field.id, field.type, target));
            }
        }
    }

    std::vector<std::pair<std::int64_t, std::string>> verify() override {
        const MapDamage damage = find_map_damage(*m_file);
        if (damage.offset < 0) return {};
        return {{damage.offset, damage.what}};
    }

    // A tag for further accesses to the same map.
    miTag tag() { return m_map.store(); }

  private:
    // The map's field behind an attribute; that of "position" is not used.
    struct StoredField {
        Map_field_id id = 0;
        Map_field_type type;
    };
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
    [[noreturn]] void fail(const std::string& why) const { throw FileError(m_file_name, -1, why); }
    void check(const Map_status& status) const {
        if (status != Map_status::OK) fail(map_error(status));
    }

    FilePtr m_file;
    std::string m_file_name;
    Map_status m_status;
    Access_map m_map;
    std::unique_ptr<Map_iterator> m_iterator;
    std::vector<StoredField> m_fields;
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
