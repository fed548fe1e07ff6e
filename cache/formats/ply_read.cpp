// PLY files: the element "vertex" is the cloud; an element "cloud" of one row holds the values that
// all points share. Other elements are skipped.
#include "cache/cloud/bytes.h"
#include "cache/formats/columns.h"
#include "cache/formats/names.h"
#include "cache/formats/ply.h"
#include "cache/formats/ply_header.h"
#include "cache/formats/text.h"

#include <limits>
#include <unordered_map>
#include <unordered_set>

namespace vx::cache {

namespace {

constexpr std::size_t kLongestLine = 1 << 20;

// Copies `count` values that are `stride` bytes apart to an array of the attribute's type.
template <typename Stored, typename To>
void gather(const std::byte* in, std::size_t stride, bool swap, To* out, std::size_t out_stride,
            std::size_t count, double scale) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto value = load<Stored>(in + i * stride, swap);
        if constexpr (std::is_floating_point_v<To>) {
            out[i * out_stride] = scale == 1 ? static_cast<To>(value)
                                             : static_cast<To>(static_cast<double>(value) / scale);
        } else {
            // NOLINTNEXTLINE(bugprone-signed-char-misuse): PLY's char is a number
            out[i * out_stride] = static_cast<To>(value);
        }
    }
}

template <typename To>
void gather(PlyType type, const std::byte* in, std::size_t stride, bool swap, To* out,
            std::size_t out_stride, std::size_t count, double scale) {
    switch (type) {
    case PlyType::int8:
        return gather<std::int8_t>(in, stride, swap, out, out_stride, count, scale);
    case PlyType::uint8:
        return gather<std::uint8_t>(in, stride, swap, out, out_stride, count, scale);
    case PlyType::int16:
        return gather<std::int16_t>(in, stride, swap, out, out_stride, count, scale);
    case PlyType::uint16:
        return gather<std::uint16_t>(in, stride, swap, out, out_stride, count, scale);
    case PlyType::int32:
        return gather<std::int32_t>(in, stride, swap, out, out_stride, count, scale);
    case PlyType::uint32:
        return gather<std::uint32_t>(in, stride, swap, out, out_stride, count, scale);
    case PlyType::float32:
        return gather<float>(in, stride, swap, out, out_stride, count, scale);
    case PlyType::float64:
        return gather<double>(in, stride, swap, out, out_stride, count, scale);
    }
}

// Whether a text is a whole number in the range of an integer type.
bool fits(PlyType type, std::string_view text) {
    const std::optional<std::int64_t> value = parse_int(text);
    const auto bytes = ply_size(type);
    const bool is_signed =
        type == PlyType::int8 || type == PlyType::int16 || type == PlyType::int32;
    const std::int64_t values = std::int64_t{1} << (8 * bytes);
    const std::int64_t least = is_signed ? -values / 2 : 0;
    return value && *value >= least && *value < least + values;
}

// What integer colors are divided by.
double color_scale(PlyType type) {
    return type == PlyType::uint8 ? 255 : type == PlyType::uint16 ? 65535 : 1;
}

// Whether a group is one of the bytes that write_ply() adds to rgbPP.
bool is_color_byte(const PlyElement& element, const Grouped& group) {
    const std::string& name = group.attribute.name;
    return element.properties[group.columns[0]].type == PlyType::uint8 &&
           (name == "red" || name == "green" || name == "blue");
}

// The rows of one element: their place in a binary file, or the parsed values of a text file.
class Rows {
  public:
    const PlyElement* element = nullptr;
    std::int64_t begin = -1;
    std::vector<std::size_t> offsets; // of the properties within a row
    std::vector<GuessedColumn> columns;
};

class PlyCloud final : public Cloud {
  public:
    PlyCloud(FilePtr file, PlyHeader header, std::int64_t memory)
        : m_file(std::move(file)),
          m_header(std::move(header)),
          m_budget(memory),
          m_swap(m_header.encoding == PlyEncoding::big) {}

