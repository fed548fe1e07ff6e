#include "maps/checksum.h"
#include "maps/formats.h"
#include "maps/verify.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <tbb/parallel_invoke.h>

namespace vx::maps {

namespace {

static_assert(std::endian::native == std::endian::little,
              "files are written as they are in memory");

constexpr unsigned char kMagic[8] = {'V', 'X', 'M', 'A', 'P', '\r', '\n', 0x1a};
constexpr std::uint32_t kByteOrderMark = 0x01020304u;
constexpr std::uint32_t kSwappedMark = 0x04030201u;

struct Header {
    unsigned char magic[8];
    std::uint32_t byte_order;
    std::uint32_t version;
    std::uint32_t format; // 0 closed, 1 open
    std::uint32_t dimension;
    std::uint64_t elements;
    std::uint64_t file_bytes;
    std::uint64_t head_bytes; // size of header, fields and global values
    std::uint32_t fields;
    std::uint32_t unused; // 0
    std::uint64_t checksum;
};
static_assert(sizeof(Header) == 64 && offsetof(Header, checksum) == 56);

struct FieldHeader {
    std::uint32_t type, length, is_global, name_bytes;
};

std::uint64_t padded(std::uint64_t bytes, std::uint64_t to) {
    return (bytes + to - 1) / to * to;
}

// Header, fields and global values. File size and checksum are still 0.
std::vector<unsigned char> make_head(const Map& map, Map_base::File_format format) {
    const Declaration& declaration = *map.declaration();
    std::vector<unsigned char> head(sizeof(Header));
    const auto add = [&](const void* data, std::size_t bytes) {
        const auto* const from = static_cast<const unsigned char*>(data);
        head.insert(head.end(), from, from + bytes);
        head.resize(padded(head.size(), 4));
    };
    for (const Field& field : declaration.fields) {
        const FieldHeader entry{static_cast<std::uint32_t>(field.type), field.length,
                                field.is_global ? 1u : 0u,
                                static_cast<std::uint32_t>(field.name.size())};
        add(&entry, sizeof entry);
        add(field.name.data(), field.name.size());
    }
    add(map.globals(), declaration.global_words * 4);
    head.resize(padded(head.size(), Sections::kAlignment));
    Header header{};
    std::memcpy(header.magic, kMagic, sizeof kMagic);
    header.byte_order = kByteOrderMark;
    header.version = kFileVersion;
    header.format = static_cast<std::uint32_t>(format);
    header.dimension = declaration.dimension;
    header.elements = map.size();
    header.head_bytes = head.size();
    header.fields = static_cast<std::uint32_t>(declaration.fields.size());
    std::memcpy(head.data(), &header, sizeof header);
    return head;
}

void set_size(std::vector<unsigned char>& head, std::uint64_t data_bytes) {
    const std::uint64_t bytes = head.size() + data_bytes;
    std::memcpy(head.data() + offsetof(Header, file_bytes), &bytes, sizeof bytes);
}

std::uint64_t checksum_of(const MappedFile& file, const Header& header) {
    Header unsigned_header = header;
    unsigned_header.checksum = 0;
    Checksum checksum;
    checksum.add(&unsigned_header, sizeof unsigned_header);
    checksum.add(file.data() + sizeof header, file.size() - sizeof header);
    return checksum.value();
}

Status read_fields(std::span<const unsigned char> head, std::uint32_t count,
                   Declaration& declaration, std::size_t& at) {
    at = sizeof(Header);
    for (std::uint32_t i = 0; i < count; ++i) {
        FieldHeader entry;
        if (head.size() - at < sizeof entry) return Map_status::File_not_a_map;
        std::memcpy(&entry, head.data() + at, sizeof entry);
        at += sizeof entry;
        if (entry.name_bytes > kMaxNameLength || entry.is_global > 1 ||
            entry.type > Map_field_type::String || head.size() - at < padded(entry.name_bytes, 4)) {
            return Map_status::File_not_a_map;
        }
        const std::string_view name(reinterpret_cast<const char*>(head.data() + at),
                                    entry.name_bytes);
        at += padded(entry.name_bytes, 4);
        const Status status =
            declaration.append(name, static_cast<Map_field_type::Type>(entry.type), entry.length,
                               entry.is_global != 0);
        if (status != Map_status::OK || declaration.fields.back().length != entry.length) {
            return Map_status::File_not_a_map;
        }
    }
    return Map_status::OK;
}

// Strings must be terminated.
bool globals_are_sound(const Declaration& declaration, const unsigned char* values) {
    return std::all_of(declaration.fields.begin(), declaration.fields.end(),
                       [&](const Field& field) {
                           return field.type != Map_field_type::String ||
                                  values[field.offset * 4 + field.length] == 0;
                       });
}

Status read_closed(const std::shared_ptr<const MappedFile>& file, const Header& header,
                   Extent extent, Map& map) {
    const auto body = std::make_shared<Body>();
    body->declaration = map.declaration();
    body->shape = shape_of(header.elements);
    if (!lay_out(*body->declaration, body->shape, body->sections) ||
        body->sections.bytes != file->size() - header.head_bytes) {
        return Map_status::File_not_a_map;
    }
    body->base = file->data() + header.head_bytes;
    body->owner = file;
    const bool sound = extent == Extent::whole ? rows_are_inverse(*body) : rows_are_in_range(*body);
    if (!sound) return Map_status::File_not_a_map;
    map.adopt(body);
    return Map_status::OK;
}

Status read_open(std::span<const unsigned char> data, const Header& header, Map& map) {
    const std::uint64_t record_bytes = map.declaration()->record_words * 4;
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(header.elements, record_bytes, &bytes) || bytes > data.size() ||
        padded(bytes, Sections::kAlignment) != data.size()) {
        return Map_status::File_not_a_map;
    }
    for (std::uint64_t i = 0; i < header.elements; ++i) {
        std::memcpy(map.extend(), data.data() + i * record_bytes, record_bytes);
    }
    return map.consolidate(0.6f).get_code();
}

} // namespace

