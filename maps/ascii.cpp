#include "maps/formats.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>

namespace vx::maps {

namespace {

constexpr std::uint32_t kPlainNan = 0x7fc00000u;

struct TypeName {
    Map_field_type::Type single, array;
    std::string_view name;
};
constexpr std::array<TypeName, 6> kTypeNames = {{
    {Map_field_type::Integer, Map_field_type::Integer_array, "integer"},
    {Map_field_type::Scalar, Map_field_type::Scalar_array, "scalar"},
    {Map_field_type::Vector, Map_field_type::Undefined, "vector"},
    {Map_field_type::Color, Map_field_type::Undefined, "color"},
    {Map_field_type::Transform, Map_field_type::Undefined, "transform"},
    {Map_field_type::String, Map_field_type::Undefined, "string"},
}};

bool is_integer(Map_field_type::Type type) {
    return type == Map_field_type::Integer || type == Map_field_type::Integer_array;
}

// ---- writing

void put_number(std::string& text, std::uint32_t word, bool integer) {
    char digits[32];
    std::to_chars_result end{};
    if (integer) {
        end = std::to_chars(digits, digits + sizeof digits, std::bit_cast<std::int32_t>(word));
    } else {
        const auto value = std::bit_cast<float>(word);
        if (value != value) {
            // Keep the sign and the payload.
            text += "nan";
            if (word == kPlainNan) return;
            text += ':';
            end = std::to_chars(digits, digits + sizeof digits, word, 16);
        } else {
            end = std::to_chars(digits, digits + sizeof digits, value);
        }
    }
    text.append(digits, end.ptr);
}

void put_string(std::string& text, std::string_view value) {
    constexpr std::string_view kHexDigits = "0123456789abcdef";
    text += '"';
    for (const char c : value) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text += '\\';
            text += c;
        } else if (code < 0x20 || code == 0x7f) {
            text += "\\x";
            text += kHexDigits[code >> 4];
            text += kHexDigits[code & 15];
        } else {
            text += c;
        }
    }
    text += '"';
}

void put_value(std::string& text, const Field& field, const std::uint32_t* words) {
    if (field.type == Map_field_type::String) {
        put_string(text, reinterpret_cast<const char*>(words));
        return;
    }
    for (std::uint32_t i = 0; i < field.words; ++i) {
        if (i > 0) text += ' ';
        put_number(text, words[i], is_integer(field.type));
    }
}

void put_declaration(std::string& text, const Declaration& declaration) {
    text += "declare map \"elements\" (\n    dim " + std::to_string(declaration.dimension);
    for (const Field& field : declaration.fields) {
        text += ",\n    ";
        if (field.is_global) text += "global ";
        for (const TypeName& known : kTypeNames) {
            if (field.type != known.single && field.type != known.array) continue;
            text += known.name;
            if (field.type == known.array) text += " array";
            if (field.type == known.array || field.type == Map_field_type::String) {
                text += ' ' + std::to_string(field.length);
            }
            break;
        }
        text += " \"" + field.name + '"';
    }
    text += "\n)\nend declare\n";
}

// ---- reading