    void locate(Findings& findings);

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const Field& f = m_fields[attribute];
        with_type(attributes[attribute].type, [&](auto* kind) {
            read_as(f, *f.rows, first, n, static_cast<decltype(kind)>(out));
        });
    }
    std::int64_t byte_offset(std::size_t attribute, std::int64_t point) const override {
        const Field& f = m_fields[attribute];
        if (m_header.encoding == PlyEncoding::ascii) return -1;
        return f.rows->begin +
               (attributes[attribute].single ? 0 : point) * f.rows->element->bytes() +
               static_cast<std::int64_t>(f.rows->offsets[f.columns[0]]);
    }

  private:
    struct Field {
        const Rows* rows;
        std::vector<std::size_t> columns;
        std::vector<double> scales; // divisors of the columns
    };

    template <typename T>
    void read_as(const Field& f, const Rows& rows, std::int64_t first, std::int64_t n, T* out) {
        const auto points = static_cast<std::size_t>(n);
        const std::size_t width = f.columns.size();
        if (m_header.encoding != PlyEncoding::ascii) {
            const std::byte* raw = binary_rows(rows, first, n);
            const auto stride = static_cast<std::size_t>(rows.element->bytes());
            for (std::size_t k = 0; k < width; ++k) {
                const std::size_t c = f.columns[k];
                gather(rows.element->properties[c].type, raw + rows.offsets[c], stride, m_swap,
                       out + k, width, points, f.scales[k]);
            }
            return;
        }
        for (std::size_t k = 0; k < width; ++k) {
            const GuessedColumn& column = rows.columns[f.columns[k]];
            m_raw.resize(points * 8);
            column.read(first, n, m_raw.data());
            const PlyType type = rows.element->properties[f.columns[k]].type;
            with_type(column.type(), [&](auto* kind) {
                using From = std::remove_pointer_t<decltype(kind)>;
                const auto* values = reinterpret_cast<const From*>(m_raw.data());
                for (std::size_t i = 0; i < points; ++i) {
                    // Round to float first, as a reader of 32-bit floats does.
                    const double value = type == PlyType::float32
                                             ? static_cast<double>(static_cast<float>(values[i]))
                                             : static_cast<double>(values[i]);
                    out[i * width + k] = static_cast<T>(value / f.scales[k]);
                }
            });
        }
    }

    const std::byte* binary_rows(const Rows& rows, std::int64_t first, std::int64_t n) {
        if (m_cached != &rows || m_cached_first != first || m_cached_count != n) {
            const std::int64_t stride = rows.element->bytes();
            m_rows.resize(static_cast<std::size_t>(n * stride));
            m_cached = nullptr;
            m_file->read(rows.begin + first * stride, m_rows.data(), m_rows.size());
            m_cached = &rows;
            m_cached_first = first;
            m_cached_count = n;
        }
        return m_rows.data();
    }

    // Returns the offset of the next line that is not empty, or of the end.
    static std::int64_t skip_empty_lines(ByteReader& reader);
    std::int64_t skip_binary(const PlyElement& element, std::int64_t at) const;
    void read_ascii(Rows& rows, ByteReader& reader);
    void add_fields(const Rows& rows, bool single, Findings& findings);
    void parse_comments();
    [[noreturn]] void fail(std::int64_t offset, const std::string& why) const {
        throw FileError(m_file->name(), offset, why);
    }

    FilePtr m_file;
    PlyHeader m_header;
    SpoolBudget m_budget;
    bool m_swap;
    Rows m_vertices;
    Rows m_shared;
    std::vector<Field> m_fields;
    std::unordered_set<std::string> m_names;                // of the attributes
    std::unordered_map<std::string, std::string> m_renamed; // names by those in the file
    bool m_bytes_are_copies = false; // the bytes of red, green and blue are those of rgbPP
    std::vector<std::byte> m_raw;
    const Rows* m_cached = nullptr;
    std::int64_t m_cached_first = 0;
    std::int64_t m_cached_count = 0;
    std::vector<std::byte> m_rows;
};

