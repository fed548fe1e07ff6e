// The first Points prim of a USD text file: arrays of numbers, and values for all points.
#include "tools/formats/format.h"
#include "tools/formats/text.h"

#include <array>
#include <cstring>
#include <map>

namespace vx::cache {

namespace {

constexpr std::size_t longest_word = 1 << 16;

struct Token {
    enum class Kind { end, word, string, punctuation } kind = Kind::end;
    std::string text;
    std::int64_t offset = 0;
};

class Lexer {
  public:
    explicit Lexer(const InputFile& file) : m_reader(file, 0, file.size()) { next(); }
    const Token& token() const { return m_token; }
    bool is(char c) const {
        return m_token.kind == Token::Kind::punctuation && m_token.text[0] == c;
    }
    bool is_word(std::string_view word) const {
        return m_token.kind == Token::Kind::word && m_token.text == word;
    }
    bool at_end() const { return m_token.kind == Token::Kind::end; }
    void next();
    [[noreturn]] void fail(const std::string& why) const {
        throw FileError(m_reader.file().name(), m_token.offset, why);
    }
    void expect(char c) {
        if (!is(c)) {
            fail(std::string("expected '") + c + "' here" + (at_end() ? ", the file ends" : ""));
        }
        next();
    }
    // Past the bracket that closes the one that stands here, or past one token.
    void skip_value();
    std::int64_t left() const { return m_reader.end() - m_reader.offset(); }

  private:
    void skip_blanks();
    void read_quoted(char quote);

    ByteReader m_reader;
    Token m_token;
};

void Lexer::skip_blanks() {
    for (int c = m_reader.peek(); c >= 0; c = m_reader.peek()) {
        if (c == '#') {
            while (c >= 0 && c != '\n')
                c = m_reader.get();
        } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            m_reader.get();
        } else {
            return;
        }
    }
}

void Lexer::read_quoted(char quote) {
    m_reader.get();
    bool triple = false;
    if (m_reader.peek() == quote) {
        m_reader.get();
        if (m_reader.peek() != quote) return; // empty
        m_reader.get();
        triple = true;
    }
    for (int run = 0;;) {
        int c = m_reader.get();
        if (c < 0) fail("a string without its end");
        if (c == quote) {
            if (!triple || ++run == 3) break;
            continue;
        }
        m_token.text.append(static_cast<std::size_t>(run), quote);
        run = 0;
        if (c == '\\') c = m_reader.get();
        if (c >= 0) m_token.text += static_cast<char>(c);
        if (m_token.text.size() > longest_word) fail("a string of more than 65536 bytes");
    }
}

void Lexer::next() {
    m_token.text.clear();
    skip_blanks();
    m_token.offset = m_reader.offset();
    const int c = m_reader.peek();
    if (c < 0) {
        m_token.kind = Token::Kind::end;
        return;
    }
    if (c == '"' || c == '\'') {
        m_token.kind = Token::Kind::string;
        read_quoted(static_cast<char>(c));
        return;
    }
    if (c == '@' || c == '<') {
        m_token.kind = Token::Kind::string;
        m_reader.get();
        for (int d = m_reader.get(); d != (c == '@' ? '@' : '>'); d = m_reader.get()) {
            if (d < 0 || m_token.text.size() > longest_word) fail("a reference without its end");
            m_token.text += static_cast<char>(d);
        }
        return;
    }
    if (std::strchr("()[]{}=,;", c) != nullptr) {
        m_token.kind = Token::Kind::punctuation;
        m_token.text = static_cast<char>(m_reader.get());
        return;
    }
    m_token.kind = Token::Kind::word;
    for (int d = c; d > ' ' && std::strchr("()[]{}=,;\"'#@<", d) == nullptr; d = m_reader.peek()) {
        m_token.text += static_cast<char>(m_reader.get());
        if (m_token.text.size() > longest_word) fail("a word of more than 65536 bytes");
    }
    if (m_token.text.empty()) fail("a byte that has no place here");
    // "float[]" is one word to us.
    if (m_reader.peek() == '[') {
        const std::int64_t at = m_reader.offset();
        char two[2] = {};
        m_reader.file().read_some(at, two, 2);
        if (two[1] == ']') {
            m_reader.get();
            m_reader.get();
            m_token.text += "[]";
        }
    }
}

void Lexer::skip_value() {
    std::int64_t depth = 0;
    do {
        if (at_end()) fail("the file ends inside a value");
        if (is('(') || is('[') || is('{')) ++depth;
        if (is(')') || is(']') || is('}')) --depth;
        next();
    } while (depth > 0);
}

struct ValueType {
    Type type = Type::float32;
    int width = 1;
    bool array = false;
};

// False for what is no number.
bool parse_type(std::string_view word, ValueType& out) {
    out = {};
    if (word.ends_with("[]")) {
        out.array = true;
        word.remove_suffix(2);
    }
    for (const std::string_view role : {"point", "normal", "vector", "color", "texCoord"}) {
        if (!word.starts_with(role)) continue;
        word.remove_prefix(role.size());
        if (word.size() != 2 || word[0] < '2' || word[0] > '4') return false;
        out.width = word[0] - '0';
        if (word[1] == 'd') out.type = Type::float64;
        return word[1] == 'd' || word[1] == 'f' || word[1] == 'h';
    }
    if (!word.empty() && word.back() >= '2' && word.back() <= '4' && !word.starts_with("matrix") &&
        word != "int64" && word != "uint64") {
        out.width = word.back() - '0';
        word.remove_suffix(1);
    }
    if (word == "float" || word == "half") return true;
    out.type = word == "double"                    ? Type::float64
               : word == "int" || word == "uchar"  ? Type::int32
               : word == "int64" || word == "uint" ? Type::int64
                                                   : Type::float32;
    return out.type != Type::float32;
}

struct Array {
    Array(const Attribute& a, SpoolBudget& budget) : attribute(a), values(budget) {}
    Attribute attribute;
    Spool values;
    std::int64_t rows = 0;
    std::int64_t offset = 0;
    double scale = 1;
};

class UsdaCloud final : public Cloud {
  public:
    UsdaCloud(FilePtr file, std::int64_t memory) : m_file(std::move(file)), m_budget(memory) {}

