#include "cache/cloud/bytes.h"
#include "cache/formats/byte_color.h"
#include "cache/formats/columns.h"
#include "cache/formats/integers.h"
#include "cache/formats/names.h"
#include "cache/formats/ply.h"
#include "cache/formats/text.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace vx::cache {

namespace {

constexpr std::int64_t kRowsAtOnce = 16384; // rows per read
constexpr std::size_t kRowsOfTile = 128;    // filled column by column within the L1 cache

// Names in the header must not contain blanks.
std::string safe(const std::string& name) {
    std::string out = name.empty() ? "unnamed" : name.substr(0, kLongestName);
    for (char& c : out) {
        if (static_cast<unsigned char>(c) <= ' ' || c == '\x7f') c = '_';
    }
    return out;
}

// The names of the columns; a comment for each attribute that read_ply() is to rename.
ColumnNames column_names(const Cloud& cloud, Notes& notes, std::string& comments) {
    std::vector<std::string> wanted;
    for (const Attribute& a : cloud.attributes)
        wanted.push_back(safe(a.name));
    ColumnNames names = name_columns(cloud.attributes, wanted, true);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const std::string& name = cloud.attributes[i].name;
        const std::string& in_file = names.attributes[i];
        if (name == in_file) continue;
        notes.push_back(note_of_name(name, in_file));
        if (name.empty() || name.size() > kLongestName) continue;
        comments += std::string(kPlyNameComment) + in_file + " " + percent_encoded(name) + "\n";
    }
    return names;
}

// The attribute that is written as bytes, too.
std::optional<std::size_t> byte_color_attribute(const Cloud& cloud, const WriteOptions& options) {
    const int at = cloud.find("rgbPP");
    if (options.byte_color == ByteColor::none || at < 0) return std::nullopt;
    const Attribute& a = cloud.attributes[static_cast<std::size_t>(at)];
    if (a.single || a.width != 3) return std::nullopt;
    return static_cast<std::size_t>(at);
}

std::string_view ply_name(Type type) {
    switch (type) {
    case Type::int32:
        return "int";
    case Type::float32:
        return "float";
    default:
        return "double";
    }
}

// One attribute and its columns in the rows.
struct PlyColumn {
    PlyColumn(Cloud& cloud, std::size_t index, Type to, ByteColor as_bytes = ByteColor::none)
        : source(cloud, index, to),
          width(static_cast<std::size_t>(cloud.attributes[index].width)),
          type(to),
          curve(as_bytes),
          bytes(as_bytes != ByteColor::none) {}
    std::size_t size() const { return bytes ? 1 : type_size(type); }

    AttributeReader source;
    std::size_t width;
    Type type;
    ByteColor curve;
    bool bytes;
    const std::byte* values = nullptr;
    std::vector<std::byte> swapped;
};

std::size_t row_bytes(const std::vector<PlyColumn*>& columns) {
    std::size_t bytes = 0;
    for (const PlyColumn* c : columns)
        bytes += c->width * c->size();
    return bytes;
}

void put_binary(std::vector<PlyColumn*>& columns, std::size_t points, bool big, char* rows) {
    for (PlyColumn* c : columns) {
        if (!big || c->bytes) continue;
        const std::size_t values = points * c->width;
        c->swapped.assign(c->values, c->values + values * c->size());
        swap_words(c->swapped.data(), values, c->size());
        c->values = c->swapped.data();
    }
    const std::size_t stride = row_bytes(columns);
    for (std::size_t first = 0; first < points; first += kRowsOfTile) {
        const std::size_t n = std::min(kRowsOfTile, points - first);
        char* out = rows + first * stride;
        for (const PlyColumn* c : columns) {
            const std::size_t item = c->width * c->size();
            if (c->bytes) {
                const std::byte* source = c->values + first * c->width * 8;
                for (std::size_t i = 0; i < n * c->width; ++i) {
                    double value = 0;
                    std::memcpy(&value, source + i * 8, 8);
                    out[i / c->width * stride + i % c->width] =
                        static_cast<char>(color_byte(value, c->curve));
                }
            } else {
                scatter(c->values + first * item, item, out, stride, n);
            }
            out += item;
        }
    }
}