std::int64_t PlyCloud::skip_binary(const PlyElement& element, std::int64_t at) const {
    if (!element.has_list()) {
        // Rows of zero bytes fit in any file.
        if (element.bytes() > 0 && element.count > (m_file->size() - at) / element.bytes()) {
            fail(element.offset, "the header counts " + std::to_string(element.count) +
                                     " rows of '" + element.name + "', which the file cannot hold");
        }
        return at + element.count * element.bytes();
    }
    for (std::int64_t i = 0; i < element.count; ++i) {
        for (const PlyProperty& p : element.properties) {
            std::int64_t values = 1;
            if (p.list) {
                std::byte raw[8];
                m_file->read(at, raw, ply_size(p.count_type));
                gather(p.count_type, raw, 0, m_swap, &values, 1, 1, 1);
                if (values < 0) fail(at, "a list of " + std::to_string(values) + " values");
                at += static_cast<std::int64_t>(ply_size(p.count_type));
            }
            if (values > (m_file->size() - at) / static_cast<std::int64_t>(ply_size(p.type))) {
                fail(at, "the file ends inside element '" + element.name + "'");
            }
            at += values * static_cast<std::int64_t>(ply_size(p.type));
        }
    }
    return at;
}

void PlyCloud::read_ascii(Rows& rows, ByteReader& reader) {
    const PlyElement& element = *rows.element;
    while (rows.columns.size() < element.properties.size())
        rows.columns.emplace_back(m_budget);
    std::string_view line;
    for (std::int64_t i = 0; i < element.count;) {
        const std::int64_t start = reader.offset();
        if (!reader.line(line, kLongestLine)) {
            fail(start, "the file ends after " + std::to_string(i) + " of " +
                            std::to_string(element.count) + " rows of '" + element.name + "'");
        }
        Words words(line);
        for (std::size_t k = 0; k < element.properties.size(); ++k) {
            const std::string_view word = words.next();
            if (word.empty() && k == 0) break;
            const std::int64_t offset = start + static_cast<std::int64_t>(words.offset());
            if (word.empty()) fail(offset, "a row of '" + element.name + "' lacks values");
            if (!rows.columns[k].append(word)) {
                fail(offset, "'" + std::string(word.substr(0, 40)) + "' is not a number");
            }
            const PlyType type = element.properties[k].type;
            if (is_integer(ply_model_type(type)) && !fits(type, word)) {
                fail(offset, "'" + std::string(word.substr(0, 40)) + "' is not a valid " +
                                 std::string(ply_type_name(type)));
            }
            if (k + 1 == element.properties.size()) {
                if (!words.next().empty()) {
                    fail(start, "a row of '" + element.name + "' has too many values");
                }
                ++i;
            }
        }
    }
}

void PlyCloud::add_fields(const Rows& rows, bool single, Findings& findings) {
    std::vector<std::string> names;
    std::vector<Type> types;
    for (const PlyProperty& p : rows.element->properties) {
        names.push_back(p.name);
        types.push_back(ply_model_type(p.type));
    }
    for (Grouped& g : group_columns(names, types)) {
        if (m_bytes_are_copies && is_color_byte(*rows.element, g)) continue;
        std::vector<double> scales(g.columns.size(), 1.0);
        bool scaled = false;
        for (std::size_t k = 0; k < scales.size() && g.attribute.name == "rgbPP"; ++k) {
            scales[k] = color_scale(rows.element->properties[g.columns[k]].type);
            scaled = scaled || scales[k] != 1;
        }
        if (scaled) {
            if (g.attribute.type != Type::float64) g.attribute.type = Type::float32;
            findings.push_back(
                {Severity::note, -1, "colors are stored as integers and are shown here as 0 to 1"});
        }
        if (!m_names.insert(g.attribute.name).second) {
            findings.push_back({Severity::warning, rows.element->offset,
                                "'" + g.attribute.name + "' is there twice; the first one counts"});
            continue;
        }
        g.attribute.single = single;
        attributes.push_back(g.attribute);
        m_fields.push_back({&rows, g.columns, std::move(scales)});
    }
}