// Splits the text into words, numbers, quoted strings and punctuation; `#` begins a comment. Each
// function returns whether it found what it looks for.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : m_text(text) {}

    std::size_t left() const { return m_text.size() - m_at; }
    bool at_end() {
        skip();
        return m_at == m_text.size();
    }
    bool mark(char c) {
        skip();
        if (m_at == m_text.size() || m_text[m_at] != c) return false;
        ++m_at;
        return true;
    }
    bool word(std::string_view wanted) {
        const std::size_t before = m_at;
        if (next_word() == wanted) return true;
        m_at = before;
        return false;
    }
    bool quoted(std::string& value) {
        if (!mark('"')) return false;
        value.clear();
        while (m_at < m_text.size()) {
            const char c = m_text[m_at++];
            if (c == '"') return true;
            if (c == '\n') return false;
            if (c != '\\') {
                value += c;
            } else if (!escape(value)) {
                return false;
            }
        }
        return false;
    }
    bool unsigned_number(std::uint32_t& value) { return number(next_word(), value); }
    bool value(std::uint32_t& word, bool integer) {
        std::string_view token = next_word();
        if (integer) {
            std::int32_t whole = 0;
            if (!number(token, whole)) return false;
            word = std::bit_cast<std::uint32_t>(whole);
            return true;
        }
        if (token.substr(0, 3) == "nan") return not_a_number(token.substr(3), word);
        float single = 0.0f;
        if (!number(token, single)) {
            // Too large or too small for a float: round.
            double wide = 0.0;
            if (!number(token, wide)) return false;
            single = static_cast<float>(wide);
        }
        word = std::bit_cast<std::uint32_t>(single);
        return true;
    }

  private:
    static bool is_space(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
    static bool is_mark(char c) {
        return c == ',' || c == '{' || c == '}' || c == '(' || c == ')' || c == '"' || c == '#';
    }
    void skip() {
        while (m_at < m_text.size()) {
            if (m_text[m_at] == '#') {
                const std::size_t line_end = m_text.find('\n', m_at);
                m_at = line_end == std::string_view::npos ? m_text.size() : line_end;
            } else if (is_space(m_text[m_at])) {
                ++m_at;
            } else {
                return;
            }
        }
    }
    std::string_view next_word() {
        skip();
        const std::size_t begin = m_at;
        while (m_at < m_text.size() && !is_space(m_text[m_at]) && !is_mark(m_text[m_at]))
            ++m_at;
        return m_text.substr(begin, m_at - begin);
    }
    bool escape(std::string& value) {
        if (m_at == m_text.size()) return false;
        const char c = m_text[m_at++];
        if (c == '"' || c == '\\') {
            value += c;
            return true;
        }
        unsigned code = 0;
        if (c != 'x' || left() < 2 || !hex(m_text.substr(m_at, 2), code) || code == 0) return false;
        m_at += 2;
        value += static_cast<char>(code);
        return true;
    }
    static bool hex(std::string_view digits, std::uint32_t& value) {
        const char* const end = digits.data() + digits.size();
        const auto [ptr, error] = std::from_chars(digits.data(), end, value, 16);
        return error == std::errc() && ptr == end && !digits.empty();
    }
    template <class T>
    static bool number(std::string_view token, T& value) {
        if (!token.empty() && token.front() == '+') token.remove_prefix(1);
        const char* const end = token.data() + token.size();
        const auto [ptr, error] = std::from_chars(token.data(), end, value);
        return error == std::errc() && ptr == end && !token.empty();
    }
    static bool not_a_number(std::string_view rest, std::uint32_t& word) {
        word = kPlainNan;
        if (rest.empty()) return true;
        if (rest.front() != ':' || !hex(rest.substr(1), word)) return false;
        const auto value = std::bit_cast<float>(word);
        return value != value;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
};

bool read_field(Scanner& scan, Declaration& declaration) {
    const bool is_global = scan.word("global");
    bool is_array = scan.word("array");
    for (const TypeName& known : kTypeNames) {
        if (!scan.word(known.name)) continue;
        if (!is_array) is_array = scan.word("array");
        const Map_field_type::Type type = is_array ? known.array : known.single;
        std::uint32_t length = 1;
        if (is_array || type == Map_field_type::String) {
            if (!scan.unsigned_number(length)) return false;
        }
        std::string name;
        return scan.quoted(name) &&
               declaration.append(name, type, length, is_global) == Map_status::OK;
    }
    return false;
}

bool read_declaration(Scanner& scan, std::string& name, DeclarationPtr& result) {
    if (!scan.word("declare") || !scan.word("map") || !scan.quoted(name) || !scan.mark('(')) {
        return false;
    }
    std::uint32_t dimension = 3;
    bool more = !scan.mark(')');
    if (more && scan.word("dim")) {
        if (!scan.unsigned_number(dimension) || dimension < 1 || dimension > kMaxDimension) {
            return false;
        }
        more = scan.mark(',');
        if (!more && !scan.mark(')')) return false;
    }
    const auto declaration = std::make_shared<Declaration>(dimension);
    while (more) {
        if (!read_field(scan, *declaration)) return false;
        more = scan.mark(',');
        if (!more && !scan.mark(')')) return false;
    }
    result = declaration;
    return scan.word("end") && scan.word("declare");
}

bool read_value(Scanner& scan, const Field& field, std::uint32_t* words) {
    if (field.type == Map_field_type::String) {
        std::string value;
        if (!scan.quoted(value) || value.size() > field.length) return false;
        std::memcpy(words, value.data(), value.size());
        return true;
    }
    for (std::uint32_t i = 0; i < field.words; ++i) {
        if (!scan.value(words[i], is_integer(field.type))) return false;
    }
    return true;
}

// Reads the fields of a brace group up to its closing brace. `begun`: a value precedes the fields.
bool read_group(Scanner& scan, const Declaration& declaration, bool globals, bool begun,
                std::uint32_t* words) {
    for (const Field& field : declaration.fields) {
        if (field.is_global != globals) continue;
        if (begun && !scan.mark(',')) return false;
        begun = true;
        if (!read_value(scan, field, words + field.offset)) return false;
    }
    return scan.mark('}');
}

Status read_elements(Scanner& scan, Map& map) {
    const Declaration& declaration = *map.declaration();
    while (!scan.word("end")) {
        // A value takes at least two characters. Don't allocate more records than the file can
        // fill.
        if (!scan.mark('{') || scan.left() / 2 < declaration.record_words) {
            return Map_status::File_not_a_map;
        }
        std::uint32_t* const words = map.extend();
        if (words == nullptr) return Map_status::Insufficient_memory;
        for (unsigned axis = 0; axis < declaration.dimension; ++axis) {
            if (!scan.value(words[axis], false)) return Map_status::File_not_a_map;
        }
        if (!read_group(scan, declaration, false, true, words)) return Map_status::File_not_a_map;
        // Scene files separate elements by commas, map files don't need to.
        scan.mark(',');
    }
    return scan.word("map") && scan.at_end() ? Map_status::OK : Map_status::File_not_a_map;
}

} // namespace