void put_text(std::vector<PlyColumn*>& columns, std::size_t points, std::string& text) {
    text.clear();
    for (std::size_t i = 0; i < points; ++i) {
        bool first = true;
        for (const PlyColumn* c : columns) {
            for (std::size_t k = 0; k < c->width; ++k) {
                if (!first) text += ' ';
                first = false;
                if (c->bytes) {
                    double value = 0;
                    std::memcpy(&value, c->values + (i * c->width + k) * 8, 8);
                    append_number(text, static_cast<int>(color_byte(value, c->curve)));
                } else {
                    append_value(text, c->type, c->values, i * c->width + k);
                }
            }
        }
        text += '\n';
    }
}

} // namespace

void write_ply(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    if (count_columns(cloud.attributes) > kMostColumns) {
        throw FileError(out.name(), -1,
                        "a header of " + std::to_string(count_columns(cloud.attributes)) +
                            " properties; the most are " + std::to_string(kMostColumns));
    }
    std::string comments;
    const ColumnNames names = column_names(cloud, notes, comments);
    std::vector<PlyColumn> columns;
    columns.reserve(cloud.attributes.size() + 1);
    std::vector<PlyColumn*> rows;
    std::vector<PlyColumn*> shared;
    std::string vertex;
    std::string element;
    const std::optional<std::size_t> color = byte_color_attribute(cloud, options);
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        const Type full = a.type == Type::int64 ? Type::float64 : a.type;
        const Type type = options.full_precision ? full : narrow_type(cloud, i);
        columns.emplace_back(cloud, i, type);
        (a.single ? shared : rows).push_back(&columns.back());
        std::vector<std::string> own = names.columns[i];
        // The well-known names are those of the bytes then.
        for (std::size_t k = 0; i == color && k < 3; ++k)
            own[k] = a.name + component_suffix(3, static_cast<int>(k));
        for (const std::string& name : own)
            (a.single ? element : vertex) +=
                "property " + std::string(ply_name(type)) + " " + name + "\n";
    }
    if (color) {
        columns.emplace_back(cloud, *color, Type::float64, options.byte_color);
        rows.push_back(&columns.back());
        for (const std::string& name : names.columns[*color])
            vertex += "property uchar " + name + "\n";
        comments += std::string(kPlyByteComment) + "rgbPP, cut to 0 to 1, " +
                    (options.byte_color == ByteColor::srgb ? "sRGB" : "linear") + "\n";
    }
    const bool ascii = options.encoding == "ascii";
    const bool big = options.encoding == "big";
    std::string header = "ply\nformat ";
    header += ascii ? "ascii" : big ? "binary_big_endian" : "binary_little_endian";
    header += " 1.0\ncomment written by vx_cache\n" + comments + "element vertex " +
              std::to_string(cloud.count) + "\n" + vertex;
    if (!shared.empty()) header += "element cloud 1\n" + element;
    header += "end_header\n";
    out.write(header);
    if (rows.empty() && cloud.count > 0) {
        throw FileError(out.name(), -1, "no attribute has a value per point");
    }
    std::string text;
    const auto put = [&](std::vector<PlyColumn*>& some, std::int64_t first, std::int64_t n) {
        for (PlyColumn* c : some)
            c->values = c->source.read(first, n);
        if (ascii) {
            put_text(some, static_cast<std::size_t>(n), text);
            out.write(text);
        } else {
            const auto points = static_cast<std::size_t>(n);
            put_binary(some, points, big, out.extend(points * row_bytes(some)));
        }
    };
    for_blocks(cloud.count, [&](std::int64_t begin, std::int64_t count) {
        for (std::int64_t at = begin; at < begin + count; at += kRowsAtOnce)
            put(rows, at, std::min(kRowsAtOnce, begin + count - at));
        if (options.progress) options.progress(begin + count, cloud.count);
    });
    if (!shared.empty()) put(shared, 0, 1);
    for (const PlyColumn& c : columns)
        note_rounding(c.source, notes);
}

} // namespace vx::cache
