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
constexpr auto classes = make_classes();

bool has(char c, std::uint8_t bits) {
    return (classes[static_cast<unsigned char>(c)] & bits) != 0;
}

constexpr char nothing[17] = {};
constexpr std::size_t progress_step = std::size_t{4} << 20;

// A sign, a point and digits: what a number may begin with, tested before any conversion, so that
// no "inf" or "nan" gets through.
bool number_at(const char* p) {
    if (*p == '+' || *p == '-') ++p;
    if (*p == '.') ++p;
    return has(*p, is_digit);
}

} // namespace

std::string describe(const Token& token) {
    constexpr std::size_t longest = 60;
    std::string text(token.text.substr(0, longest));
    if (token.text.size() > longest) text += "...";
    switch (token.kind) {
    case TokenKind::end:
        return "the end of the text";
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
    : diagnostics_(diagnostics),
      substitution_(substitution),
      settings_(settings),
      p_(nothing),
      end_(nothing),
      line_start_(nothing) {}

void Lexer::open(std::unique_ptr<Source> source, const std::string& name, Location from,
                 std::string folder) {
    if (!frames_.empty()) {
        frames_.back().p = p_;
        frames_.back().line = line_;
        frames_.back().line_start = line_start_;
    }
    Frame frame;
    frame.file = diagnostics_.add_file(name, from);
    frame.folder = std::move(folder);
    p_ = line_start_ = source->begin();
    end_ = source->end();
    line_ = 1;
    file_ = frame.file;
    frame.source = std::move(source);
    frames_.push_back(std::move(frame));
    progress_mark_ = frames_.size() == 1 && settings_.progress ? p_ : end_;
    if (*p_ == '$') directive();
}

bool Lexer::pop() {
    if (frames_.empty()) return false;
    const bool was_top = frames_.size() == 1;
    for (const Condition& condition : frames_.back().conditions)
        diagnostics_.error(condition.where, "this $if has no $endif");
    if (was_top && settings_.progress)
        settings_.progress(frames_.back().source->size(), frames_.back().source->size());
    // Tokens may still look into it.
    retired_.push_back(std::move(frames_.back().source));
    frames_.pop_back();
    if (frames_.empty()) {
        last_place_ = place();
        p_ = end_ = nothing;
        return false;
    }
    const Frame& frame = frames_.back();
    p_ = frame.p;
    end_ = frame.source->end();
    line_ = frame.line;
    line_start_ = frame.line_start;
    file_ = frame.file;
    progress_mark_ = frames_.size() == 1 && settings_.progress ? p_ : end_;
    return true;
}

void Lexer::close_all() {
    for (Frame& frame : frames_)
        retired_.push_back(std::move(frame.source));
    frames_.clear();
    p_ = end_ = line_start_ = nothing;
}

void Lexer::report_progress() {
    const auto done = static_cast<std::size_t>(p_ - frames_.front().source->begin());
    settings_.progress(done, frames_.front().source->size());
    progress_mark_ = remaining() > progress_step ? p_ + progress_step : end_;
}

void Lexer::newline() {
    ++line_;
    line_start_ = p_;
    if (p_ > progress_mark_) [[unlikely]] {
        if (p_ < end_) report_progress();
    }
    if (*p_ == '$') [[unlikely]]
        directive();
}

int Lexer::skip() {
    for (;;) {
        while (has(*p_, is_blank))
            ++p_;
        switch (*p_) {
        case '\n':
            ++p_;
            newline();
            break;
        case '#': {
            const void* const found = std::memchr(p_, '\n', remaining());
            p_ = found ? static_cast<const char*>(found) : end_;
            break;
        }
        case '\0':
            if (p_ < end_) return 0;
            if (!pop()) return -1;
            break;
        default:
            return static_cast<unsigned char>(*p_);
        }
    }
}

Location Lexer::place() const {
    if (p_ == nothing) return last_place_;
    return {file_, line_, static_cast<std::uint32_t>(p_ - line_start_ + 1)};
}

bool Lexer::is_first() const {
    const char* q = p_;
    while (q > line_start_ && has(q[-1], is_blank))
        --q;
    return q == line_start_;
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
    return c > 0 && has(static_cast<char>(c), starts_number) && number_at(p_);
}

namespace {

// As strtod, for what from_chars finds out of range: infinity or a number next to zero.
double convert_slowly(const char* begin, const char* end) {
    const std::string copy(begin, end);
    return std::strtod(copy.c_str(), nullptr);
}

} // namespace

float Lexer::raw_float() {
    if (!at_number()) fail("a number");
    number_ = p_;
    const char* const start = *p_ == '+' ? p_ + 1 : p_;
    float value = 0;
    const auto [behind, status] = std::from_chars(start, end_, value);
    if (status != std::errc{}) {
        const double exact = convert_slowly(start, behind);
        if (std::abs(exact) > 1) throw SyntaxError{place(), "this number is too large"};
        value = static_cast<float>(exact);
    }
    if (has(*behind, in_word)) fail("a number");
    p_ = behind;
    return value;
}

std::int32_t Lexer::raw_integer() {
    if (!at_number()) fail("an integer");
    number_ = p_;
    const char* const start = *p_ == '+' ? p_ + 1 : p_;
    std::int32_t value = 0;
    const auto [behind, status] = std::from_chars(start, end_, value);
    if (status != std::errc{} || has(*behind, in_word) || *behind == '.') fail("an integer");
    p_ = behind;
    return value;
}

char Lexer::raw_letter() {
    const int c = skip();
    if (c <= 0 || !has(static_cast<char>(c), starts_word) || has(p_[1], in_word)) return 0;
    return static_cast<char>(c);
}

bool Lexer::raw_accept(std::string_view word) {
    if (skip() < 0 || remaining() < word.size()) return false;
    if (std::memcmp(p_, word.data(), word.size()) != 0 || has(p_[word.size()], in_word))
        return false;
    p_ += word.size();
    return true;
}

bool Lexer::at_word_start() {
    const int c = skip();
    return c > 0 && has(static_cast<char>(c), starts_word);
}

std::string_view Lexer::raw_block(std::size_t size) {
    if (size >= remaining() || p_[size] != '`')
        throw SyntaxError{place(), "this binary block does not hold " + std::to_string(size) +
                                       " bytes and a closing backquote"};
    const std::string_view block(p_, size);
    for (const char* q = p_; (q = static_cast<const char*>(std::memchr(
                                  q, '\n', static_cast<std::size_t>(p_ + size - q)))) != nullptr;) {
        ++line_;
        line_start_ = ++q;
    }
    p_ += size + 1;
    return block;
}

void Lexer::unread(const Token& token) {
    if (token.kind == TokenKind::end) return;
    p_ = token.text.data();
    if (token.kind == TokenKind::string || token.kind == TokenKind::bytes) --p_;
    // A byte string may span lines.
    if (line_ != token.where.line) {
        line_ = token.where.line;
        line_start_ = p_ - (token.where.column - 1);
    }
}

Token Lexer::next() {
    const int c = skip();
    Token token;
    token.where = place();
    if (c < 0) return token;
    token.first = is_first();
    const char* const start = p_;
    const char byte = static_cast<char>(c);
    if (has(byte, starts_word)) {
        while (has(*p_, in_word))
            ++p_;
        token.kind = TokenKind::word;
        token.text = {start, static_cast<std::size_t>(p_ - start)};
        return token;
    }
    if (byte == '"') return string_token(token);
    if (number_at(p_)) return number_token(token);
    if (byte == '\'') return bytes_token(token);
    token.text = {start, 1};
    ++p_;
    if (byte == '`') {
        token.kind = TokenKind::backquote;
    } else if (c > 0 && std::strchr("()[]{},=%", c)) {
        token.kind = TokenKind::mark;
    } else {
        constexpr int first_printable = 0x20, first_beyond = 0x7f;
        std::string shown = "'" + std::string(1, byte) + "'";
        if (c < first_printable || c >= first_beyond) shown = "byte " + std::to_string(c);
        throw SyntaxError{token.where, "unexpected character " + shown};
    }
    return token;
}

Token Lexer::number_token(Token token) {
    const char* const start = *p_ == '+' ? p_ + 1 : p_;
    const auto whole = std::from_chars(start, end_, token.integer);
    const auto any = std::from_chars(start, end_, token.real);
    const char* behind = any.ptr;
    token.text = {p_, static_cast<std::size_t>(behind - p_)};
    token.kind = whole.ptr == behind ? TokenKind::integer : TokenKind::real;
    if (token.kind == TokenKind::integer && whole.ec != std::errc{})
        token.kind = TokenKind::real; // too long for any integer; a real all the same
    p_ = behind;
    if (any.ec != std::errc{}) {
        token.real = convert_slowly(start, behind);
        if (std::abs(token.real) > 1) throw SyntaxError{token.where, "this number is too large"};
    }
    if (has(*p_, in_word)) {
        while (has(*p_, in_word))
            ++p_;
        throw SyntaxError{token.where, "'" + std::string(token.text.data(), p_) +
                                           "' is neither a number nor a name"};
    }
    return token;
}

Token Lexer::string_token(Token token) {
    const char* const start = ++p_;
    for (;; ++p_) {
        if (*p_ == '"') break;
        if (*p_ == '\n' || *p_ == '\0')
            throw SyntaxError{token.where, "this string has no closing quote on its line"};
        if (*p_ == '\\' && (p_[1] == '"' || p_[1] == '\\')) {
            token.escaped = true;
            ++p_;
        }
    }
    token.kind = TokenKind::string;
    token.text = {start, static_cast<std::size_t>(p_ - start)};
    ++p_;
    return token;
}

Token Lexer::bytes_token(Token token) {
    const char* const start = ++p_;
    for (; *p_ != '\''; ++p_) {
        const bool hex =
            has(*p_, is_digit) || (*p_ >= 'a' && *p_ <= 'f') || (*p_ >= 'A' && *p_ <= 'F');
        if (*p_ == '\n') {
            ++line_;
            line_start_ = p_ + 1;
        } else if (!hex && !has(*p_, is_blank)) {
            throw SyntaxError{place(), "a byte string holds pairs of hexadecimal digits only"};
        }
    }
    token.kind = TokenKind::bytes;
    token.text = {start, static_cast<std::size_t>(p_ - start)};
    ++p_;
    return token;
}

} // namespace vx::scene
