// NumPy archives: a zip file with an array per attribute. One value per point: shape (N,) or
// (N, width); one value for all: shape () or (1, width).
#include "cache/formats/format_traits.h"
#include "cache/formats/zip.h"

#include <Imath/half.h>
#include <zlib.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace vx::cache {

namespace {

constexpr std::int64_t kWidest = 4096;

struct NpyArray {
    ZipEntry entry;
    std::unique_ptr<Spool> unpacked; // of a deflated entry
    std::int64_t data = 0;           // offset of the values within the entry
    char kind = 'f';                 // i, u, f, b
    int size = 8;
    bool big = false;
    bool fortran = false;
    std::vector<std::int64_t> shape;

    std::int64_t rows() const { return shape.empty() ? 1 : shape[0]; }
};

Type type_of_array(const NpyArray& a) {
    if (a.kind == 'f') return a.size == 8 ? Type::float64 : Type::float32;
    const bool small = a.size < 4 || (a.size == 4 && a.kind != 'u');
    return small ? Type::int32 : Type::int64;
}

float half_to_float(std::uint16_t bits) {
    const Imath::half h(Imath::half::FromBits, bits);
    // The sign and the payload of a not-a-number have no meaning.
    return h.isNan() ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(h);
}

template <typename T>
T raw(const std::byte* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// One stored value, already in the machine's byte order, into the model's type.
void put_value(const NpyArray& a, const std::byte* in, std::byte* out) {
    const auto put = [out](auto value) { std::memcpy(out, &value, sizeof value); };
    if (a.kind == 'f') {
        if (a.size == 2) return put(half_to_float(raw<std::uint16_t>(in)));
        std::memcpy(out, in, static_cast<std::size_t>(a.size));
        return;
    }
    const bool is_signed = a.kind == 'i';
    switch (a.size) {
    case 1:
        return put(is_signed ? std::int32_t{raw<std::int8_t>(in)}
                             : std::int32_t{raw<std::uint8_t>(in)});
    case 2:
        return put(is_signed ? std::int32_t{raw<std::int16_t>(in)}
                             : std::int32_t{raw<std::uint16_t>(in)});
    case 4:
        if (is_signed) return put(raw<std::int32_t>(in));
        return put(std::int64_t{raw<std::uint32_t>(in)});
    default:
        return put(raw<std::int64_t>(in));
    }
}

class NpzCloud final : public Cloud {
  public:
    NpzCloud(FilePtr file, std::int64_t memory) : m_file(std::move(file)), m_budget(memory) {}

    void add_entries(Findings& findings);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;
    std::int64_t byte_offset(std::size_t attribute, std::int64_t point) const override {
        const NpyArray& a = m_arrays[attribute];
        if (a.entry.method != 0 || a.fortran) return -1;
        return a.entry.data + a.data +
               (attributes[attribute].single ? 0 : point) * attributes[attribute].width * a.size;
    }
    std::vector<std::pair<std::int64_t, std::string>> verify() override;

  private:
    void unpack(NpyArray& array);
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
        crc = static_cast<std::uint32_t>(crc32(crc, out.data(), static_cast<unsigned>(got)));
        array.unpacked->append(out.data(), got);
    }
    if (status != Z_STREAM_END || array.unpacked->size() != entry.size) {
        fail(array, "its packed bytes are damaged");
    }
    if (crc != entry.crc) fail(array, "its check sum is wrong");
}

// The text behind a key of the header's dictionary.
std::string_view value_of(std::string_view header, std::string_view key) {
    const std::size_t at = header.find(key);
    if (at == std::string_view::npos) return {};
    const std::size_t colon = header.find(':', at + key.size());
    if (colon == std::string_view::npos) return {};
    return header.substr(std::min(header.find_first_not_of(' ', colon + 1), header.size()));
}

bool NpzCloud::parse_header(NpyArray& array, Findings& findings) {
    const std::int64_t size = array.entry.size;
    std::array<unsigned char, 12> start{};
    if (size < 10) fail(array, "is too short for an array");
    read_bytes(array, 0, start.data(), static_cast<std::size_t>(std::min<std::int64_t>(size, 12)));
    if (std::memcmp(start.data(), "\x93NUMPY", 6) != 0) fail(array, "is not an array");
    const bool is_long = start[6] >= 2;
    const std::int64_t prefix = is_long ? 12 : 10;
    std::int64_t length = start[8] | start[9] << 8;
    if (is_long) length |= std::int64_t{start[10]} << 16 | std::int64_t{start[11]} << 24;
    if (length > size - prefix || length > (1 << 20)) fail(array, "its header is damaged");
    std::string header(static_cast<std::size_t>(length), '\0');
    read_bytes(array, prefix, header.data(), header.size());
    array.data = prefix + length;

    const std::string_view descr = value_of(header, "'descr'");
    const std::string_view order = value_of(header, "'fortran_order'");
    const std::string_view shape = value_of(header, "'shape'");
    if (descr.size() < 5 || order.empty() || shape.empty() || shape[0] != '(') {
        fail(array, "its header is damaged");
    }
    array.fortran = order.starts_with("True");
    const std::string_view word = descr.substr(1, descr.find_first_of("'\"", 1) - 1);
    constexpr std::string_view kNown[] = {"b1", "i1", "u1", "i2", "u2", "i4",
                                          "u4", "i8", "u8", "f2", "f4", "f8"};
    if (descr[0] != '\'' || word.size() != 3 ||
        std::find(std::begin(kNown), std::end(kNown), word.substr(1)) == std::end(kNown)) {
        findings.push_back({Severity::warning, array.entry.data,
                            "'" + array.entry.name + "' has values of the type " +
                                std::string(descr.substr(0, descr.find(','))).substr(0, 60) +
                                " and is left out"});
        return false;
    }
    array.big = word[0] == '>';
    array.kind = word[1];
    array.size = word[2] - '0';
    std::int64_t total = array.size;
    const char* at = shape.data() + 1;
    const char* const end = shape.data() + std::min(shape.find(')'), shape.size());
    while (at < end) {
        while (at < end && (*at == ' ' || *at == ','))
            ++at;
        if (at == end) break;
        std::int64_t extent = 0;
        const auto [next, error] = std::from_chars(at, end, extent);
        if (error != std::errc{} || extent < 0 || next == at) fail(array, "its shape is damaged");
        at = next;
        array.shape.push_back(extent);
        if (extent > 0 && total > std::numeric_limits<std::int64_t>::max() / extent) {
            fail(array, "its shape is larger than any file");
        }
        total *= extent;
    }
    if (total > size - array.data) {
        fail(array, "its shape wants " + std::to_string(total) + " bytes, it has " +
                        std::to_string(size - array.data));
    }
    if (array.shape.size() > 2 ||
        (array.shape.size() == 2 && (array.shape[1] < 1 || array.shape[1] > kWidest))) {
        findings.push_back({Severity::warning, array.entry.data,
                            "'" + array.entry.name + "' is no list of points and is left out"});
        return false;
    }
    return true;
}

void NpzCloud::add_entries(Findings& findings) {
    for (const ZipEntry& entry : read_zip(*m_file)) {
        if (!entry.name.ends_with(".npy")) {
            findings.push_back(
                {Severity::note, entry.header, "'" + entry.name + "' is passed over"});
            continue;
        }
        NpyArray array;
        array.entry = entry;
        if (entry.method == 8) {
            unpack(array);
        } else if (entry.method != 0) {
            fail(array, "is packed with method " + std::to_string(entry.method));
        }
        if (!parse_header(array, findings)) continue;
        Attribute a;
        a.name = entry.name.substr(0, entry.name.size() - 4);
        a.type = type_of_array(array);
        a.width = array.shape.size() == 2 ? static_cast<int>(array.shape[1]) : 1;
        if (find(a.name) >= 0) fail(array, "is there twice");
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
        if (!a.shape.empty()) count = std::max(count, a.rows());
    }
    if (position >= 0) {
        const NpyArray& a = m_arrays[static_cast<std::size_t>(position)];
        if (!a.shape.empty() && a.rows() != 1) count = a.rows();
    }
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        const NpyArray& a = m_arrays[i];
        attributes[i].single = a.shape.empty() || (a.rows() == 1 && count != 1);
        if (!attributes[i].single && a.rows() != count) {
            fail(a,
                 "has " + std::to_string(a.rows()) + " rows, the cloud " + std::to_string(count));
        }
    }
}

void NpzCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    const NpyArray& a = m_arrays[attribute];
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
        read_bytes(a, a.data + start * a.size, m_raw.data(), m_raw.size());
        for (std::size_t i = 0; a.big && i < run; ++i)
            std::reverse(m_raw.data() + i * size, m_raw.data() + (i + 1) * size);
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
            if (raw<std::int64_t>(static_cast<std::byte*>(out) + i * 8) < 0) {
                fail(a, "a value beyond 9223372036854775807");
            }
        }
    }
}

std::vector<std::pair<std::int64_t, std::string>> NpzCloud::verify() {
    std::vector<std::pair<std::int64_t, std::string>> damage;
    std::vector<unsigned char> block(1 << 18);
    for (const NpyArray& a : m_arrays) {
        if (a.unpacked) continue; // checked while it was unpacked
        std::uint32_t crc = 0;
        for (std::int64_t at = 0; at < a.entry.size; at += std::ssize(block)) {
            const auto n = static_cast<std::size_t>(
                std::min<std::int64_t>(std::ssize(block), a.entry.size - at));
            m_file->read(a.entry.data + at, block.data(), n);
            crc = static_cast<std::uint32_t>(crc32(crc, block.data(), static_cast<unsigned>(n)));
        }
        if (crc != a.entry.crc) {
            damage.emplace_back(a.entry.data, "'" + a.entry.name + "': its check sum is wrong");
        }
    }
    return damage;
}

