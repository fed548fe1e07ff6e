// NumPy archives: a zip file with an array per attribute. One value per point: shape (N,) or
// (N, width); one value for all: shape () or (1, width).
#include "cache/cloud/bytes.h"
#include "cache/cloud/hash.h"
#include "cache/formats/columns.h"
#include "cache/formats/format_traits.h"
#include "cache/formats/names.h"
#include "cache/formats/npy_header.h"
#include "cache/formats/zip.h"

#include <Imath/half.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <unordered_set>

namespace vx::cache {

namespace {

constexpr auto kWidest = static_cast<std::int64_t>(kMostColumns);
constexpr std::string_view kCommentStart = "vx_cache name ";

struct NpyArray {
    ZipEntry entry;
    std::unique_ptr<Spool> unpacked; // of a deflated entry
    std::int64_t data = 0;           // offset of the values within the entry
    NpyLayout layout;
};

float half_to_float(std::uint16_t bits) {
    const Imath::half h(Imath::half::FromBits, bits);
    // The sign and the payload of a not-a-number have no meaning.
    return h.isNan() ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(h);
}

// Converts one stored value, in native byte order, to the type of the attribute.
void put_value(const NpyLayout& a, const std::byte* in, std::byte* out) {
    const auto put = [out](auto value) { std::memcpy(out, &value, sizeof value); };
    if (a.kind == 'f') {
        if (a.size == 2) return put(half_to_float(load<std::uint16_t>(in)));
        std::memcpy(out, in, static_cast<std::size_t>(a.size));
        return;
    }
    const bool is_signed = a.kind == 'i';
    switch (a.size) {
    case 1:
        return put(is_signed ? std::int32_t{load<std::int8_t>(in)}
                             : std::int32_t{load<std::uint8_t>(in)});
    case 2:
        return put(is_signed ? std::int32_t{load<std::int16_t>(in)}
                             : std::int32_t{load<std::uint16_t>(in)});
    case 4:
        if (is_signed) return put(load<std::int32_t>(in));
        return put(std::int64_t{load<std::uint32_t>(in)});
    default:
        return put(load<std::int64_t>(in));
    }
}

class NpzCloud final : public Cloud {
  public:
    NpzCloud(FilePtr file, std::int64_t memory) : m_file(std::move(file)), m_budget(memory) {}

    void add_entries(Findings& findings);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;
    std::int64_t byte_offset(std::size_t attribute, std::int64_t point) const override {
        const NpyArray& a = m_arrays[attribute];
        if (a.entry.method != 0 || a.layout.fortran) return -1;
        return a.entry.data + a.data +
               (attributes[attribute].single ? 0 : point) * attributes[attribute].width *
                   a.layout.size;
    }

  private:
    void unpack(NpyArray& array);
    void check_stored(const NpyArray& array) const;
    bool parse_header(NpyArray& array, Findings& findings);
    void settle();
    void read_bytes(const NpyArray& a, std::int64_t at, void* out, std::size_t bytes) const {
        if (a.unpacked) {
            a.unpacked->read(at, out, bytes);
        } else {
            m_file->read(a.entry.data + at, out, bytes);
        }
    }
    [[noreturn]] void fail(const NpyArray& a, const std::string& why) const {
        throw FileError(m_file->name(), a.entry.data, "'" + a.entry.name + "': " + why);
    }

