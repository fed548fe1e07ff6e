#include "cache/formats/mrmap.h"
#include "src/writer/map_fields.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>
#include <memory>

namespace vx::cache {

namespace {

using mi::shader_v3::Edit_map;
using mi::shader_v3::Map_base;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_element;
using mi::shader_v3::Map_field_id;
using mi::shader_v3::Map_field_type;
using mi::shader_v3::Map_status;

constexpr float kZeros[3] = {};

// One field of a map, and where its values come from.
class WrittenField {
  public:
    // Zeros: one of the baked fields that the cloud lacks, or the position.
    explicit WrittenField(Map_field_type type) : m_type(type) {}
    // An attribute of the cloud, converted as the shaders do it: floats are rounded, labels are cut
    // to their low 32 bits.
    WrittenField(Map_field_type type, Cloud& cloud, std::size_t attribute) : m_type(type) {
        const Attribute& a = cloud.attributes[attribute];
        const bool integers =
            type == Map_field_type::Integer || type == Map_field_type::Integer_array;
        m_reader = std::make_unique<AttributeReader>(
            cloud, attribute, integers ? Type::int32 : Type::float32, IntegerRule::wrap);
        m_stride = a.single ? 0 : static_cast<std::size_t>(a.width) * 4;
    }

    // Call before value() of these points.
    void read(std::int64_t first, std::int64_t n) {
        const bool single = m_stride == 0;
        if (!m_reader || (single && first > 0)) return;
        m_values = m_reader->read(first, single ? 1 : n);
    }
    // The values of a point; `i` counts from the first point of the last read().
    const void* value(std::size_t point) const { return m_values + point * m_stride; }
    Map_field_type type() const { return m_type; }
    void report(Notes& notes) const {
        if (m_reader) note_rounding(*m_reader, notes);
    }

    Map_field_id id = 0;
    bool global = false; // one value of the map, not of its elements

  private:
    Map_field_type m_type;
    std::unique_ptr<AttributeReader> m_reader;
    std::size_t m_stride = 0; // bytes from point to point; 0: one value for all
    const std::byte* m_values = reinterpret_cast<const std::byte*>(kZeros);
};

std::string safe(const std::string& name, Notes& notes) {
    std::string out = name.empty() ? "unnamed" : name.substr(0, 255);
    for (char& c : out) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && std::strchr("._-:", c) == nullptr) {
            c = '_';
        }
    }
    if (out != name) notes.push_back("'" + name + "': is called '" + out + "' in the file");
    return out;
}

Map_field_type field_type_of(const Attribute& a) {
    if (is_integer(a.type)) {
        return a.width == 1 ? Map_field_type::Integer : Map_field_type::Integer_array;
    }
    switch (a.width) {
    case 1:
        return Map_field_type::Scalar;
    case 3:
        return Map_field_type::Vector;
    case 4:
        return Map_field_type::Color;
    case 16:
        return Map_field_type::Transform;
    default:
        return Map_field_type::Scalar_array;
    }
}

std::vector<WrittenField> choose_fields(Cloud& cloud, const WriteOptions& options, Notes& notes,
                                        Map_declaration& declaration) {
    std::vector<WrittenField> fields;
    std::vector<bool> used(cloud.attributes.size(), false);
    for (const CMapField& b : kMapFields) {
        const int at = cloud.find(b.name);
        const auto index = static_cast<std::size_t>(std::max(at, 0));
        const Map_field_type type = map_write::TypeForRenderer(b.type);
        // Attributes that the shaders' loader would ignore under this name count as absent.
        const bool fits = at >= 0 && cloud.attributes[index].width == b.width &&
                          (options.all_fields || b.type != map_write::FieldType::Scalar ||
                           !is_integer(cloud.attributes[index].type));
        if (!fits && options.all_fields) continue;
        if (!fits) notes.push_back(std::string("'") + b.name + "': missing; its field is zero");
        WrittenField& f =
            fits ? fields.emplace_back(type, cloud, index) : fields.emplace_back(type);
        f.id = declaration->get_field_count();
        map_write::AddField(declaration, b.name, b.type);
        if (fits) used[index] = true;
    }
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        if (used[i] || a.name == "position") continue;
        if (!options.all_fields) {
            notes.push_back("'" + a.name + "': is not carried into the map");
            continue;
        }
        WrittenField f(field_type_of(a), cloud, i);
        f.global = a.single;
        f.id = declaration->get_field_count();
        const Map_status status = declaration->append_field(safe(a.name, notes).c_str(), f.type(),
                                                            static_cast<miUint>(a.width), a.single);
        if (status != Map_status::OK) {
            notes.push_back("'" + a.name + "': cannot be a field and is left out");
            continue;
        }
        fields.push_back(std::move(f));
    }
    return fields;
}

