// Map files, through the renderer's map interface. The element's position is the attribute
// "position", each field is an attribute, a global field one value for all points.
#include "cache/formats/columns.h"
#include "cache/formats/format_traits.h"
#include "cache/formats/map_access.h"
#include "maps/interface.h"

#include "shader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <limits>
#include <optional>

namespace vx::cache {

namespace {

using mi::shader_v3::Access_map;
using mi::shader_v3::Edit_map;
using mi::shader_v3::Map_base;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_element;
using mi::shader_v3::Map_field_id;
using mi::shader_v3::Map_field_type;
using mi::shader_v3::Map_iterator;
using mi::shader_v3::Map_status;

// The quality of the search tree that the shaders' own maps are written with.
constexpr float kTreeQuality = 0.6f;

std::string why_of(const Map_status& status) {
    switch (status.get_code()) {
    case Map_status::Insufficient_memory:
        return "not enough memory for the map";
    case Map_status::File_could_not_be_opened:
        return "the map file cannot be opened";
    case Map_status::File_not_a_map:
        return "not a map file, or one that is cut off or damaged";
    case Map_status::File_version_unsupported:
        return "a map file of an unknown version";
    case Map_status::Failure:
        return "the map file cannot be written; the disk may be full";
    default:
        return "the map cannot be handled (status " + std::to_string(status.get_code()) + ")";
    }
}

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
    MapCloud(const InputFile& file, Findings& findings)
        : m_file_name(file.name()),
          m_map(("/proc/self/fd/" + std::to_string(file.descriptor())).c_str(), &m_status) {
        if (m_status != Map_status::OK) fail(why_of(m_status));
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
        if (status != Map_status::OK) fail(why_of(status));
    }

    std::string m_file_name;
    Map_status m_status;
    Access_map m_map;
    std::unique_ptr<Map_iterator> m_iterator;
    std::vector<StoredField> m_fields;
};

// ---- writing

// The fields of the shaders' own maps, in their order.
struct BakedField {
    const char* name;
    Map_field_type::Type type;
    int width;
};
constexpr std::array<BakedField, 4> kBaked{{{"normalPP", Map_field_type::Vector, 3},
                                            {"rgbPP", Map_field_type::Vector, 3},
                                            {"opacityPP", Map_field_type::Scalar, 1},
                                            {"tag", Map_field_type::Integer, 1}}};

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
        m_reader.emplace(cloud, attribute, integers ? Type::int32 : Type::float32,
                         IntegerRule::wrap);
        m_stride = a.single ? 0 : static_cast<std::size_t>(a.width) * 4;
    }

    // Before any values of these points are asked for.
    void read(std::int64_t first, std::int64_t n) {
        const bool single = m_stride == 0;
        if (!m_reader || (single && first > 0)) return;
        m_values = m_reader->read(first, single ? 1 : n);
    }
    // The values of a point, counted from the first one of the last read().
    const float* floats(std::size_t point) const {
        return reinterpret_cast<const float*>(m_values + point * m_stride);
    }
    const int* integers(std::size_t point) const {
        return reinterpret_cast<const int*>(m_values + point * m_stride);
    }
    Map_field_type type() const { return m_type; }
    void report(Notes& notes) const {
        if (m_reader) note_rounding(*m_reader, notes);
    }

    Map_field_id id = 0;
    bool global = false; // one value of the map, not of its elements

  private:
    Map_field_type m_type;
    std::optional<AttributeReader> m_reader;
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
    for (const BakedField& b : kBaked) {
        const int at = cloud.find(b.name);
        const auto index = static_cast<std::size_t>(std::max(at, 0));
        // What the loader would not take for this name counts as absent.
        const bool fits = at >= 0 && cloud.attributes[index].width == b.width &&
                          (options.all_fields || b.type != Map_field_type::Scalar ||
                           !is_integer(cloud.attributes[index].type));
        if (!fits && options.all_fields) continue;
        if (!fits)
            notes.push_back(std::string("'") + b.name + "': is not there, its field is zero");
        WrittenField& f =
            fits ? fields.emplace_back(b.type, cloud, index) : fields.emplace_back(b.type);
        f.id = declaration->get_field_count();
        declaration->append_field(b.name, b.type);
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

// Target is an element, or the map for its global fields.
template <typename Target>
Map_status set_field(Target& target, const WrittenField& f, std::size_t point) {
    const float* const v = f.floats(point);
    switch (f.type().get_type()) {
    case Map_field_type::Integer:
        return target.set(f.id, *f.integers(point));
    case Map_field_type::Integer_array:
        return target.set(f.id, f.integers(point));
    case Map_field_type::Scalar:
        return target.set(f.id, *v);
    case Map_field_type::Vector:
        return target.set(f.id, miVector{v[0], v[1], v[2]});
    case Map_field_type::Color:
        return target.set(f.id, miColor{v[0], v[1], v[2], v[3]});
    case Map_field_type::Transform: {
        miMatrix matrix;
        std::memcpy(&matrix, v, sizeof matrix);
        return target.set(f.id, &matrix);
    }
    default:
        return target.set(f.id, v);
    }
}

// Everything but the file. The name is for messages.
std::unique_ptr<Edit_map> build_map(Cloud& cloud, const std::string& name,
                                    const WriteOptions& options, Notes& notes) {
    const auto ok = [&name](const Map_status& status) {
        if (status != Map_status::OK) throw FileError(name, -1, why_of(status));
    };
    if (cloud.count > std::numeric_limits<miUint>::max()) {
        throw FileError(name, -1, "a map counts at most 4294967295 points");
    }
    Map_declaration declaration(3);
    std::vector<WrittenField> fields = choose_fields(cloud, options, notes, declaration);
    // A cloud without positions stands at the origin, as it does for the shaders.
    const int at = cloud.find("position");
    const bool placed = at >= 0 && cloud.attributes[static_cast<std::size_t>(at)].width == 3;
    if (!placed && options.all_fields) need_position(cloud);
    if (!placed) notes.emplace_back("'position': is not there, all points are at the origin");
    WrittenField position =
        placed ? WrittenField(Map_field_type::Vector, cloud, static_cast<std::size_t>(at))
               : WrittenField(Map_field_type::Vector);

    auto owned = std::make_unique<Edit_map>(declaration);
    Edit_map& map = *owned;
    Map_element element(declaration);
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        position.read(first, n);
        for (WrittenField& f : fields)
            f.read(first, n);
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            ok(element->set_position(position.floats(i)));
            for (const WrittenField& f : fields) {
                if (!f.global) ok(set_field(*element.operator->(), f, i));
            }
            ok(map->append(element));
        }
        if (options.progress) options.progress(first + n, cloud.count);
    });
    for (WrittenField& f : fields) {
        if (!f.global) continue;
        f.read(0, 1);
        ok(set_field(*map.operator->(), f, 0));
    }
    map->consolidate(kTreeQuality);
    position.report(notes);
    for (const WrittenField& f : fields)
        f.report(notes);
    return owned;
}

