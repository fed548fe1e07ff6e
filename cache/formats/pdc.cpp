// PDC particle caches: a header of 28 bytes and one array after the other, big-endian.
#include "cache/cloud/bytes.h"
#include "cache/formats/columns.h"
#include "cache/formats/format_traits.h"
#include "src/points/pdc_walk.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <unordered_map>

namespace vx::cache {

namespace {

struct CloseFile {
    void operator()(std::FILE* f) const { (void)std::fclose(f); }
};

class PdcCloud final : public Cloud {
  public:
    explicit PdcCloud(FilePtr file) : m_file(std::move(file)) {}

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const Attribute& a = attributes[attribute];
        const auto values = static_cast<std::size_t>(n) * static_cast<std::size_t>(a.width);
        m_file->read(byte_offset(attribute, first), out, values * type_size(a.type));
        swap_words(out, values, type_size(a.type));
    }
    bool reads_in_parallel() const override { return true; }
    std::int64_t byte_offset(std::size_t attribute, std::int64_t point) const override {
        const Attribute& a = attributes[attribute];
        return m_offsets[attribute] + (a.single ? 0 : point) * static_cast<std::int64_t>(a.bytes());
    }
    // As find(), but the time does not depend on the number of attributes.
    std::optional<std::size_t> index_of(const std::string& name) const {
        const auto found = m_index.find(name);
        if (found == m_index.end()) return std::nullopt;
        return found->second;
    }
    void add(const Attribute& attribute, std::int64_t offset) {
        m_index.emplace(attribute.name, attributes.size());
        attributes.push_back(attribute);
        m_offsets.push_back(offset);
    }
    void replace(std::size_t index, const Attribute& attribute, std::int64_t offset) {
        attributes[index] = attribute;
        m_offsets[index] = offset;
    }
    const InputFile& file() const { return *m_file; }