    void parse(Findings& findings);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const Array& a = *m_arrays[attribute];
        const auto size = static_cast<std::int64_t>(a.attribute.bytes());
        a.values.read(first * size, out, static_cast<std::size_t>(n * size));
    }

  private:
    void parse_prim(Lexer& lexer, Findings& findings);
    void parse_property(Lexer& lexer, Findings& findings);
    void parse_numbers(Lexer& lexer, const ValueType& type, Array& array) const;
    void settle();

    FilePtr m_file;
    SpoolBudget m_budget;
    std::vector<std::unique_ptr<Array>> m_arrays;
};

std::string attribute_name(std::string_view name) {
    if (name == "points") return "position";
    if (name == "normals") return "normalPP";
    if (name == "widths") return "radius";
    if (name == "ids") return "id";
    if (name.starts_with("primvars:")) name.remove_prefix(9);
    if (name == "displayColor") return "rgbPP";
    if (name == "displayOpacity") return "opacityPP";
    return std::string(name);
}

void append_number(Lexer& lexer, Array& array) {
    const std::string& text = lexer.token().text;
    const Type type = array.attribute.type;
    if (is_integer(type)) {
        const std::optional<std::int64_t> value = parse_int(text);
        const bool fits =
            value && (type == Type::int64 || *value == static_cast<std::int32_t>(*value));
        if (!fits) lexer.fail("'" + text.substr(0, 40) + "' is no number of this type");
        if (type == Type::int64) {
            array.values.append(&*value, 8);
        } else {
            const auto small = static_cast<std::int32_t>(*value);
            array.values.append(&small, 4);
        }
    } else {
        const std::optional<double> value = parse_double(text);
        if (!value) lexer.fail("'" + text.substr(0, 40) + "' is not a number");
        const double scaled = *value * array.scale;
        if (type == Type::float64) {
            array.values.append(&scaled, 8);
        } else {
            const auto small = static_cast<float>(scaled);
            array.values.append(&small, 4);
        }
    }
    lexer.next();
}

void UsdaCloud::parse_numbers(Lexer& lexer, const ValueType& type, Array& array) const {
    const auto tuple = [&] {
        if (type.width > 1) lexer.expect('(');
        for (int k = 0; k < type.width; ++k) {
            if (k > 0) lexer.expect(',');
            append_number(lexer, array);
        }
        if (type.width > 1) lexer.expect(')');
        ++array.rows;
    };
    if (!type.array) {
        tuple();
        return;
    }
    lexer.expect('[');
    while (!lexer.is(']')) {
        tuple();
        if (!lexer.is(']')) lexer.expect(',');
    }
    lexer.next();
}