Status read_ascii(std::span<const unsigned char> file, Map& map) {
    Scanner scan({reinterpret_cast<const char*>(file.data()), file.size()});
    DeclarationPtr declaration;
    std::string declared;
    std::string name;
    std::string used;
    if (!read_declaration(scan, declared, declaration) || !scan.word("map") || !scan.quoted(name) ||
        !scan.quoted(used) || used != declared) {
        return Map_status::File_not_a_map;
    }
    map.declare(declaration);
    if (scan.word("global") &&
        (!scan.mark('{') || !read_group(scan, *declaration, true, false, map.globals()))) {
        return Map_status::File_not_a_map;
    }
    const Status status = read_elements(scan, map);
    return status == Map_status::OK ? map.consolidate(0.6f).get_code() : status;
}

void write_ascii(ReplacedFile& file, const Map& map) {
    const Declaration& declaration = *map.declaration();
    std::string text = "# open ASCII map file with " + std::to_string(map.size()) + " elements\n";
    put_declaration(text, declaration);
    text += "map \"map\" \"elements\"\n";
    const auto put_group = [&](bool globals, bool begun, const std::uint32_t* words) {
        for (const Field& field : declaration.fields) {
            if (field.is_global != globals) continue;
            text += begun ? ", " : " ";
            begun = true;
            put_value(text, field, words + field.offset);
        }
        text += " }\n";
    };
    if (declaration.global_words > 0) {
        text += "global {";
        put_group(true, false, map.globals());
    }
    std::vector<std::uint32_t> record(declaration.record_words);
    for (std::uint32_t i = 0; i < map.size(); ++i) {
        map.copy_record(i, record.data());
        text += '{';
        for (unsigned axis = 0; axis < declaration.dimension; ++axis) {
            text += ' ';
            put_number(text, record[axis], false);
        }
        put_group(false, true, record.data());
        constexpr std::size_t kFlushBytes = 65536;
        if (text.size() >= kFlushBytes) {
            file.write(text.data(), text.size());
            text.clear();
        }
    }
    text += "end map\n";
    file.write(text.data(), text.size());
}

} // namespace vx::maps
