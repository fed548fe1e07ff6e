#include "cache/formats/zip.h"

#include "cache/cloud/bytes.h"
#include "cache/cloud/error.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace vx::cache {

namespace {

constexpr std::uint32_t kFull32 = 0xffffffffu;
constexpr std::size_t kEndBytes = 22;
constexpr std::int64_t kLargestDirectory = std::int64_t{64} << 20;

std::string read_string(const InputFile& file, std::int64_t at, std::int64_t bytes) {
    std::string text(static_cast<std::size_t>(bytes), '\0');
    file.read(at, text.data(), text.size());
    return text;
}

struct Directory {
    std::int64_t end_record = 0;
    std::uint64_t count = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0;
};

Directory find_directory(const InputFile& file) {
    const std::int64_t tail_bytes = std::min<std::int64_t>(file.size(), kEndBytes + 65535);
    const std::string tail = read_string(file, file.size() - tail_bytes, tail_bytes);
    const std::size_t at = tail.rfind("PK\x05\x06");
    if (at == std::string::npos || at + kEndBytes > tail.size()) {
        throw FileError(file.name(), file.size(), "the archive's directory is missing at its end");
    }
    Directory d;
    d.end_record = file.size() - tail_bytes + static_cast<std::int64_t>(at);
    d.count = little_endian_at(tail, at + 10, 2);
    d.size = little_endian_at(tail, at + 12, 4);
    d.offset = little_endian_at(tail, at + 16, 4);
    if (d.count == 0xffff || d.size == kFull32 || d.offset == kFull32) {
        if (at < 20 || tail.compare(at - 20, 4, "PK\x06\x07") != 0) return d;
        const std::uint64_t record = little_endian_at(tail, at - 12, 8);
        if (record > static_cast<std::uint64_t>(file.size() - 56)) {
            throw FileError(file.name(), d.end_record - 12, "the directory is outside the file");
        }
        const std::string large = read_string(file, static_cast<std::int64_t>(record), 56);
        d.count = little_endian_at(large, 32, 8);
        d.size = little_endian_at(large, 40, 8);
        d.offset = little_endian_at(large, 48, 8);
    }
    return d;
}

// Reads the 64-bit values of the extra field, which are present only for fields that are all ones.
void widen(std::string_view extra, std::uint64_t& size, std::uint64_t& packed,
           std::uint64_t& header) {
    for (std::size_t at = 0; at + 4 <= extra.size();) {
        const std::uint64_t id = little_endian_at(extra, at, 2);
        const std::uint64_t bytes = little_endian_at(extra, at + 2, 2);
        std::size_t value = at + 4;
        if (id == 1) {
            for (std::uint64_t* field : {&size, &packed, &header}) {
                if (*field != kFull32) continue;
                *field = little_endian_at(extra, value, 8);
                value += 8;
            }
            return;
        }
        at = value + bytes;
    }
}

ZipEntry read_entry(const InputFile& file, std::string_view directory, std::size_t& at,
                    std::int64_t base) {
    const auto here = base + static_cast<std::int64_t>(at);
    if (directory.size() - at < 46 || directory.substr(at, 4) != "PK\x01\x02") {
        throw FileError(file.name(), here, "the archive's directory is damaged");
    }
    const std::size_t name = little_endian_at(directory, at + 28, 2);
    const std::size_t extra = little_endian_at(directory, at + 30, 2);
    const std::size_t comment = little_endian_at(directory, at + 32, 2);
    if (directory.size() - at < 46 + name + extra + comment) {
        throw FileError(file.name(), here, "the archive's directory is damaged");
    }
    ZipEntry entry;
    entry.method = static_cast<int>(little_endian_at(directory, at + 10, 2));
    entry.crc = static_cast<std::uint32_t>(little_endian_at(directory, at + 16, 4));
    std::uint64_t packed = little_endian_at(directory, at + 20, 4);
    std::uint64_t size = little_endian_at(directory, at + 24, 4);
    std::uint64_t header = little_endian_at(directory, at + 42, 4);
    entry.name = directory.substr(at + 46, name);
    entry.comment = directory.substr(at + 46 + name + extra, comment);
    widen(directory.substr(at + 46 + name, extra), size, packed, header);
    at += 46 + name + extra + comment;

    const auto whole = static_cast<std::uint64_t>(file.size());
    if (header > whole || whole - header < 30) {
        throw FileError(file.name(), here, "'" + entry.name + "' is outside the file");
    }
    entry.header = static_cast<std::int64_t>(header);
    const std::string local = read_string(file, entry.header, 30);
    if (!local.starts_with("PK\x03\x04")) {
        throw FileError(file.name(), entry.header, "'" + entry.name + "' has no header here");
    }
    const std::uint64_t data =
        header + 30 + little_endian_at(local, 26, 2) + little_endian_at(local, 28, 2);
    if (data > whole || packed > whole - data) {
        throw FileError(file.name(), here,
                        "'" + entry.name + "' has " + std::to_string(packed) +
                            " bytes by the directory, which the file cannot hold");
    }
    entry.data = static_cast<std::int64_t>(data);
    entry.packed = static_cast<std::int64_t>(packed);
    // Deflate compresses by a factor of at most about a thousand.
    const bool possible = entry.method == 0 ? size == packed : size / 1040 <= packed;
    if (!possible) {
        throw FileError(file.name(), here,
                        "'" + entry.name + "' claims " + std::to_string(size) + " bytes from " +
                            std::to_string(packed));
    }
    entry.size = static_cast<std::int64_t>(size);
    return entry;
}

} // namespace