  private:
    FilePtr m_file;
    std::vector<std::int64_t> m_offsets;
    std::unordered_map<std::string, std::size_t> m_index; // of the attributes
};

Attribute attribute_of_code(const std::string& name, std::int32_t code) {
    Attribute a;
    a.name = name;
    a.type = code < 2 ? Type::int32 : Type::float64;
    a.width = code < 4 ? 1 : 3;
    a.single = !IsPerParticleCode(code);
    return a;
}

// Of several records with the same name the shaders use the last one whose type fits the name.
bool fits_name(const Attribute& a) {
    if (a.name == "position" || a.name == "rgbPP" || a.name == "normalPP") return a.width == 3;
    if (a.name == "id" || a.name == "tag") return a.width == 1;
    if (a.name == "opacityPP" || a.name == "radius") {
        return a.width == 1 && !is_integer(a.type);
    }
    return true;
}

[[noreturn]] void fail(const InputFile& file, const CPdcWalk& walk) {
    throw FileError(file.name(), walk.errorOffset, PdcErrorText(walk.error));
}

void check_header(const CPdcWalk& walk, const InputFile& file, Findings& findings) {
    const CPdcHeader& h = walk.header;
    if (std::memcmp(h.magic, "PDC ", 4) != 0) {
        findings.push_back({Severity::error, 0, "the file does not begin with \"PDC \""});
    }
    if (h.formatVersion != 1) {
        findings.push_back({Severity::warning, 4,
                            "format version " + std::to_string(h.formatVersion) + ", not 1"});
    }
    if (h.byteOrder != 1) {
        findings.push_back({Severity::warning, 8,
                            "byte order word " + std::to_string(h.byteOrder) +
                                ", not 1; such files are big-endian all the same"});
    }
    if (h.particleCount < 0) {
        throw FileError(file.name(), 20,
                        "the header counts " + std::to_string(h.particleCount) + " particles");
    }
    if (h.attributeCount < 0) {
        throw FileError(file.name(), 24,
                        "the header counts " + std::to_string(h.attributeCount) + " attributes");
    }
    if (h.attributeCount > (file.size() - 28) / kPdcRecordLeast) {
        throw FileError(file.name(), 24,
                        "the header counts " + std::to_string(h.attributeCount) +
                            " attributes, which the file cannot hold");
    }
}

void add_record(PdcCloud& cloud, const CPdcWalk& walk, Findings& findings) {
    const std::int64_t left = cloud.file().size() - walk.dataOffset;
    if (walk.dataSize > left) {
        throw FileError(cloud.file().name(), walk.dataOffset,
                        "attribute '" + walk.name + "' has " + std::to_string(walk.dataSize) +
                            " bytes of values by the header's count of " +
                            std::to_string(walk.header.particleCount) +
                            " particles, the file has " + std::to_string(left) + " left");
    }
    const Attribute a = attribute_of_code(walk.name, walk.code);
    const std::optional<std::size_t> twin = cloud.index_of(a.name);
    if (!twin) {
        cloud.add(a, walk.dataOffset);
        return;
    }
    const bool later = fits_name(a) || !fits_name(cloud.attributes[*twin]);
    findings.push_back({Severity::warning, walk.dataOffset,
                        "attribute '" + a.name + "' is there twice; the " +
                            (later ? "later" : "earlier") + " one counts"});
    if (later) cloud.replace(*twin, a, walk.dataOffset);
}

// Nothing in a file backs its count of points if it has no array. The conversion of the shaders
// cuts larger counts, too.
void check_unbacked(const Cloud& cloud, const InputFile& file) {
    constexpr std::int64_t kMostUnbacked = std::int64_t{1} << 20;
    const auto& all = cloud.attributes;
    const bool backed = std::any_of(all.begin(), all.end(), [](auto& a) { return !a.single; });
    if (backed || cloud.count <= kMostUnbacked) return;
    throw FileError(file.name(), 20,
                    "the header counts " + std::to_string(cloud.count) +
                        " particles, but no attribute has an array of values");
}

CloudPtr open_pdc(FilePtr file, Findings& findings, const OpenOptions&) {
    const std::unique_ptr<std::FILE, CloseFile> stream(file->stream());
    auto cloud = std::make_unique<PdcCloud>(std::move(file));
    const InputFile& input = cloud->file();
    CPdcWalk walk(stream.get());
    if (!walk.ReadHeader()) fail(input, walk);
    check_header(walk, input, findings);
    cloud->count = walk.header.particleCount;
    std::int64_t end = 28;
    for (std::int32_t i = 0; i < walk.header.attributeCount; ++i) {
        if (!walk.NextRecord()) fail(input, walk);
        const bool known = walk.code >= 0 && walk.code < kPdcTypeCodes;
        if (known) add_record(*cloud, walk, findings);
        if (!walk.SkipData()) fail(input, walk);
        end = walk.dataOffset + walk.lastSkippedSize;
        if (!known) {
            findings.push_back({Severity::error, walk.dataOffset - 4,
                                "attribute '" + walk.name + "' has the unknown type " +
                                    std::to_string(walk.code) + "; it is left out"});
            if (end > input.size()) {
                throw FileError(input.name(), walk.dataOffset,
                                "the file ends inside attribute '" + walk.name + "'");
            }
        }
    }
    if (end < input.size()) {
        findings.push_back(
            {Severity::warning, end,
             std::to_string(input.size() - end) + " bytes after the last attribute"});
    }
    check_unbacked(*cloud, input);
    cloud->details.emplace_back("version", std::to_string(walk.header.formatVersion));
    return cloud;
}

// One record of a file that is written.
struct PdcRecord {
    PdcRecord(Cloud& cloud, std::size_t index, const Attribute& stored_as)
        : stored(stored_as), source(cloud, index, stored_as.type) {}
    // Code of the type in the file: 0 and 1 are integers, 2 and 3 numbers, 4 and 5 vectors; even
    // codes have one value for all points.
    int code() const {
        const int base = stored.type == Type::int32 ? 0 : stored.width == 3 ? 4 : 2;
        return base + (stored.single ? 0 : 1);
    }
    std::size_t values() const { return static_cast<std::size_t>(stored.width); }