    FilePtr m_file;
    SpoolBudget m_budget;
    std::vector<NpyArray> m_arrays;
    std::vector<std::byte> m_raw;
};

void NpzCloud::unpack(NpyArray& array) {
    const ZipEntry& entry = array.entry;
    array.unpacked = std::make_unique<Spool>(m_budget);
    std::vector<unsigned char> in(1 << 16);
    std::vector<unsigned char> out(1 << 16);
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) fail(array, "cannot be unpacked");
    const std::unique_ptr<z_stream, int (*)(z_stream*)> owner(&z, inflateEnd);
    std::int64_t done = 0;
    std::uint32_t crc = 0;
    int status = Z_OK;
    while (status == Z_OK) {
        if (z.avail_in == 0) {
            const std::size_t n = static_cast<std::size_t>(
                std::min<std::int64_t>(entry.packed - done, std::ssize(in)));
            if (n == 0) break;
            m_file->read(entry.data + done, in.data(), n);
            done += static_cast<std::int64_t>(n);
            z.next_in = in.data();
            z.avail_in = static_cast<unsigned>(n);
        }
        z.next_out = out.data();
        z.avail_out = static_cast<unsigned>(out.size());
        status = inflate(&z, Z_NO_FLUSH);
        const std::size_t got = out.size() - z.avail_out;
        if (array.unpacked->size() + static_cast<std::int64_t>(got) > entry.size) {
            fail(array, "unpacks to more bytes than the directory claims");
        }
        crc = crc32_of(crc, out.data(), got);
        array.unpacked->append(out.data(), got);
    }
    if (status != Z_STREAM_END || array.unpacked->size() != entry.size) {
        fail(array, "its compressed data is damaged");
    }
    if (crc != entry.crc) fail(array, "its checksum is wrong");
}

void NpzCloud::check_stored(const NpyArray& array) const {
    std::vector<unsigned char> block(1 << 18);
    std::uint32_t crc = 0;
    for (std::int64_t at = 0; at < array.entry.size; at += std::ssize(block)) {
        const auto n = static_cast<std::size_t>(
            std::min<std::int64_t>(std::ssize(block), array.entry.size - at));
        m_file->read(array.entry.data + at, block.data(), n);
        crc = crc32_of(crc, block.data(), n);
    }
    if (crc != array.entry.crc) fail(array, "its checksum is wrong");
}

bool NpzCloud::parse_header(NpyArray& array, Findings& findings) {
    const std::int64_t size = array.entry.size;
    if (size < kLeastNpyPrefixBytes) fail(array, "is too short for an array");
    std::string start(static_cast<std::size_t>(std::min(size, kMostNpyPrefixBytes)), '\0');
    read_bytes(array, 0, start.data(), start.size());
    const std::optional<NpyPrefix> prefix = parse_npy_prefix(start);
    if (!prefix) fail(array, "is not an array");
    if (prefix->dictionary > size - prefix->bytes || prefix->dictionary > (1 << 20)) {
        fail(array, "its header is damaged");
    }
    std::string dictionary(static_cast<std::size_t>(prefix->dictionary), '\0');
    read_bytes(array, prefix->bytes, dictionary.data(), dictionary.size());
    array.data = prefix->bytes + prefix->dictionary;

    NpyLayout& layout = array.layout;
    if (const std::string why = parse_npy_dictionary(dictionary, layout); !why.empty()) {
        fail(array, why);
    }
    if (!layout.known) {
        findings.push_back({Severity::warning, array.entry.data,
                            "'" + array.entry.name + "' has values of the type " +
                                layout.type_text + " and is left out"});
        return false;
    }
    if (layout.bytes > size - array.data) {
        fail(array, "its shape wants " + std::to_string(layout.bytes) + " bytes, it has " +
                        std::to_string(size - array.data));
    }
    const std::vector<std::int64_t>& shape = layout.shape;
    if (shape.size() > 2 || (shape.size() == 2 && (shape[1] < 1 || shape[1] > kWidest))) {
        findings.push_back({Severity::warning, array.entry.data,
                            "'" + array.entry.name + "' is not an array of points; ignored"});
        return false;
    }
    return true;
}

void NpzCloud::add_entries(Findings& findings) {
    std::unordered_set<std::string> names;
    for (const ZipEntry& entry : read_zip(*m_file)) {
        if (!entry.name.ends_with(".npy")) {
            findings.push_back({Severity::note, entry.header, "'" + entry.name + "' is ignored"});
            continue;
        }
        NpyArray array;
        array.entry = entry;
        if (entry.method == 8) {
            unpack(array);
        } else if (entry.method != 0) {
            fail(array,
                 "is compressed with the unsupported method " + std::to_string(entry.method));
        } else {
            check_stored(array);
        }
        if (!parse_header(array, findings)) continue;
        Attribute a;
        a.name = entry.name.substr(0, entry.name.size() - 4);
        a.type = array.layout.model_type();
        const std::vector<std::int64_t>& shape = array.layout.shape;
        a.width = shape.size() == 2 ? static_cast<int>(shape[1]) : 1;
        // write_npz() stores names here that a file in an archive cannot have.
        if (entry.comment.starts_with(kCommentStart)) {
            a.name = entry.comment.substr(kCommentStart.size());
        }
        if (!names.insert(a.name).second) fail(array, "is there twice");
        attributes.push_back(a);
        m_arrays.push_back(std::move(array));
    }
    settle();
}

void NpzCloud::settle() {
    if (find("position") < 0) {
        for (const std::string_view other : {"positions", "points", "xyz", "P"}) {
            const int at = find(other);
            if (at < 0 || attributes[static_cast<std::size_t>(at)].width != 3) continue;
            attributes[static_cast<std::size_t>(at)].name = "position";
            break;
        }
    }
    const int position = find("position");
    for (const NpyArray& a : m_arrays) {
        if (!a.layout.shape.empty()) count = std::max(count, a.layout.rows());
    }
    if (position >= 0) {
        const NpyArray& a = m_arrays[static_cast<std::size_t>(position)];
        if (!a.layout.shape.empty() && a.layout.rows() != 1) count = a.layout.rows();
    }
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        const NpyArray& a = m_arrays[i];
        attributes[i].single = a.layout.shape.empty() || (a.layout.rows() == 1 && count != 1);
        if (!attributes[i].single && a.layout.rows() != count) {
            fail(a, "has " + std::to_string(a.layout.rows()) + " rows, the cloud " +
                        std::to_string(count));
        }
    }
}

void NpzCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    const NpyArray& array = m_arrays[attribute];
    const NpyLayout& a = array.layout;
    const auto size = static_cast<std::size_t>(a.size);
    const auto width = static_cast<std::size_t>(attributes[attribute].width);
    const auto points = static_cast<std::size_t>(n);
    const std::size_t out_size = type_size(attributes[attribute].type);
    const std::size_t runs = a.fortran ? width : 1;
    const std::size_t run = a.fortran ? points : points * width;
    m_raw.resize(run * size);
    for (std::size_t k = 0; k < runs; ++k) {
        const std::int64_t start = a.fortran ? static_cast<std::int64_t>(k) * a.rows() + first
                                             : first * static_cast<std::int64_t>(width);
        read_bytes(array, array.data + start * a.size, m_raw.data(), m_raw.size());
        if (a.big) swap_words(m_raw.data(), run, size);
        const std::size_t step = a.fortran ? width : 1;
        if (out_size == size && step == 1) {
            std::memcpy(out, m_raw.data(), m_raw.size());
        } else {
            for (std::size_t i = 0; i < run; ++i) {
                put_value(a, m_raw.data() + i * size,
                          static_cast<std::byte*>(out) + (i * step + k) * out_size);
            }
        }
    }
    if (a.kind == 'u' && a.size == 8) {
        for (std::size_t i = 0; i < points * width; ++i) {
            if (load<std::int64_t>(static_cast<std::byte*>(out) + i * 8) < 0) {
                fail(array, "a value beyond 9223372036854775807");
            }
        }
    }
}

// File names within the archive.
std::string safe(const std::string& name) {
    std::string out = name.empty() ? "unnamed" : name.substr(0, kLongestName);
    for (char& c : out) {
        if (static_cast<unsigned char>(c) < ' ' || c == '/' || c == '\\') c = '_';
    }
    return out;
}

CloudPtr open_npz(FilePtr file, Findings& findings, const OpenOptions& options) {
    auto cloud = std::make_unique<NpzCloud>(std::move(file), options.memory_bytes);
    cloud->add_entries(findings);
    return cloud;
}

void write_npz(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    std::vector<ZipEntry> entries;
    std::vector<std::string> heads;
    std::vector<std::int64_t> offsets;
    std::int64_t position = 0;
    std::vector<std::string> attributes;
    for (const Attribute& a : cloud.attributes)
        attributes.push_back(a.name);
    NameSet set;
    const std::vector<std::string> names = add_names(set, attributes, safe);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        const std::string& name = names[i];
        if (a.width > kWidest) {
            throw FileError(out.name(), -1,
                            "'" + a.name + "' has " + std::to_string(a.width) +
                                " values per point; the most are " + std::to_string(kWidest));
        }
        ZipEntry entry;
        entry.name = name + ".npy";
        if (name != a.name) {
            notes.push_back(note_of_name(a.name, name));
            if (!a.name.empty() && a.name.size() <= kLongestName) {
                entry.comment = std::string(kCommentStart) + a.name;
            }
        }
        heads.push_back(npy_header(a, cloud.count));
        const std::int64_t bytes =
            (a.single ? 1 : cloud.count) * static_cast<std::int64_t>(a.bytes());
        entry.size = entry.packed = std::ssize(heads.back()) + bytes;
        entry.header = position;
        entry.crc = crc32_of(0, heads.back().data(), heads.back().size());
        entry.data = position + std::ssize(zip_local_header(entry));
        offsets.push_back(entry.data + std::ssize(heads.back()));
        position = entry.data + entry.size;
        entries.push_back(entry);
    }
    std::vector<unsigned char> block;
    const auto copy = [&](std::size_t i, std::int64_t first, std::int64_t n) {
        const std::size_t size = cloud.attributes[i].bytes();
        block.resize(static_cast<std::size_t>(n) * size);
        cloud.read(i, first, n, block.data());
        entries[i].crc = crc32_of(entries[i].crc, block.data(), block.size());
        out.write_at(offsets[i] + first * static_cast<std::int64_t>(size), block.data(),
                     block.size());
    };
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (!cloud.attributes[i].single) copy(i, first, n);
        }
        if (options.progress) options.progress(first + n, cloud.count);
    });
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (cloud.attributes[i].single) copy(i, 0, 1);
        const std::string head = zip_local_header(entries[i]) + heads[i];
        out.write_at(entries[i].header, head.data(), head.size());
    }
    const std::string directory = zip_directory(entries, position);
    out.write_at(position, directory.data(), directory.size());
}

bool is_zip(std::string_view start) {
    return start.starts_with("PK\x03\x04") || start.starts_with("PK\x05\x06");
}

constexpr std::string_view kExtensions[] = {"npz"};

} // namespace

const FormatTraits kNpzFormat{.format = Format::npz,
                              .name = "npz",
                              .extensions = kExtensions,
                              .recognizes = is_zip,
                              .open = open_npz,
                              .write = write_npz,
                              .widths = {},
                              .encodings = {}};

} // namespace vx::cache