std::string npy_header(const Attribute& a, std::int64_t count) {
    constexpr std::string_view kWords[] = {"<i4", "<i8", "<f4", "<f8"};
    std::string shape;
    if (a.single) {
        shape = a.width == 1 ? "()" : "(1, " + std::to_string(a.width) + ")";
    } else {
        shape = "(" + std::to_string(count) +
                (a.width == 1 ? ",)" : ", " + std::to_string(a.width) + ")");
    }
    std::string text = "{'descr': '" + std::string(kWords[static_cast<std::size_t>(a.type)]) +
                       "', 'fortran_order': False, 'shape': " + shape + ", }";
    text.resize((10 + text.size() + 1 + 63) / 64 * 64 - 11, ' ');
    text += '\n';
    std::string out = "\x93NUMPY\x01";
    out += '\0';
    out += static_cast<char>(text.size() & 0xff);
    out += static_cast<char>(text.size() >> 8);
    return out + text;
}

// File names within the archive.
std::string safe(const std::string& name, Notes& notes) {
    std::string out = name.empty() ? "unnamed" : name;
    for (char& c : out) {
        if (static_cast<unsigned char>(c) < ' ' || c == '/' || c == '\\') c = '_';
    }
    if (out.size() > 1024) out.resize(1024);
    if (out != name) notes.push_back("'" + name + "': is called '" + out + "' in the file");
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
    for (const Attribute& a : cloud.attributes) {
        ZipEntry entry;
        entry.name = safe(a.name, notes) + ".npy";
        heads.push_back(npy_header(a, cloud.count));
        const std::int64_t bytes =
            (a.single ? 1 : cloud.count) * static_cast<std::int64_t>(a.bytes());
        entry.size = entry.packed = std::ssize(heads.back()) + bytes;
        entry.header = position;
        entry.crc = static_cast<std::uint32_t>(
            crc32(0, reinterpret_cast<const unsigned char*>(heads.back().data()),
                  static_cast<unsigned>(heads.back().size())));
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
        entries[i].crc =
            static_cast<std::uint32_t>(crc32_z(entries[i].crc, block.data(), block.size()));
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
