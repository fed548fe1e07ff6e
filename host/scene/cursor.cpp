#include "host/scene/cursor.h"

#include "host/scene/big_endian.h"

#include <algorithm>
#include <limits>

namespace vx::scene {

namespace {

// Words that begin a statement. After an error they are recognized in the first column only.
constexpr std::string_view kStatementWords[] = {
    "assembly", "camera", "colorprofile", "data",      "debug",     "declare", "delete",
    "echo",     "gui",    "incremental",  "instance",  "instgroup", "light",   "lightprofile",
    "link",     "map",    "material",     "namespace", "object",    "options", "registry",
    "render",   "set",    "shader",       "spectrum",  "verbose"};

unsigned hex_digit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    return static_cast<unsigned>((c | 0x20) - 'a' + 10);
}

} // namespace

void Cursor::advance() {
    ++m_taken;
    try {
        m_token = m_lexer.next();
    } catch (const SyntaxError& error) {
        // The error is reported when the token is used; the statement before it may be complete.
        m_token = {};
        m_token.kind = TokenKind::bad;
        m_token.where = error.where;
        m_bad = error.text;
    }
}

bool Cursor::at_any(std::initializer_list<std::string_view> words) const {
    return at_word() && std::find(words.begin(), words.end(), m_token.text) != words.end();
}

bool Cursor::accept(std::string_view word) {
    if (!at(word)) return false;
    advance();
    return true;
}

bool Cursor::accept_mark(char mark) {
    if (!at_mark(mark)) return false;
    advance();
    return true;
}

void Cursor::expect(std::string_view word) {
    if (!accept(word)) fail('\'' + std::string(word) + '\'');
}

void Cursor::expect_mark(char mark) {
    if (!accept_mark(mark)) fail('\'' + std::string(1, mark) + '\'');
}

std::string Cursor::name(const char* what) {
    if (!at_name()) fail(what);
    std::string text = unescape(m_token);
    advance();
    return text;
}

std::string Cursor::string(const char* what) {
    if (!at_string()) fail(what);
    std::string text = unescape(m_token);
    advance();
    return text;
}

bool Cursor::boolean() {
    if (!at_bool()) fail("'on' or 'off'");
    const bool value = m_token.text == "on" || m_token.text == "true";
    advance();
    return value;
}

bool Cursor::boolean_or(bool missing) {
    return at_bool() ? boolean() : missing;
}

int Cursor::integer() {
    constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
    if (!at_integer()) fail("an integer");
    if (m_token.integer < kMin || m_token.integer > kMax)
        fail_at(where(), "the integer does not fit in 32 bits");
    const int value = static_cast<int>(m_token.integer);
    advance();
    return value;
}

int Cursor::integer_from(int lowest, const char* what) {
    if (at_integer() && m_token.integer < lowest) fail(what);
    return integer();
}

std::uint32_t Cursor::label() {
    constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kMax = std::numeric_limits<std::uint32_t>::max();
    if (!at_integer()) fail("an integer");
    if (m_token.integer < kMin || m_token.integer > kMax)
        fail_at(where(), "the integer does not fit in 32 bits");
    const auto value = static_cast<std::uint32_t>(m_token.integer);
    advance();
    return value;
}

float Cursor::number() {
    if (!at_number()) fail("a number");
    constexpr double kMaxFloat = std::numeric_limits<float>::max();
    if (m_token.real > kMaxFloat || m_token.real < -kMaxFloat)
        fail_at(where(), "the number is too large");
    const auto value = static_cast<float>(m_token.real);
    advance();
    return value;
}

Vec3 Cursor::vector() {
    if (m_token.kind == TokenKind::backquote) {
        const Vec3 v = big_endian_vector(m_lexer.raw_block(kBinaryVectorSize).data());
        advance();
        return v;
    }
    Vec3 v;
    v.x = number();
    v.y = number();
    v.z = number();
    return v;
}

Matrix Cursor::matrix() {
    Matrix m{};
    for (float& element : m)
        element = number();
    return m;
}

Color Cursor::color(float alpha) {
    Color c;
    c.r = number();
    c.g = number();
    c.b = number();
    c.a = at_number() ? number() : alpha;
    return c;
}

std::vector<std::byte> Cursor::byte_strings() {
    std::vector<std::byte> bytes;
    while (m_token.kind == TokenKind::bytes) {
        unsigned high = 0;
        bool half = false;
        for (const char c : m_token.text) {
            const bool blank = static_cast<unsigned char>(c) <= ' ';
            if (blank) continue;
            if (half) bytes.push_back(static_cast<std::byte>(high << 4 | hex_digit(c)));
            high = hex_digit(c);
            half = !half;
        }
        if (half) fail_at(where(), "a byte string must have an even number of digits");
        advance();
    }
    return bytes;
}

void Cursor::fail(const std::string& expected) const {
    if (m_token.kind == TokenKind::bad) throw SyntaxError{where(), m_bad};
    throw SyntaxError{where(), "expected " + expected + ", found " + describe(m_token)};
}

void Cursor::fail_at(Location place, const std::string& text) const {
    throw SyntaxError{place, text};
}

Lexer& Cursor::raw() {
    if (m_token.kind == TokenKind::bad) throw SyntaxError{where(), m_bad};
    m_lexer.unread(m_token);
    return m_lexer;
}

void Cursor::skip_brackets() {
    std::size_t depth = 0;
    const Location start = where();
    do {
        if (at_end()) fail_at(start, "unclosed bracket");
        if (at_mark('(') || at_mark('[') || at_mark('{')) ++depth;
        if (at_mark(')') || at_mark(']') || at_mark('}')) --depth;
        advance();
    } while (depth > 0);
}

bool Cursor::at_statement() const {
    if (!at_word() || m_token.where.column != 1) return false;
    return std::find(std::begin(kStatementWords), std::end(kStatementWords), m_token.text) !=
           std::end(kStatementWords);
}

void Cursor::skip_statement(std::string_view kind) {
    while (!at_end() && !at_statement()) {
        if (m_token.kind == TokenKind::backquote) {
            skip_binary(0);
            continue;
        }
        const bool end = at("end");
        advance();
        if (end && !kind.empty() && at(kind)) {
            advance();
            return;
        }
    }
}

void Cursor::skip_binary(std::size_t expected) {
    Lexer& text = m_lexer;
    for (const std::size_t size : {expected, kBinaryVectorSize}) {
        if (size == 0) continue;
        try {
            text.raw_block(size);
            advance();
            return;
        } catch (const SyntaxError&) {
            // The block has another length.
        }
    }
    advance();
}

} // namespace vx::scene