void PlyCloud::parse_comments() {
    for (const std::string& comment : m_header.comments) {
        const std::string line = "comment " + comment;
        if (line.starts_with(kPlyByteComment)) m_bytes_are_copies = true;
        if (line.starts_with(kPlyNameComment)) {
            Words words(std::string_view(line).substr(kPlyNameComment.size()));
            const std::string in_file(words.next());
            const std::optional<std::string> name = percent_decoded(words.next());
            if (name && words.next().empty()) {
                m_renamed.emplace(in_file, *name);
                continue;
            }
        }
        details.emplace_back("comment", comment);
    }
}

std::int64_t PlyCloud::skip_empty_lines(ByteReader& reader) {
    int c = reader.peek();
    while (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
        reader.get();
        c = reader.peek();
    }
    return reader.offset();
}

void PlyCloud::locate(Findings& findings) {
    std::int64_t at = m_header.end;
    ByteReader reader(*m_file, at, m_file->size());
    const bool ascii = m_header.encoding == PlyEncoding::ascii;
    bool has_vertices = false;
    for (const PlyElement& element : m_header.elements) {
        Rows* rows = element.name == "vertex" && m_vertices.element == nullptr ? &m_vertices
                     : element.name == "cloud" && element.count == 1 && m_shared.element == nullptr
                         ? &m_shared
                         : nullptr;
        if (rows == &m_vertices) has_vertices = true;
        if (rows != nullptr && element.has_list()) {
            fail(element.offset, "element '" + element.name + "' has a list for every row");
        }
        if (rows == nullptr) {
            findings.push_back(
                {Severity::note, element.offset, "element '" + element.name + "' is ignored"});
            // Elements after the cloud are not needed.
            if (has_vertices && &element == &m_header.elements.back()) break;
        }
        const auto least = static_cast<std::int64_t>(element.properties.size()) * 2;
        if (element.properties.empty() && element.count > 0) {
            fail(element.offset, "element '" + element.name + "' has no properties");
        }
        if (ascii && least > 0 && element.count > (m_file->size() - at + 1) / least) {
            fail(element.offset, "the header counts " + std::to_string(element.count) +
                                     " rows of '" + element.name + "', which the file cannot hold");
        }
        if (rows != nullptr) {
            rows->element = &element;
            rows->begin = at;
            std::size_t offset = 0;
            for (const PlyProperty& p : element.properties) {
                rows->offsets.push_back(offset);
                offset += ply_size(p.type);
            }
        }
        if (!ascii) {
            at = skip_binary(element, at);
        } else if (rows != nullptr) {
            read_ascii(*rows, reader);
            at = reader.offset();
        } else {
            std::string_view line;
            for (std::int64_t i = 0; i < element.count;) {
                if (!reader.line(line, kLongestLine))
                    fail(reader.offset(), "the file ends too early");
                if (!Words(line).next().empty()) ++i;
            }
            at = reader.offset();
        }
    }
    if (!has_vertices) fail(0, "there is no element 'vertex'");
    count = m_vertices.element->count;
    parse_comments();
    add_fields(m_vertices, false, findings);
    if (m_shared.element != nullptr) add_fields(m_shared, true, findings);
    rename_attributes(attributes, m_renamed);
    const bool cloud_is_last =
        !m_header.elements.empty() && (&m_header.elements.back() == m_vertices.element ||
                                       &m_header.elements.back() == m_shared.element);
    if (ascii) at = skip_empty_lines(reader);
    if (cloud_is_last && at < m_file->size()) {
        findings.push_back({Severity::warning, at,
                            std::to_string(m_file->size() - at) + " bytes after the last row"});
    }
    constexpr std::string_view kWords[] = {"binary little-endian", "binary big-endian", "ASCII"};
    details.emplace_back("encoding", kWords[static_cast<std::size_t>(m_header.encoding)]);
}

} // namespace

CloudPtr open_ply(FilePtr file, Findings& findings, const OpenOptions& options) {
    PlyHeader header = read_ply_header(*file);
    auto cloud =
        std::make_unique<PlyCloud>(std::move(file), std::move(header), options.memory_bytes);
    cloud->locate(findings);
    return cloud;
}

} // namespace vx::cache