std::vector<ZipEntry> read_zip(const InputFile& file) {
    const Directory d = find_directory(file);
    if (d.offset > static_cast<std::uint64_t>(d.end_record) ||
        d.size > static_cast<std::uint64_t>(d.end_record) - d.offset ||
        d.size > static_cast<std::uint64_t>(kLargestDirectory)) {
        throw FileError(file.name(), d.end_record, "the directory is outside the file");
    }
    const std::string directory =
        read_string(file, static_cast<std::int64_t>(d.offset), static_cast<std::int64_t>(d.size));
    std::vector<ZipEntry> entries;
    std::size_t at = 0;
    for (std::uint64_t i = 0; i < d.count; ++i)
        entries.push_back(read_entry(file, directory, at, static_cast<std::int64_t>(d.offset)));
    return entries;
}

std::string zip_local_header(const ZipEntry& entry) {
    constexpr std::size_t kFixedBytes = 30;
    constexpr std::size_t kSizesBytes = 20;    // the extra field with the sizes
    constexpr std::size_t kPaddingBytes = 6;   // the extra field of the padding, at least
    constexpr std::size_t kPaddingId = 0xd935; // registered for the alignment of data
    const std::size_t bytes =
        static_cast<std::size_t>(entry.header) + kFixedBytes + entry.name.size() + kSizesBytes;
    const std::size_t padding =
        kPaddingBytes + (kZipAlignment - (bytes + kPaddingBytes) % kZipAlignment) % kZipAlignment;
    std::string out = "PK\x03\x04";
    append_little_endian(out, 45, 2); // version needed: 64-bit sizes
    append_little_endian(out, 0, 2);  // flags
    append_little_endian(out, 0, 2);  // stored
    append_little_endian(out, 0, 2);  // time
    append_little_endian(out, 0x0021,
                         2); // date: 1980-01-01, so that equal clouds give equal files
    append_little_endian(out, entry.crc, 4);
    append_little_endian(out, kFull32, 4);
    append_little_endian(out, kFull32, 4);
    append_little_endian(out, entry.name.size(), 2);
    append_little_endian(out, kSizesBytes + padding, 2);
    out += entry.name;
    append_little_endian(out, 1, 2);
    append_little_endian(out, 16, 2);
    append_little_endian(out, static_cast<std::uint64_t>(entry.size), 8);
    append_little_endian(out, static_cast<std::uint64_t>(entry.size), 8);
    append_little_endian(out, kPaddingId, 2);
    append_little_endian(out, padding - 4, 2);
    append_little_endian(out, kZipAlignment, 2);
    out.append(padding - kPaddingBytes, '\0');
    return out;
}

std::string zip_directory(const std::vector<ZipEntry>& entries, std::int64_t offset) {
    std::string out;
    for (const ZipEntry& entry : entries) {
        const auto size = static_cast<std::uint64_t>(entry.size);
        const auto header = static_cast<std::uint64_t>(entry.header);
        const bool large = size >= kFull32;
        const bool far = header >= kFull32;
        std::string extra;
        if (large || far) {
            append_little_endian(extra, 1, 2);
            append_little_endian(extra, (large ? 16u : 0u) + (far ? 8u : 0u), 2);
            if (large) {
                append_little_endian(extra, size, 8);
                append_little_endian(extra, size, 8);
            }
            if (far) append_little_endian(extra, header, 8);
        }
        out += "PK\x01\x02";
        append_little_endian(out, 45, 2);
        append_little_endian(out, 45, 2);
        append_little_endian(out, 0, 2);
        append_little_endian(out, 0, 2);
        append_little_endian(out, 0, 2);
        append_little_endian(out, 0x0021, 2);
        append_little_endian(out, entry.crc, 4);
        append_little_endian(out, large ? kFull32 : size, 4);
        append_little_endian(out, large ? kFull32 : size, 4);
        append_little_endian(out, entry.name.size(), 2);
        append_little_endian(out, extra.size(), 2);
        append_little_endian(out, entry.comment.size(), 2);
        append_little_endian(out, 0, 2);
        append_little_endian(out, 0, 2);
        append_little_endian(out, 0, 4);
        append_little_endian(out, far ? kFull32 : header, 4);
        out += entry.name;
        out += extra;
        out += entry.comment;
    }
    const std::uint64_t size = out.size();
    const auto start = static_cast<std::uint64_t>(offset);
    const bool large = start >= kFull32 || entries.size() >= 0xffff;
    if (large) {
        const std::uint64_t record = start + size;
        out += "PK\x06\x06";
        append_little_endian(out, 44, 8);
        append_little_endian(out, 45, 2);
        append_little_endian(out, 45, 2);
        append_little_endian(out, 0, 4);
        append_little_endian(out, 0, 4);
        append_little_endian(out, entries.size(), 8);
        append_little_endian(out, entries.size(), 8);
        append_little_endian(out, size, 8);
        append_little_endian(out, start, 8);
        out += "PK\x06\x07";
        append_little_endian(out, 0, 4);
        append_little_endian(out, record, 8);
        append_little_endian(out, 1, 4);
    }
    out += "PK\x05\x06";
    append_little_endian(out, 0, 2);
    append_little_endian(out, 0, 2);
    append_little_endian(out, large ? 0xffff : entries.size(), 2);
    append_little_endian(out, large ? 0xffff : entries.size(), 2);
    append_little_endian(out, size, 4);
    append_little_endian(out, large ? kFull32 : start, 4);
    append_little_endian(out, 0, 2);
    return out;
}

} // namespace vx::cache
