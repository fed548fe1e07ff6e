#include "cache/cloud/bytes.h"
#include "cache/formats/bgeo.h"

#include <cstring>
#include <limits>
#include <unordered_set>

namespace vx::cache {

namespace {

constexpr std::int64_t kWord = 4;

// Where the values of an attribute are.
struct Field {
    std::int64_t offset; // in bytes: within the row of a point, or within the file
};

class BgeoCloud final : public Cloud {
  public:
    explicit BgeoCloud(FilePtr file) : m_file(std::move(file)) {}

    void parse(Findings& findings);

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const Attribute& a = attributes[attribute];
        const Field& f = m_fields[attribute];
        if (a.single) {
            m_file->read(f.offset, out, a.bytes());
        } else {
            const std::byte* source = rows(first, n) + f.offset;
            auto* target = static_cast<std::byte*>(out);
            for (std::int64_t i = 0; i < n; ++i, source += m_stride, target += a.bytes())
                std::memcpy(target, source, a.bytes());
        }
        swap_words(out, static_cast<std::size_t>((a.single ? 1 : n) * a.width), kWord);
    }
    std::int64_t byte_offset(std::size_t attribute, std::int64_t point) const override {
        const std::int64_t offset = m_fields[attribute].offset;
        return attributes[attribute].single ? offset : m_rows + point * m_stride + offset;
    }

  private:
    struct Definition {
        Attribute attribute;
        bool numbers = true;
        std::int64_t words = 0;  // per value
        std::int64_t offset = 0; // in the file
    };

    [[noreturn]] void fail(std::int64_t offset, const std::string& why) const {
        throw FileError(m_file->name(), offset, why);
    }
    // The number at the current position, which moves past it.
    template <typename T>
    T next() {
        std::byte raw[sizeof(T)];
        m_file->read(m_at, raw, sizeof raw);
        m_at += static_cast<std::int64_t>(sizeof raw);
        return load<T>(raw, true);
    }
    std::string next_text() {
        const auto bytes = next<std::uint16_t>();
        std::string text(bytes, '\0');
        m_file->read(m_at, text.data(), bytes);
        m_at += bytes;
        return text;
    }
    // Fails if so many definitions do not fit into the rest of the file. Their count is at
    // `offset`.
    void check_definitions(std::int32_t number, std::int64_t offset) const {
        constexpr std::int64_t kLeastBytes = 8; // no name and no default value
        if (number <= (m_file->size() - m_at) / kLeastBytes) return;
        fail(offset, "the header counts " + std::to_string(number) +
                         " attributes, which the file cannot hold");
    }
    Definition next_definition();
    void add(const Definition& definition, std::int64_t offset, bool single, Findings& findings);
    void parse_details(std::int32_t count, Findings& findings);
    const std::byte* rows(std::int64_t first, std::int64_t n);

