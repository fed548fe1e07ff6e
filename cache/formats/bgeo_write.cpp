#include "cache/cloud/bytes.h"
#include "cache/formats/bgeo.h"
#include "cache/formats/integers.h"
#include "cache/formats/names.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>

namespace vx::cache {

namespace {

constexpr std::size_t kWord = 4;

const BgeoName* known_name(const Attribute& a) {
    for (const BgeoName& known : kBgeoNames) {
        if (known.attribute == a.name && known.width == a.width) return &known;
    }
    return nullptr;
}

// An identifier.
std::string safe(const std::string& name) {
    std::string out = name.empty() ? "unnamed" : name.substr(0, kLongestName);
    for (char& c : out) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') c = '_';
    }
    if (std::isdigit(static_cast<unsigned char>(out[0])) != 0) out.insert(0, "_");
    return out;
}

std::vector<std::string> choose_names(const Cloud& cloud, Notes& notes) {
    NameSet set;
    std::vector<std::string> others;
    for (const std::string_view own : {"P", "Pw", "position"})
        set.insert(std::string(own));
    for (const BgeoName& known : kBgeoNames) {
        set.insert(std::string(known.name));
        set.insert(std::string(known.attribute));
    }
    for (const Attribute& a : cloud.attributes)
        others.push_back(known_name(a) != nullptr ? "" : a.name);
    std::vector<std::string> names = add_names(set, others, safe);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        if (const BgeoName* known = known_name(a); known != nullptr) {
            names[i] = known->name;
        } else if (names[i] != a.name && a.name != "position") {
            notes.push_back(note_of_name(a.name, names[i]));
        }
    }
    return names;
}

// An attribute and its place in the rows of the points.
struct Column {
    AttributeReader source;
    std::size_t offset;
    std::size_t bytes;
    bool single;
};

void append_definition(std::string& out, const Attribute& a, const std::string& name, Type type) {
    append_big_endian(out, name.size(), 2);
    out += name;
    append_big_endian(out, static_cast<std::uint64_t>(a.width), 2);
    const BgeoType code = type == Type::int32                    ? BgeoType::integer
                          : a.name == "normalPP" && a.width == 3 ? BgeoType::vector
                                                                 : BgeoType::real;
    append_big_endian(out, static_cast<std::uint64_t>(code), 4);
    out.append(static_cast<std::size_t>(a.width) * kWord, '\0'); // the default
}

// The values of `n` points, big-endian, at their places in the rows.
void put_column(Column& column, std::int64_t first, std::int64_t n, std::size_t stride,
                std::vector<std::byte>& values, char* rows) {
    const std::byte* source = column.source.read(column.single ? 0 : first, column.single ? 1 : n);
    const auto points = static_cast<std::size_t>(n);
    values.assign(source, source + (column.single ? 1 : points) * column.bytes);
    swap_words(values.data(), values.size() / kWord, kWord);
    if (!column.single) {
        scatter(values.data(), column.bytes, rows + column.offset, stride, points);
        return;
    }
    for (std::size_t i = 0; i < points; ++i)
        std::memcpy(rows + i * stride + column.offset, values.data(), column.bytes);
}

} // namespace

void write_bgeo(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    if (cloud.count > std::numeric_limits<std::int32_t>::max()) {
        throw FileError(out.name(), -1, "a bgeo file counts at most 2147483647 points");
    }
    const std::vector<std::string> names = choose_names(cloud, notes);
    const std::size_t position = need_position(cloud);
    std::vector<Column> columns{{AttributeReader(cloud, position, Type::float32), 0, 3 * kWord,
                                 cloud.attributes[position].single}};
    std::vector<Column> shared;
    std::string definitions;
    std::string shared_definitions;
    std::size_t stride = 4 * kWord;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        if (i == position) continue;
        if (a.width > std::numeric_limits<std::uint16_t>::max()) {
            throw FileError(out.name(), -1,
                            "'" + a.name + "' has " + std::to_string(a.width) +
                                " values per point; the most are 65535");
        }
        const Type type = holds_int32(cloud, i) ? Type::int32 : Type::float32;
        append_definition(a.single ? shared_definitions : definitions, a, names[i], type);
        const std::size_t bytes = static_cast<std::size_t>(a.width) * kWord;
        (a.single ? shared : columns)
            .push_back({AttributeReader(cloud, i, type), stride, bytes, a.single});
        if (!a.single) stride += bytes;
    }
    std::string head = "BgeoV";
    for (const std::size_t number :
         {std::size_t{5}, static_cast<std::size_t>(cloud.count), std::size_t{0}, std::size_t{0},
          std::size_t{0}, columns.size() - 1, std::size_t{0}, std::size_t{0}, shared.size()}) {
        append_big_endian(head, number, 4);
    }
    out.write(head + definitions);
    std::string one;
    append_big_endian(one, std::bit_cast<std::uint32_t>(1.0f), 4);
    std::vector<std::byte> values;
    // Rows may be wide; a part of a block is written at a time.
    const auto part = static_cast<std::int64_t>(std::max<std::size_t>((1 << 20) / stride, 1));
    for_blocks(cloud.count, [&](std::int64_t begin, std::int64_t size) {
        for (std::int64_t first = begin; first < begin + size; first += part) {
            const std::int64_t n = std::min(part, begin + size - first);
            char* const rows = out.extend(static_cast<std::size_t>(n) * stride);
            for (std::int64_t i = 0; i < n; ++i)
                std::memcpy(rows + static_cast<std::size_t>(i) * stride + 3 * kWord, one.data(),
                            kWord);
            for (Column& column : columns)
                put_column(column, first, n, stride, values, rows);
        }
        if (options.progress) options.progress(begin + size, cloud.count);
    });
    out.write(shared_definitions);
    for (Column& column : shared) {
        std::string row(column.bytes, '\0');
        column.offset = 0;
        put_column(column, 0, 1, column.bytes, values, row.data());
        out.write(row);
    }
    out.write(std::string_view("\0\xff", 2)); // no further data
    for (const Column& column : columns)
        note_rounding(column.source, notes);
    for (const Column& column : shared)
        note_rounding(column.source, notes);
}

} // namespace vx::cache