// Target is the wrapper of an element, or of the map for its global fields.
template <typename Target>
Map_status set_field(Target& target, const WrittenField& f, std::size_t point) {
    const void* const value = f.value(point);
    switch (f.type().get_type()) {
    case Map_field_type::Integer:
        return target->set(f.id, *static_cast<const int*>(value));
    case Map_field_type::Integer_array:
        return target->set(f.id, static_cast<const int*>(value));
    case Map_field_type::Scalar:
        return target->set(f.id, *static_cast<const float*>(value));
    case Map_field_type::Vector:
        return target->set(f.id, *static_cast<const miVector*>(value));
    case Map_field_type::Color:
        return target->set(f.id, *static_cast<const miColor*>(value));
    case Map_field_type::Transform:
        return target->set(f.id, static_cast<const miMatrix*>(value));
    default:
        return target->set(f.id, static_cast<const float*>(value));
    }
}

Map_base::File_format file_format(std::string_view encoding) {
    if (encoding == "ascii") return Map_base::Open_ASCII;
    return encoding == "open" ? Map_base::Open_binary : Map_base::Closed_binary;
}

} // namespace

std::unique_ptr<Edit_map> build_map(Cloud& cloud, const std::string& name,
                                    const WriteOptions& options, Notes& notes) {
    const auto ok = [&name](const Map_status& status) {
        if (status != Map_status::OK) throw FileError(name, -1, map_error(status));
    };
    if (cloud.count > std::numeric_limits<miUint>::max()) {
        throw FileError(name, -1, "a map counts at most 4294967295 points");
    }
    Map_declaration declaration(3);
    std::vector<WrittenField> fields = choose_fields(cloud, options, notes, declaration);
    // The shaders, too, read a cloud without positions as points at the origin.
    const int at = cloud.find("position");
    const bool placed = at >= 0 && cloud.attributes[static_cast<std::size_t>(at)].width == 3;
    if (!placed && options.all_fields) need_position(cloud);
    if (!placed) notes.emplace_back("'position': missing; all points are at the origin");
    WrittenField position =
        placed ? WrittenField(Map_field_type::Vector, cloud, static_cast<std::size_t>(at))
               : WrittenField(Map_field_type::Vector);

    auto owned = std::make_unique<Edit_map>(declaration);
    Edit_map& map = *owned;
    Map_element element(declaration);
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        position.read(first, n);
        for (WrittenField& f : fields) {
            if (!f.global) f.read(first, n);
        }
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            ok(element->set_position(static_cast<const float*>(position.value(i))));
            for (const WrittenField& f : fields) {
                if (!f.global) ok(set_field(element, f, i));
            }
            ok(map->append(element));
        }
        if (options.progress) options.progress(first + n, cloud.count);
    });
    for (WrittenField& f : fields) {
        if (!f.global) continue;
        f.read(0, 1);
        ok(set_field(map, f, 0));
    }
    map->consolidate(kMapTreeQuality);
    position.report(notes);
    for (const WrittenField& f : fields)
        f.report(notes);
    return owned;
}

void write_mrmap(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    const std::unique_ptr<Edit_map> map = build_map(cloud, out.name(), options, notes);
    const HeldSignals held;
    const Map_status written =
        (*map)->write(out.temporary_name().c_str(), false, file_format(options.encoding));
    if (written != Map_status::OK) throw FileError(out.name(), -1, map_error(written));
}

} // namespace vx::cache
