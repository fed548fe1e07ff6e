// The first Points prim of a USD text file: arrays of numbers, and constant values. Animated values
// are read at one time.
#include "cache/formats/text.h"
#include "cache/formats/usda.h"

#include <array>
#include <cstring>
#include <set>

namespace vx::cache {

namespace {

constexpr std::size_t kLongestWord = 1 << 16;

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
    // Skips to behind the bracket that closes the current one, or skips one token.
    void skip_value();
    // Removes the first `bytes` of the current word: the lexer reads "1:None" as one word.
    void cut(std::size_t bytes) {
        m_token.text.erase(0, bytes);
        m_token.offset += static_cast<std::int64_t>(bytes);
        if (m_token.text.empty()) next();
    }
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
        if (m_token.text.size() > kLongestWord) fail("a string of more than 65536 bytes");
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
            if (d < 0 || m_token.text.size() > kLongestWord) fail("a reference without its end");
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
        if (m_token.text.size() > kLongestWord) fail("a word of more than 65536 bytes");
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

// Returns false if it is not a number.
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

struct UsdaArray {
    UsdaArray(const Attribute& a, SpoolBudget& budget) : attribute(a), values(budget) {}
    Attribute attribute;
    Spool values;
    std::int64_t rows = 0;
    std::int64_t offset = 0;
    double scale = 1;
};

class UsdaCloud final : public Cloud {
  public:
    UsdaCloud(FilePtr file, const OpenOptions& options)
        : m_file(std::move(file)), m_budget(options.memory_bytes), m_time(options.time) {}

    void parse(Findings& findings);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const UsdaArray& a = *m_arrays[attribute];
        const auto size = static_cast<std::int64_t>(a.attribute.bytes());
        a.values.read(first * size, out, static_cast<std::size_t>(n * size));
    }

  private:
    void parse_prim(Lexer& lexer, Findings& findings);
    void parse_property(Lexer& lexer, Findings& findings);
    void parse_numbers(Lexer& lexer, const ValueType& type, UsdaArray& array) const;
    std::unique_ptr<UsdaArray> parse_samples(Lexer& lexer, const ValueType& type,
                                             const UsdaArray& like, Findings& findings);
    bool is_better(double time, double than) const;
    void settle();

    FilePtr m_file;
    SpoolBudget m_budget;
    std::optional<double> m_time;
    std::set<std::string> m_constants; // attributes that are declared to have one value for all
    std::vector<std::unique_ptr<UsdaArray>> m_arrays;
    std::vector<bool> m_sampled; // of each array: whether its values are over time
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

void append_number(Lexer& lexer, UsdaArray& array) {
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

void UsdaCloud::parse_numbers(Lexer& lexer, const ValueType& type, UsdaArray& array) const {
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

// Values hold until the next sample, as they do where nothing can be interpolated.
bool UsdaCloud::is_better(double time, double than) const {
    if (!m_time) return time < than;
    const bool reached = time <= *m_time;
    const bool reached_than = than <= *m_time;
    if (reached != reached_than) return reached;
    return reached ? time > than : time < than;
}

// The values at the time that is asked for; null without any.
std::unique_ptr<UsdaArray> UsdaCloud::parse_samples(Lexer& lexer, const ValueType& type,
                                                    const UsdaArray& like, Findings& findings) {
    std::unique_ptr<UsdaArray> best;
    double best_time = 0;
    std::int64_t samples = 0;
    if (!lexer.is('{')) {
        lexer.skip_value(); // None
        return best;
    }
    lexer.next();
    while (!lexer.is('}')) {
        const std::string& word = lexer.token().text;
        const std::size_t colon = word.find(':');
        const std::optional<double> time = lexer.token().kind == Token::Kind::word
                                               ? parse_double(word.substr(0, colon))
                                               : std::nullopt;
        if (!time) lexer.fail("expected the time of a value here");
        if (colon == std::string::npos) {
            lexer.next();
            if (!lexer.token().text.starts_with(':')) lexer.fail("expected ':' here");
            lexer.cut(1);
        } else {
            lexer.cut(colon + 1);
        }
        ++samples;
        if (lexer.is_word("None") || (best && !is_better(*time, best_time))) {
            lexer.skip_value();
        } else {
            best = std::make_unique<UsdaArray>(like.attribute, m_budget);
            best->offset = like.offset;
            best->scale = like.scale;
            best_time = *time;
            parse_numbers(lexer, type, *best);
        }
        if (!lexer.is('}')) lexer.expect(',');
    }
    lexer.next();
    if (best && samples > 1) {
        std::string text;
        vx::cache::append_number(text, best_time);
        findings.push_back({m_time ? Severity::note : Severity::warning, like.offset,
                            "'" + like.attribute.name + "' has values at " +
                                std::to_string(samples) + " times; those of time " + text +
                                " are read" + (m_time ? "" : ", --time chooses others")});
    }
    return best;
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
    constexpr std::string_view kOverTime = ".timeSamples";
    const bool samples = name.ends_with(kOverTime);
    if (samples) name.resize(name.size() - kOverTime.size());
    ValueType type;
    const bool numbers = parse_type(type_word, type) && name != "extent";
    const Attribute attribute{attribute_name(name), type.type, type.width, false};
    if (lexer.is('=')) {
        lexer.next();
        if (numbers && !lexer.is_word("None")) {
            const int twin = find(attribute.name);
            auto array = std::make_unique<UsdaArray>(attribute, m_budget);
            array->offset = offset;
            if (name == "widths") array->scale = 0.5;
            if (samples) {
                array = parse_samples(lexer, type, *array, findings);
            } else {
                parse_numbers(lexer, type, *array);
            }
            if (twin >= 0 && samples != m_sampled[static_cast<std::size_t>(twin)]) {
                // Values over time are stronger than the one that is not.
                if (array && samples) {
                    attributes[static_cast<std::size_t>(twin)] = attribute;
                    m_arrays[static_cast<std::size_t>(twin)] = std::move(array);
                    m_sampled[static_cast<std::size_t>(twin)] = true;
                }
            } else if (twin >= 0) {
                throw FileError(m_file->name(), offset, "attribute '" + name + "' is there twice");
            } else if (array && (array->rows > 0 || attribute.name == "position")) {
                attributes.push_back(attribute);
                m_arrays.push_back(std::move(array));
                m_sampled.push_back(samples);
            }
        } else {
            lexer.skip_value();
        }
    }
    if (name.starts_with("xformOp:")) {
        findings.push_back({Severity::warning, offset, "the prim's own transform is not applied"});
    }
    if (lexer.is('(')) {
        lexer.next();
        while (!lexer.is(')')) {
            if (lexer.is_word("interpolation")) {
                lexer.next();
                if (lexer.is('=')) lexer.next();
                if (lexer.token().text == "constant") m_constants.insert(attribute.name);
            }
            lexer.skip_value();
        }
        lexer.next();
    }
    if (!type.array) m_constants.insert(attribute.name);
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
        UsdaArray& a = *m_arrays[i];
        const bool one = a.rows == 1 && (count != 1 || m_constants.contains(a.attribute.name));
        if (static_cast<int>(i) != position && one) a.attribute.single = true;
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
    auto cloud = std::make_unique<UsdaCloud>(std::move(file), options);
    cloud->parse(findings);
    return cloud;
}

} // namespace vx::cache