    Attribute stored;
    AttributeReader source;
    std::int64_t offset = 0; // of the values in the file
};

// Bakes write the codes 3 and 5 only, and some readers know no others.
Attribute stored_attribute(const Attribute& a, bool keep_types) {
    Attribute stored = a;
    const bool integer = keep_types && a.type == Type::int32 && a.width == 1;
    stored.type = integer ? Type::int32 : Type::float64;
    stored.single = a.single && keep_types;
    return stored;
}

// Writes the values of `points` points, starting with point `first`.
void put_points(PdcRecord& record, std::int64_t first, std::int64_t points, OutputFile& out,
                std::vector<std::byte>& block) {
    const std::size_t size = type_size(record.stored.type);
    const bool repeat = record.source.attribute().single;
    const std::size_t read = (repeat ? 1 : static_cast<std::size_t>(points)) * record.values();
    const std::byte* values = record.source.read(repeat ? 0 : first, repeat ? 1 : points);
    block.assign(values, values + read * size);
    swap_words(block.data(), read, size);
    const std::size_t bytes = static_cast<std::size_t>(points) * record.stored.bytes();
    block.resize(bytes);
    for (std::size_t at = read * size; at < bytes; ++at)
        block[at] = block[at - read * size];
    out.write_at(record.offset + first * static_cast<std::int64_t>(record.stored.bytes()),
                 block.data(), bytes);
}

void write_pdc(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    if (cloud.count > std::numeric_limits<std::int32_t>::max()) {
        throw FileError(out.name(), -1,
                        "a PDC file counts at most 2147483647 points, these are " +
                            std::to_string(cloud.count));
    }
    std::string head = "PDC ";
    const auto put = [&head](std::int64_t value) {
        append_big_endian(head, static_cast<std::uint64_t>(value), 4);
    };
    for (const std::int64_t field : {std::int64_t{1}, std::int64_t{1}, std::int64_t{0},
                                     std::int64_t{0}, cloud.count, std::ssize(cloud.attributes)}) {
        put(field);
    }
    std::int64_t position = 0;
    std::vector<PdcRecord> records;
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        PdcRecord& record =
            records.emplace_back(cloud, i, stored_attribute(a, options.pdc_keep_types));
        if (a.single && !record.stored.single) {
            notes.push_back("'" + a.name + "': one value for all points is written for " +
                            (cloud.count > 0 ? "every point" : "none, since there are no points"));
        }
        put(std::ssize(a.name));
        head += a.name;
        put(record.code());
        out.write_at(position, head.data(), head.size());
        position += std::ssize(head);
        head.clear();
        record.offset = position;
        position += (record.stored.single ? 1 : cloud.count) *
                    static_cast<std::int64_t>(record.stored.bytes());
    }
    if (!head.empty()) out.write_at(0, head.data(), head.size());
    std::vector<std::byte> block;
    for (PdcRecord& record : records) {
        if (record.stored.single) put_points(record, 0, 1, out, block);
    }
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        for (PdcRecord& record : records) {
            if (!record.stored.single) put_points(record, first, n, out, block);
        }
        if (options.progress) options.progress(first + n, cloud.count);
    });
    for (const PdcRecord& record : records)
        note_rounding(record.source, notes);
}

bool is_pdc(std::string_view start) {
    return start.starts_with("PDC ");
}

constexpr std::string_view kExtensions[] = {"pdc"};
constexpr int kWidths[] = {1, 3};

} // namespace

const FormatTraits kPdcFormat{.format = Format::pdc,
                              .name = "pdc",
                              .extensions = kExtensions,
                              .recognizes = is_pdc,
                              .open = open_pdc,
                              .write = write_pdc,
                              .widths = kWidths,
                              .encodings = {}};

} // namespace vx::cache
