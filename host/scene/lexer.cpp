#include "host/scene/lexer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace vx::scene {

namespace {

enum : std::uint8_t {
    is_blank = 1,
    is_digit = 2,
    starts_word = 4,
    in_word = 8,
    starts_number = 16
};

constexpr std::array<std::uint8_t, 256> make_classes() {
    std::array<std::uint8_t, 256> table{};
    const auto add = [&](char c, int bits) {
        auto& entry = table[static_cast<unsigned char>(c)];
        entry = static_cast<std::uint8_t>(entry | bits);
    };
    for (const char c : {' ', '\t', '\r', '\v', '\f'})
        add(c, is_blank);
    for (char c = '0'; c <= '9'; ++c)
        add(c, is_digit | in_word | starts_number);
    for (char c = 'a'; c <= 'z'; ++c)
        add(c, starts_word | in_word);
    for (char c = 'A'; c <= 'Z'; ++c)
        add(c, starts_word | in_word);
    add('_', starts_word | in_word);
    for (const char c : {'+', '-', '.'})
        add(c, starts_number);
    return table;
}
constexpr auto kClasses = make_classes();

bool has(char c, std::uint8_t bits) {
    return (kClasses[static_cast<unsigned char>(c)] & bits) != 0;
}

constexpr char kEmptySource[17] = {}; // with the padding of Source
constexpr std::size_t kProgressStep = std::size_t{4} << 20;

// Whether a number begins here: an optional sign, an optional point and a digit. Excludes "inf" and
// "nan", which the conversion functions would accept.
bool number_at(const char* p) {
    if (*p == '+' || *p == '-') ++p;
    if (*p == '.') ++p;
    return has(*p, is_digit);
}

} // namespace

std::string describe(const Token& token) {
    constexpr std::size_t kMaxLength = 60;
    std::string text(token.text.substr(0, kMaxLength));
    if (token.text.size() > kMaxLength) text += "...";
    switch (token.kind) {
    case TokenKind::end:
        return "the end of the file";
    case TokenKind::string:
        return '"' + text + '"';
    case TokenKind::bytes:
        return "a byte string";
    case TokenKind::backquote:
        return "a binary block";
    default:
        return '\'' + text + '\'';
    }
}

std::string unescape(const Token& token) {
    if (!token.escaped) return std::string(token.text);
    std::string result;
    result.reserve(token.text.size());
    for (std::size_t i = 0; i < token.text.size(); ++i) {
        const char c = token.text[i];
        const bool escape = c == '\\' && i + 1 < token.text.size() &&
                            (token.text[i + 1] == '"' || token.text[i + 1] == '\\');
        result += escape ? token.text[++i] : c;
    }
    return result;
}

Lexer::Lexer(Diagnostics& diagnostics, Substitution& substitution, const ReaderSettings& settings)
    : m_diagnostics(diagnostics),
      m_substitution(substitution),
      m_settings(settings),
      m_p(kEmptySource),
      m_end(kEmptySource),
      m_line_start(kEmptySource) {}

void Lexer::open(std::unique_ptr<Source> source, const std::string& name, Location from,
                 std::string folder) {
    if (!m_frames.empty()) {
        m_frames.back().p = m_p;
        m_frames.back().line = m_line;
        m_frames.back().line_start = m_line_start;
    }
    Frame frame;
    frame.file = m_diagnostics.add_file(name, from);
    frame.folder = std::move(folder);
    m_p = m_line_start = source->begin();
    m_end = source->end();
    m_line = 1;
    m_file = frame.file;
    frame.source = std::move(source);
    m_frames.push_back(std::move(frame));
    m_progress_mark = m_p;
    if (*m_p == '$') directive();
}

bool Lexer::pop() {
    if (m_frames.empty()) return false;
    const bool was_top = m_frames.size() == 1;
    for (const Condition& condition : m_frames.back().conditions)
        m_diagnostics.error(condition.where, "$if without $endif");
    if (was_top && m_settings.progress)
        m_settings.progress(m_frames.back().source->size(), m_frames.back().source->size());
    // Tokens may still refer to it.
    m_retired.push_back(std::move(m_frames.back().source));
    m_frames.pop_back();
    if (m_frames.empty()) {
        m_last_place = place();
        m_p = m_end = kEmptySource;
        return false;
    }
    const Frame& frame = m_frames.back();
    m_p = frame.p;
    m_end = frame.source->end();
    m_line = frame.line;
    m_line_start = frame.line_start;
    m_file = frame.file;
    m_progress_mark = m_p;
    return true;
}

