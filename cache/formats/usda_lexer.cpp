#include "cache/formats/usda_lexer.h"

#include <cctype>
#include <charconv>
#include <cstring>

namespace vx::cache {

namespace {

constexpr std::size_t kLongestWord = 1 << 16;

} // namespace

void UsdaLexer::skip_blanks() {
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

// The character that an escape sequence stands for, or -1 at the end of the file.
int UsdaLexer::read_escape() {
    const int c = m_reader.get();
    switch (c) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case 'x':
        break;
    default:
        return c;
    }
    char digits[2] = {};
    for (char& digit : digits) {
        if (std::isxdigit(m_reader.peek()) == 0) fail("\\x without two hexadecimal digits");
        digit = static_cast<char>(m_reader.get());
    }
    unsigned value = 0;
    std::from_chars(digits, digits + 2, value, 16);
    return static_cast<int>(value);
}

void UsdaLexer::read_quoted(char quote) {
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
        if (c == '\\') c = read_escape();
        if (c >= 0) m_token.text += static_cast<char>(c);
        if (m_token.text.size() > kLongestWord) fail("a string of more than 65536 bytes");
    }
}

void UsdaLexer::next() {
    m_token.text.clear();
    skip_blanks();
    m_token.offset = m_reader.offset();
    const int c = m_reader.peek();
    if (c < 0) {
        m_token.kind = UsdaToken::Kind::end;
        return;
    }
    if (c == '"' || c == '\'') {
        m_token.kind = UsdaToken::Kind::string;
        read_quoted(static_cast<char>(c));
        return;
    }
    if (c == '@' || c == '<') {
        m_token.kind = UsdaToken::Kind::string;
        m_reader.get();
        for (int d = m_reader.get(); d != (c == '@' ? '@' : '>'); d = m_reader.get()) {
            if (d < 0 || m_token.text.size() > kLongestWord) fail("a reference without its end");
            m_token.text += static_cast<char>(d);
        }
        return;
    }
    if (std::strchr("()[]{}=,;", c) != nullptr) {
        m_token.kind = UsdaToken::Kind::punctuation;
        m_token.text = static_cast<char>(m_reader.get());
        return;
    }
    m_token.kind = UsdaToken::Kind::word;
    for (int d = c; d > ' ' && std::strchr("()[]{}=,;\"'#@<", d) == nullptr; d = m_reader.peek()) {
        m_token.text += static_cast<char>(m_reader.get());
        if (m_token.text.size() > kLongestWord) fail("a word of more than 65536 bytes");
    }
    if (m_token.text.empty()) fail("unexpected character");
    // "float[]" is one word.
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

void UsdaLexer::skip_value() {
    std::int64_t depth = 0;
    do {
        if (at_end()) fail("the file ends inside a value");
        if (is('(') || is('[') || is('{')) ++depth;
        if (is(')') || is(']') || is('}')) --depth;
        next();
    } while (depth > 0);
}

} // namespace vx::cache
