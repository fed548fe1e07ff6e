#include "cache/formats/ply_header.h"

#include "cache/formats/text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_set>

namespace vx::cache {

namespace {

struct Named {
    std::string_view name;
    PlyType type;
};
constexpr std::array<Named, 16> kTypeNames{{{"char", PlyType::int8},
                                            {"int8", PlyType::int8},
                                            {"uchar", PlyType::uint8},
                                            {"uint8", PlyType::uint8},
                                            {"short", PlyType::int16},
                                            {"int16", PlyType::int16},
                                            {"ushort", PlyType::uint16},
                                            {"uint16", PlyType::uint16},
                                            {"int", PlyType::int32},
                                            {"int32", PlyType::int32},
                                            {"uint", PlyType::uint32},
                                            {"uint32", PlyType::uint32},
                                            {"float", PlyType::float32},
                                            {"float32", PlyType::float32},
                                            {"double", PlyType::float64},
                                            {"float64", PlyType::float64}}};
constexpr std::size_t kLongestLine = 1 << 16;
constexpr std::size_t kMostLines = 10000;

std::optional<PlyType> type_of_name(std::string_view name) {
    for (const Named& n : kTypeNames) {
        if (n.name == name) return n.type;
    }
    return std::nullopt;
}

class HeaderReader {
  public:
    explicit HeaderReader(const InputFile& file) : m_file(file), m_reader(file, 0, file.size()) {}

    PlyHeader read() {
        next_line();
        if (m_line != "ply") fail("the first line is not \"ply\"");
        bool has_format = false;
        for (std::size_t lines = 0; lines < kMostLines; ++lines) {
            next_line();
            Words words(m_line);
            const std::string_view key = words.next();
            if (key == "end_header") {
                if (!has_format) fail("the header names no format");
                m_header.end = m_reader.offset();
                return std::move(m_header);
            }
            if (key == "format") {
                read_format(words);
                has_format = true;
            } else if (key == "comment" || key == "obj_info") {
                m_header.comments.emplace_back(
                    m_line.substr(std::min(key.size() + 1, m_line.size())));
            } else if (key == "element") {
                read_element(words);
            } else if (key == "property") {
                read_property(words);
            } else if (!key.empty()) {
                fail("the header has a line that begins with '" + std::string(key.substr(0, 40)) +
                     "'");
            }
        }
        fail("a header of more than 10000 lines");
    }

  private:
    [[noreturn]] void fail(const std::string& why) const {
        throw FileError(m_file.name(), m_start, why);
    }
    void next_line() {
        m_start = m_reader.offset();
        if (!m_reader.line(m_line, kLongestLine)) fail("the file ends inside the header");
    }
    void read_format(Words& words) {
        const std::string_view word = words.next();
        if (word == "ascii") {
            m_header.encoding = PlyEncoding::ascii;
        } else if (word == "binary_little_endian") {
            m_header.encoding = PlyEncoding::little;
        } else if (word == "binary_big_endian") {
            m_header.encoding = PlyEncoding::big;
        } else {
            fail("unknown format '" + std::string(word.substr(0, 40)) + "'");
        }
    }
    void read_element(Words& words) {
        PlyElement element;
        element.name = words.next();
        const std::string_view text = words.next();
        const std::optional<std::int64_t> count = parse_int(text);
        if (element.name.empty() || !count || *count < 0) {
            fail("an element needs a name and a count, this has '" +
                 std::string(text.substr(0, 40)) + "'");
        }
        element.count = *count;
        element.offset = m_start;
        m_header.elements.push_back(element);
        m_names.clear();
    }
    void read_property(Words& words) {
        if (m_header.elements.empty()) fail("a property before any element");
        PlyProperty property;
        std::string_view word = words.next();
        if (word == "list") {
            property.list = true;
            const std::optional<PlyType> count = type_of_name(words.next());
            if (!count) fail("a list without a type for its counts");
            property.count_type = *count;
            word = words.next();
        }
        const std::optional<PlyType> type = type_of_name(word);
        if (!type) fail("unknown type '" + std::string(word.substr(0, 40)) + "'");
        property.type = *type;
        property.name = words.next();
        if (property.name.empty()) fail("a property without a name");
        if (!m_names.insert(property.name).second) {
            fail("two properties '" + property.name + "'");
        }
        m_header.elements.back().properties.push_back(property);
    }

    const InputFile& m_file;
    ByteReader m_reader;
    PlyHeader m_header;
    std::string_view m_line;
    std::int64_t m_start = 0;
    std::unordered_set<std::string> m_names; // of the last element's properties
};

} // namespace

std::size_t ply_size(PlyType type) {
    constexpr std::array<std::size_t, 8> kSizes{1, 1, 2, 2, 4, 4, 4, 8};
    return kSizes[static_cast<std::size_t>(type)];
}

std::string_view ply_type_name(PlyType type) {
    // Every type has two names, the first of which is the original one.
    return kTypeNames[2 * static_cast<std::size_t>(type)].name;
}

Type ply_model_type(PlyType type) {
    switch (type) {
    case PlyType::uint32:
        return Type::int64;
    case PlyType::float32:
        return Type::float32;
    case PlyType::float64:
        return Type::float64;
    default:
        return Type::int32;
    }
}

bool PlyElement::has_list() const {
    return std::any_of(properties.begin(), properties.end(), [](auto& p) { return p.list; });
}

std::int64_t PlyElement::bytes() const {
    std::int64_t sum = 0;
    for (const PlyProperty& p : properties)
        sum += static_cast<std::int64_t>(ply_size(p.type));
    return sum;
}

PlyHeader read_ply_header(const InputFile& file) {
    return HeaderReader(file).read();
}

} // namespace vx::cache