void Lexer::close_all() {
    for (Frame& frame : m_frames)
        m_retired.push_back(std::move(frame.source));
    m_frames.clear();
    m_p = m_end = m_line_start = kEmptySource;
}

void Lexer::report_progress() {
    if (m_settings.interrupted()) throw ReadingInterrupted{};
    if (m_frames.size() == 1 && m_settings.progress) {
        const auto done = static_cast<std::size_t>(m_p - m_frames.front().source->begin());
        m_settings.progress(done, m_frames.front().source->size());
    }
    m_progress_mark = remaining() > kProgressStep ? m_p + kProgressStep : m_end;
}

void Lexer::newline() {
    ++m_line;
    m_line_start = m_p;
    if (m_p > m_progress_mark) [[unlikely]] {
        if (m_p < m_end) report_progress();
    }
    if (*m_p == '$') [[unlikely]]
        directive();
}

int Lexer::skip() {
    for (;;) {
        while (has(*m_p, is_blank))
            ++m_p;
        switch (*m_p) {
        case '\n':
            ++m_p;
            newline();
            break;
        case '#': {
            const void* const found = std::memchr(m_p, '\n', remaining());
            m_p = found != nullptr ? static_cast<const char*>(found) : m_end;
            break;
        }
        case '\0':
            if (m_p < m_end) return 0;
            if (!pop()) return -1;
            break;
        case '$':
            if (!has(m_p[1], starts_word)) return '$';
            open_variable();
            break;
        default:
            return static_cast<unsigned char>(*m_p);
        }
    }
}

Location Lexer::place() const {
    if (m_p == kEmptySource) return m_last_place;
    return {m_file, m_line, static_cast<std::uint32_t>(m_p - m_line_start + 1)};
}

bool Lexer::is_first() const {
    const char* q = m_p;
    while (q > m_line_start && has(q[-1], is_blank))
        --q;
    return q == m_line_start;
}

void Lexer::fail(const std::string& expected) {
    Token token = next();
    throw SyntaxError{token.where, "expected " + expected + ", found " + describe(token)};
}

int Lexer::peek() {
    return skip();
}

bool Lexer::at_number() {
    const int c = skip();
    return c > 0 && has(static_cast<char>(c), starts_number) && number_at(m_p);
}

namespace {

// Converts numbers that from_chars reports as out of range, to infinity or to a number close to 0.
double convert_slowly(const char* begin, const char* end) {
    const std::string copy(begin, end);
    return std::strtod(copy.c_str(), nullptr);
}

} // namespace

float Lexer::raw_float() {
    if (!at_number()) fail("a number");
    m_number = m_p;
    const char* const start = *m_p == '+' ? m_p + 1 : m_p;
    float value = 0;
    const auto [behind, status] = std::from_chars(start, m_end, value);
    if (status != std::errc{}) {
        const double exact = convert_slowly(start, behind);
        if (std::abs(exact) > 1) throw SyntaxError{place(), "the number is too large"};
        value = static_cast<float>(exact);
    }
    if (has(*behind, in_word)) fail("a number");
    m_p = behind;
    return value;
}

std::int32_t Lexer::raw_integer() {
    if (!at_number()) fail("an integer");
    m_number = m_p;
    const char* const start = *m_p == '+' ? m_p + 1 : m_p;
    std::int32_t value = 0;
    const auto [behind, status] = std::from_chars(start, m_end, value);
    if (status != std::errc{} || has(*behind, in_word) || *behind == '.') fail("an integer");
    m_p = behind;
    return value;
}

char Lexer::raw_letter() {
    const int c = skip();
    if (c <= 0 || !has(static_cast<char>(c), starts_word) || has(m_p[1], in_word)) return 0;
    return static_cast<char>(c);
}

bool Lexer::raw_accept(std::string_view word) {
    if (skip() < 0 || remaining() < word.size()) return false;
    if (std::memcmp(m_p, word.data(), word.size()) != 0 || has(m_p[word.size()], in_word))
        return false;
    m_p += word.size();
    return true;
}

bool Lexer::at_word_start() {
    const int c = skip();
    return c > 0 && has(static_cast<char>(c), starts_word);
}