bool is_binary(std::span<const unsigned char> file) {
    return file.size() >= sizeof kMagic && std::equal(kMagic, kMagic + sizeof kMagic, file.begin());
}

Status read_binary(const std::shared_ptr<const MappedFile>& file, Extent extent, Map& map,
                   Map_base::File_format& format) {
    Header header;
    if (file->size() < sizeof header) return Map_status::File_not_a_map;
    std::memcpy(&header, file->data(), sizeof header);
    if (header.byte_order == kSwappedMark) {
        return Map_status::File_version_unsupported;
    }
    if (header.byte_order != kByteOrderMark) return Map_status::File_not_a_map;
    if (header.version != kFileVersion) return Map_status::File_version_unsupported;
    if (header.file_bytes != file->size() || file->size() % Checksum::kBlockBytes != 0 ||
        header.format > 1 || header.dimension < 1 || header.dimension > kMaxDimension ||
        header.elements > kMaxElements || header.head_bytes < sizeof header ||
        header.head_bytes > file->size() || header.head_bytes % Sections::kAlignment != 0 ||
        header.fields > kMaxFields) {
        return Map_status::File_not_a_map;
    }
    format = static_cast<Map_base::File_format>(header.format);
    // Reading an open file reads all of it anyway.
    if (format == Map_base::Open_binary) extent = Extent::whole;
    if (extent == Extent::whole && checksum_of(*file, header) != header.checksum) {
        return Map_status::File_not_a_map;
    }

    const std::span<const unsigned char> all(file->data(), file->size());
    const auto head = all.first(header.head_bytes);
    const auto declaration = std::make_shared<Declaration>(header.dimension);
    std::size_t at = 0;
    const Status status = read_fields(head, header.fields, *declaration, at);
    if (status != Map_status::OK) return status;
    const std::uint64_t global_bytes = declaration->global_words * 4;
    if (head.size() - at < global_bytes || !globals_are_sound(*declaration, head.data() + at)) {
        return Map_status::File_not_a_map;
    }
    map.declare(declaration);
    if (global_bytes > 0) std::memcpy(map.globals(), head.data() + at, global_bytes);
    return format == Map_base::Closed_binary
               ? read_closed(file, header, extent, map)
               : read_open(all.subspan(header.head_bytes), header, map);
}

void write_closed(ReplacedFile& file, const Map& map) {
    const BodyPtr body = map.consolidated(0.6f);
    std::vector<unsigned char> head = make_head(map, Map_base::Closed_binary);
    set_size(head, body->sections.bytes);
    Checksum checksum;
    checksum.add(head.data(), head.size());
    tbb::parallel_invoke([&] { checksum.add(body->base, body->sections.bytes); },
                         [&] {
                             file.write(head.data(), head.size());
                             file.write(body->base, body->sections.bytes);
                         });
    const std::uint64_t value = checksum.value();
    file.write_at(offsetof(Header, checksum), &value, sizeof value);
}

void write_open(ReplacedFile& file, const Map& map) {
    std::vector<unsigned char> head = make_head(map, Map_base::Open_binary);
    const std::uint64_t record_bytes = map.declaration()->record_words * 4;
    const std::uint64_t data_bytes = padded(map.size() * record_bytes, Sections::kAlignment);
    set_size(head, data_bytes);
    Checksum checksum;
    checksum.add(head.data(), head.size());
    file.write(head.data(), head.size());
    std::vector<std::uint32_t> record(map.declaration()->record_words);
    std::vector<unsigned char> block;
    const auto pass_on = [&](std::size_t bytes) {
        checksum.add(block.data(), bytes);
        file.write(block.data(), bytes);
        block.erase(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(bytes));
    };
    for (std::uint32_t i = 0; i < map.size(); ++i) {
        map.copy_record(i, record.data());
        const auto* const from = reinterpret_cast<const unsigned char*>(record.data());
        block.insert(block.end(), from, from + record_bytes);
        constexpr std::size_t kFlushBytes = 65536;
        if (block.size() >= kFlushBytes)
            pass_on(block.size() / Checksum::kBlockBytes * Checksum::kBlockBytes);
    }
    block.resize(padded(block.size(), Sections::kAlignment));
    pass_on(block.size());
    const std::uint64_t value = checksum.value();
    file.write_at(offsetof(Header, checksum), &value, sizeof value);
}

} // namespace vx::maps
