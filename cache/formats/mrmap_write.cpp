#include "cache/cloud/parallel.h"
#include "cache/formats/mrmap.h"
#include "maps/interface.h"
#include "src/writer/map_fields.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>

namespace vx::cache {

namespace {

using mi::shader_v3::Edit_map;
using mi::shader_v3::Map_base;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_field_id;
using mi::shader_v3::Map_field_type;
using mi::shader_v3::Map_status;

constexpr float kZeros[16] = {};

// One field of a map, and where its values come from. A copy reads the same attribute, for another
// thread; the value that all points share stays that of the original.
class WrittenField {
  public:
    // Zeros: one of the baked fields that the cloud lacks, or the position.
    explicit WrittenField(Map_field_type type) : m_type(type) {}
    // An attribute of the cloud, converted as the shaders do it: floats are rounded, labels are cut
    // to their low 32 bits.
    WrittenField(Map_field_type type, Cloud& cloud, std::size_t attribute)
        : m_type(type), m_reader(reader(type, cloud, attribute)) {
        const Attribute& a = cloud.attributes[attribute];
        m_stride = a.single ? 0 : static_cast<std::size_t>(a.width) * 4;
    }

    // Reads the value that all points share.
    void read_single() {
        if (m_reader && m_stride == 0) m_values = m_reader->read(0, 1);
    }
    // Reads points, unless all have the same value.
    void read(std::int64_t first, std::int64_t n) {
        if (m_stride > 0) m_values = m_reader->read(first, n);
    }
    // The values of the point read first, and the bytes from point to point: 0 if all have the
    // same.
    const std::byte* values() const { return m_values; }
    std::size_t stride() const { return m_stride; }
    bool is_zero() const { return !m_reader; }
    Map_field_type type() const { return m_type; }
    // Adds what another object for the same field has read.
    void add_counts(const WrittenField& other) {
        if (m_stride > 0) m_reader->add_counts(*other.m_reader);
    }
    void report(Notes& notes) const {
        if (m_reader) note_rounding(*m_reader, notes);
    }

    Map_field_id id = 0;
    bool global = false; // one value of the map, not of its elements

  private:
    static AttributeReader reader(Map_field_type type, Cloud& cloud, std::size_t attribute) {
        const bool integers =
            type == Map_field_type::Integer || type == Map_field_type::Integer_array;
        return {cloud, attribute, integers ? Type::int32 : Type::float32, IntegerRule::wrap};
    }

    Map_field_type m_type;
    std::optional<AttributeReader> m_reader;
    std::size_t m_stride = 0;
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

Map_status set_global(Edit_map& map, const WrittenField& f) {
    const void* const value = f.values();
    switch (f.type().get_type()) {
    case Map_field_type::Integer:
        return map->set(f.id, *static_cast<const int*>(value));
    case Map_field_type::Integer_array:
        return map->set(f.id, static_cast<const int*>(value));
    case Map_field_type::Scalar:
        return map->set(f.id, *static_cast<const float*>(value));
    case Map_field_type::Vector:
        return map->set(f.id, *static_cast<const miVector*>(value));
    case Map_field_type::Color:
        return map->set(f.id, *static_cast<const miColor*>(value));
    case Map_field_type::Transform:
        return map->set(f.id, static_cast<const miMatrix*>(value));
    default:
        return map->set(f.id, static_cast<const float*>(value));
    }
}

// Reads all points of some fields, on several threads if the cloud allows it, and calls
// store(field, first, n) for each run of points that a field has read.
template <typename Store, typename Progress>
void read_points(Cloud& cloud, std::span<WrittenField> fields, const Progress& progress,
                 const Store& store) {
    std::atomic<std::int64_t> next = 0;
    std::mutex mutex;
    run_workers(cloud.reads_in_parallel() ? worker_count() : 1, [&](int worker) {
        std::vector<WrittenField> own(fields.begin(), fields.end());
        for (;;) {
            const std::int64_t first = next.fetch_add(kBlockPoints);
            if (first >= cloud.count) break;
            const std::int64_t n = std::min(kBlockPoints, cloud.count - first);
            for (WrittenField& f : own) {
                f.read(first, n);
                store(f, first, n);
            }
            if (worker == 0) progress(first + n);
        }
        const std::lock_guard lock(mutex);
        for (std::size_t i = 0; i < own.size(); ++i)
            fields[i].add_counts(own[i]);
    });
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

    auto map = std::make_unique<Edit_map>(declaration);
    if (cloud.count > 0) position.read_single();
    for (WrittenField& f : fields) {
        if (f.global || cloud.count > 0) f.read_single();
        if (f.global) ok(set_global(*map, f));
    }
    const auto show = [&](std::int64_t done) {
        if (options.progress) options.progress(done, 2 * cloud.count);
    };
    try {
        vx::maps::MapBuilder builder(*map->operator->(), static_cast<std::uint64_t>(cloud.count));
        read_points(cloud, {&position, 1}, show,
                    [&](const WrittenField& f, std::int64_t first, std::int64_t n) {
                        builder.set_positions(
                            static_cast<std::uint64_t>(first), static_cast<std::uint64_t>(n),
                            reinterpret_cast<const float*>(f.values()), f.stride());
                    });
        builder.sort(kMapTreeQuality);
        read_points(
            cloud, fields, [&](std::int64_t done) { show(cloud.count + done); },
            [&](const WrittenField& f, std::int64_t first, std::int64_t n) {
                if (f.global || f.is_zero()) return;
                builder.set_values(f.id, static_cast<std::uint64_t>(first),
                                   static_cast<std::uint64_t>(n), f.values(), f.stride());
            });
        builder.finish();
    } catch (const std::bad_alloc&) {
        ok(Map_status::Insufficient_memory);
    }
    show(2 * cloud.count);
    position.report(notes);
    for (const WrittenField& f : fields)
        f.report(notes);
    return map;
}

void write_mrmap(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    const std::unique_ptr<Edit_map> map = build_map(cloud, out.name(), options, notes);
    const HeldSignals held;
    const Map_status written =
        (*map)->write(out.temporary_name().c_str(), false, file_format(options.encoding));
    if (written != Map_status::OK) throw FileError(out.name(), -1, map_error(written));
}

} // namespace vx::cache