std::string_view Lexer::raw_block(std::size_t size) {
    if (size >= remaining() || m_p[size] != '`')
        throw SyntaxError{place(),
                          "the binary block is not " + std::to_string(size) + " bytes long"};
    const std::string_view block(m_p, size);
    for (const char* q = m_p;
         (q = static_cast<const char*>(
              std::memchr(q, '\n', static_cast<std::size_t>(m_p + size - q)))) != nullptr;) {
        ++m_line;
        m_line_start = ++q;
    }
    m_p += size + 1;
    return block;
}

void Lexer::unread(const Token& token) {
    if (token.kind == TokenKind::end) return;
    m_p = token.text.data();
    if (token.kind == TokenKind::string || token.kind == TokenKind::bytes) --m_p;
    // A byte string may span lines.
    if (m_line != token.where.line) {
        m_line = token.where.line;
        m_line_start = m_p - (token.where.column - 1);
    }
}

Token Lexer::next() {
    const int c = skip();
    Token token;
    token.where = place();
    if (c < 0) return token;
    token.first = is_first();
    const char* const start = m_p;
    const char byte = static_cast<char>(c);
    if (has(byte, starts_word)) {
        while (has(*m_p, in_word))
            ++m_p;
        token.kind = TokenKind::word;
        token.text = {start, static_cast<std::size_t>(m_p - start)};
        return token;
    }
    if (byte == '"') return string_token(token);
    if (number_at(m_p)) return number_token(token);
    if (byte == '\'') return bytes_token(token);
    token.text = {start, 1};
    ++m_p;
    if (byte == '`') {
        token.kind = TokenKind::backquote;
    } else if (c > 0 && std::strchr("()[]{},=%", c) != nullptr) {
        token.kind = TokenKind::mark;
    } else {
        constexpr int kFirstPrintable = 0x20, kDelete = 0x7f;
        std::string shown = "'" + std::string(1, byte) + "'";
        if (c < kFirstPrintable || c >= kDelete) shown = "byte " + std::to_string(c);
        throw SyntaxError{token.where, "unexpected character " + shown};
    }
    return token;
}

Token Lexer::number_token(Token token) {
    const char* const start = *m_p == '+' ? m_p + 1 : m_p;
    const auto whole = std::from_chars(start, m_end, token.integer);
    const auto any = std::from_chars(start, m_end, token.real);
    const char* behind = any.ptr;
    token.text = {m_p, static_cast<std::size_t>(behind - m_p)};
    token.kind = whole.ptr == behind ? TokenKind::integer : TokenKind::real;
    if (token.kind == TokenKind::integer && whole.ec != std::errc{})
        token.kind = TokenKind::real; // too large for an integer
    m_p = behind;
    if (any.ec != std::errc{}) {
        token.real = convert_slowly(start, behind);
        if (std::abs(token.real) > 1) throw SyntaxError{token.where, "the number is too large"};
    }
    if (has(*m_p, in_word)) {
        while (has(*m_p, in_word))
            ++m_p;
        throw SyntaxError{token.where, "'" + std::string(token.text.data(), m_p) +
                                           "' is not a valid number or name"};
    }
    return token;
}

Token Lexer::string_token(Token token) {
    const char* const start = ++m_p;
    for (;; ++m_p) {
        if (*m_p == '"') break;
        if (*m_p == '\n' || *m_p == '\0')
            throw SyntaxError{token.where, "the string has no closing quote"};
        if (*m_p == '\\' && (m_p[1] == '"' || m_p[1] == '\\')) {
            token.escaped = true;
            ++m_p;
        }
    }
    token.kind = TokenKind::string;
    token.text = {start, static_cast<std::size_t>(m_p - start)};
    ++m_p;
    return token;
}

Token Lexer::bytes_token(Token token) {
    const char* const start = ++m_p;
    for (; *m_p != '\''; ++m_p) {
        const bool hex =
            has(*m_p, is_digit) || (*m_p >= 'a' && *m_p <= 'f') || (*m_p >= 'A' && *m_p <= 'F');
        if (*m_p == '\n') {
            ++m_line;
            m_line_start = m_p + 1;
        } else if (!hex && !has(*m_p, is_blank)) {
            throw SyntaxError{place(), "byte strings may contain hexadecimal digits only"};
        }
    }
    token.kind = TokenKind::bytes;
    token.text = {start, static_cast<std::size_t>(m_p - start)};
    ++m_p;
    return token;
}

} // namespace vx::scene