void UsdaCloud::parse_property(Lexer& lexer, Findings& findings) {
    while (lexer.is_word("uniform") || lexer.is_word("custom") || lexer.is_word("varying"))
        lexer.next();
    const std::string type_word = lexer.token().text;
    if (lexer.token().kind != Token::Kind::word) lexer.fail("expected the type of an attribute");
    lexer.next();
    // "prepend rel name", "variantSet "name" = {": words until the sign.
    std::string name = lexer.token().text;
    const std::int64_t offset = lexer.token().offset;
    while (lexer.token().kind == Token::Kind::word || lexer.token().kind == Token::Kind::string) {
        name = lexer.token().text;
        lexer.next();
    }
    ValueType type;
    const bool numbers = parse_type(type_word, type) && name != "extent";
    if (numbers && name.find(".timeSamples") != std::string::npos) {
        lexer.fail("'" + name.substr(0, 60) + "': values over time are not read");
    }
    if (lexer.is('=')) {
        lexer.next();
        if (numbers && !lexer.is_word("None")) {
            Attribute attribute{attribute_name(name), type.type, type.width, false};
            if (find_attribute(attributes, attribute.name) >= 0) {
                throw FileError(m_file->name(), offset, "attribute '" + name + "' is there twice");
            }
            auto array = std::make_unique<Array>(attribute, m_budget);
            array->offset = offset;
            if (name == "widths") array->scale = 0.5;
            parse_numbers(lexer, type, *array);
            if (array->rows > 0 || attribute.name == "position") {
                attributes.push_back(attribute);
                m_arrays.push_back(std::move(array));
            }
        } else {
            lexer.skip_value();
        }
    }
    if (name.starts_with("xformOp:")) {
        findings.push_back({Severity::warning, offset, "the prim's own transform is not applied"});
    }
    bool is_constant = false;
    if (lexer.is('(')) {
        lexer.next();
        while (!lexer.is(')')) {
            if (lexer.is_word("interpolation")) {
                lexer.next();
                if (lexer.is('=')) lexer.next();
                is_constant = lexer.token().text == "constant";
            }
            lexer.skip_value();
        }
        lexer.next();
    }
    if (is_constant && !m_arrays.empty() && m_arrays.back()->offset == offset) {
        m_arrays.back()->attribute.single = true;
    }
    if (!type.array && !m_arrays.empty() && m_arrays.back()->offset == offset) {
        m_arrays.back()->attribute.single = true;
    }
}

void UsdaCloud::parse_prim(Lexer& lexer, Findings& findings) {
    lexer.expect('{');
    while (!lexer.is('}')) {
        if (lexer.at_end()) lexer.fail("the file ends inside the prim");
        if (lexer.is(';')) {
            lexer.next();
        } else if (lexer.is_word("def") || lexer.is_word("over") || lexer.is_word("class")) {
            while (!lexer.is('{')) {
                if (lexer.at_end()) lexer.fail("the file ends before a prim's '{'");
                if (lexer.is('(')) {
                    lexer.skip_value();
                } else {
                    lexer.next();
                }
            }
            lexer.skip_value();
        } else {
            parse_property(lexer, findings);
        }
    }
    lexer.next();
    settle();
}

void UsdaCloud::settle() {
    const int position = find("position");
    if (position < 0) throw FileError(m_file->name(), -1, "the Points prim has no points");
    count = m_arrays[static_cast<std::size_t>(position)]->rows;
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        Array& a = *m_arrays[i];
        if (static_cast<int>(i) != position && a.rows == 1 && count != 1) a.attribute.single = true;
        if (a.rows != (a.attribute.single ? 1 : count)) {
            throw FileError(m_file->name(), a.offset,
                            "'" + a.attribute.name + "' has " + std::to_string(a.rows) +
                                " values for " + std::to_string(count) + " points");
        }
        attributes[i] = a.attribute;
    }
}

void UsdaCloud::parse(Findings& findings) {
    char start[5] = {};
    if (m_file->read_some(0, start, 5) < 5 || std::memcmp(start, "#usda", 5) != 0) {
        throw FileError(m_file->name(), 0, "the file does not begin with \"#usda\"");
    }
    Lexer lexer(*m_file);
    bool found = false;
    bool moved = false;
    while (!lexer.at_end()) {
        if (lexer.is_word("def")) {
            const std::int64_t offset = lexer.token().offset;
            lexer.next();
            if (!lexer.is_word("Points")) continue;
            lexer.next();
            const std::string prim = lexer.token().text;
            while (!lexer.is('{')) {
                if (lexer.at_end()) lexer.fail("the file ends before the prim's '{'");
                if (lexer.is('(')) {
                    lexer.skip_value();
                } else {
                    lexer.next();
                }
            }
            if (found) {
                findings.push_back(
                    {Severity::warning, offset, "another Points prim '" + prim + "' is left out"});
                lexer.skip_value();
                continue;
            }
            found = true;
            details.emplace_back("prim", prim);
            parse_prim(lexer, findings);
        } else if (lexer.is('(') || lexer.is('[')) {
            lexer.skip_value();
        } else {
            moved = moved || (!found && lexer.token().text.starts_with("xformOp:"));
            lexer.next();
        }
    }
    if (!found) throw FileError(m_file->name(), m_file->size(), "there is no Points prim");
    if (moved) {
        findings.push_back(
            {Severity::warning, -1, "transforms of the prims around the points are not applied"});
    }
}

} // namespace

CloudPtr open_usda(FilePtr file, Findings& findings, const OpenOptions& options) {
    auto cloud = std::make_unique<UsdaCloud>(std::move(file), options.memory_bytes);
    cloud->parse(findings);
    return cloud;
}

} // namespace vx::cache