    FilePtr m_file;
    std::int64_t m_at = 0;
    std::int64_t m_rows = 0;   // offset of the first point
    std::int64_t m_stride = 0; // bytes per point
    std::vector<Field> m_fields;
    std::unordered_set<std::string> m_names; // of the attributes
    std::vector<std::byte> m_block;          // the points that were read last
    std::int64_t m_block_first = 0;
    std::int64_t m_block_count = 0;
};

BgeoCloud::Definition BgeoCloud::next_definition() {
    Definition d;
    d.offset = m_at;
    Attribute& a = d.attribute;
    a.name = next_text();
    d.words = next<std::uint16_t>();
    a.width = static_cast<int>(d.words);
    for (const BgeoName& known : kBgeoNames) {
        if (a.name == known.name && a.width == known.width) a.name = known.attribute;
    }
    const auto code = next<std::int32_t>();
    switch (static_cast<BgeoType>(code)) {
    case BgeoType::real:
    case BgeoType::vector:
        a.type = Type::float32;
        break;
    case BgeoType::integer:
        a.type = Type::int32;
        break;
    case BgeoType::index: {
        d.numbers = false;
        const auto texts = next<std::int32_t>();
        for (std::int32_t i = 0; i < texts; ++i)
            next_text();
        return d;
    }
    default:
        fail(m_at - kWord,
             "attribute '" + a.name + "' has the unknown type " + std::to_string(code));
    }
    m_at += d.words * kWord; // the default value
    if (m_at > m_file->size()) fail(d.offset, "the file ends inside attribute '" + a.name + "'");
    return d;
}

void BgeoCloud::add(const Definition& d, std::int64_t offset, bool single, Findings& findings) {
    const std::string name = "attribute '" + d.attribute.name + "' ";
    if (!d.numbers) {
        findings.push_back({Severity::warning, d.offset, name + "has texts and is left out"});
    } else if (d.words == 0) {
        findings.push_back({Severity::warning, d.offset, name + "has no values and is left out"});
    } else if (!m_names.insert(d.attribute.name).second) {
        findings.push_back(
            {Severity::warning, d.offset, name + "is there twice; the first one counts"});
    } else {
        attributes.push_back(d.attribute);
        attributes.back().single = single;
        m_fields.push_back({offset});
    }
}

// The definitions of the file's own attributes and then their values.
void BgeoCloud::parse_details(std::int32_t number, Findings& findings) {
    check_definitions(number, 37);
    std::vector<Definition> definitions;
    definitions.reserve(static_cast<std::size_t>(number));
    for (std::int32_t i = 0; i < number; ++i)
        definitions.push_back(next_definition());
    for (const Definition& d : definitions) {
        if (d.words * kWord > m_file->size() - m_at) {
            fail(m_at, "the file ends inside the value of '" + d.attribute.name + "'");
        }
        add(d, m_at, true, findings);
        m_at += d.words * kWord;
    }
}

void BgeoCloud::parse(Findings& findings) {
    char start[kBgeoHeaderBytes] = {};
    if (m_file->read_some(0, start, sizeof start) < sizeof start) {
        if (std::string_view(start, 5) == "\x7fNSJb") {
            fail(0, "geometry of a later version than 5; save it as classic geometry");
        }
        fail(m_file->size(), "the file ends inside the header");
    }
    if (std::string_view(start, 4) != "Bgeo") {
        fail(0, "geometry of a later version than 5; save it as classic geometry");
    }
    if (start[4] != 'V') fail(4, "there is no 'V' before the version");
    m_at = 5;
    const auto version = next<std::int32_t>();
    if (version != 5) fail(5, "version " + std::to_string(version) + ", not 5");
    std::int32_t counts[8] = {};
    for (std::int32_t& number : counts) {
        number = next<std::int32_t>();
        if (number < 0) fail(m_at - kWord, "a count of " + std::to_string(number));
    }
    const auto [points, primitives, point_groups, primitive_groups, of_points, of_vertices,
                of_primitives, of_file] = counts;
    count = points;
    m_names.insert("position");
    attributes.push_back({"position", Type::float32, 3, false});
    m_fields.push_back({0});
    m_stride = 4 * kWord;
    check_definitions(of_points, 25);
    for (std::int32_t i = 0; i < of_points; ++i) {
        const Definition d = next_definition();
        add(d, m_stride, false, findings);
        m_stride += d.words * kWord;
    }
    m_rows = m_at;
    if (count > (m_file->size() - m_rows) / m_stride) {
        fail(9, "the header counts " + std::to_string(count) + " points of " +
                    std::to_string(m_stride) + " bytes, the file has " +
                    std::to_string(m_file->size() - m_rows) + " left");
    }
    m_at = m_rows + count * m_stride;
    if (primitives > 0 || point_groups > 0 || primitive_groups > 0 || of_vertices > 0 ||
        of_primitives > 0) {
        findings.push_back(
            {Severity::note, m_at,
             std::to_string(primitives) + " primitives, groups and what follows them are ignored"});
        if (of_file > 0) {
            findings.push_back({Severity::warning, m_at,
                                std::to_string(of_file) +
                                    " attributes of the file are behind primitives or groups and "
                                    "are left out"});
        }
    } else {
        parse_details(of_file, findings);
        if (m_file->size() - m_at > 2) {
            findings.push_back(
                {Severity::warning, m_at,
                 std::to_string(m_file->size() - m_at) + " bytes behind the last attribute"});
        }
    }
    details.emplace_back("version", "5");
}

const std::byte* BgeoCloud::rows(std::int64_t first, std::int64_t n) {
    if (m_block_first != first || m_block_count != n) {
        m_block_count = 0;
        m_block.resize(static_cast<std::size_t>(n * m_stride));
        m_file->read(m_rows + first * m_stride, m_block.data(), m_block.size());
        m_block_first = first;
        m_block_count = n;
    }
    return m_block.data();
}

} // namespace

CloudPtr open_bgeo(FilePtr file, Findings& findings, const OpenOptions&) {
    auto cloud = std::make_unique<BgeoCloud>(std::move(file));
    cloud->parse(findings);
    return cloud;
}

} // namespace vx::cache