CloudPtr open_mrmap(FilePtr file, Findings& findings, const OpenOptions&) {
    return std::make_unique<MapCloud>(*file, findings);
}

Map_base::File_format file_format(std::string_view encoding) {
    if (encoding == "ascii") return Map_base::Open_ASCII;
    return encoding == "open" ? Map_base::Open_binary : Map_base::Closed_binary;
}

void write_mrmap(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    const std::unique_ptr<Edit_map> map = build_map(cloud, out.name(), options, notes);
    const HeldSignals held;
    const Map_status written =
        (*map)->write(out.temporary_name().c_str(), false, file_format(options.encoding));
    if (written != Map_status::OK) throw FileError(out.name(), -1, why_of(written));
}

constexpr std::string_view kExtensions[] = {"mrmap"};
constexpr std::string_view kEncodings[] = {"closed", "open", "ascii"};

} // namespace

SharedMap::SharedMap(miTag tag) : m_tag(tag) {}

SharedMap::~SharedMap() {
    vx::maps::remove_map(m_tag);
}

std::unique_ptr<Access_map> SharedMap::access() const {
    return std::make_unique<Access_map>(m_tag);
}

std::unique_ptr<SharedMap> map_of(Cloud& cloud, Notes& notes) {
    miTag tag = miNULLTAG;
    if (auto* const whole = dynamic_cast<MapCloud*>(&cloud)) {
        tag = whole->tag();
    } else {
        WriteOptions options;
        options.all_fields = false;
        tag = build_map(cloud, cloud.file_name, options, notes)->store();
    }
    if (tag == miNULLTAG) {
        throw FileError(cloud.file_name, -1, why_of(Map_status::Insufficient_memory));
    }
    return std::make_unique<SharedMap>(tag);
}

const FormatTraits kMrmapFormat{.format = Format::mrmap,
                                .name = "mrmap",
                                .extensions = kExtensions,
                                .recognizes = nullptr,
                                .open = open_mrmap,
                                .write = write_mrmap,
                                .widths = {},
                                .encodings = kEncodings};

} // namespace vx::cache
