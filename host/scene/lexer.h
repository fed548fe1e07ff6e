// The lexer: converts scene text to tokens and executes $ directives.
#pragma once

#include "host/scene/reader.h"
#include "host/scene/source.h"

#include <map>

namespace vx::scene {

// Thrown within the reader only, and caught at the enclosing statement or item.
struct SyntaxError {
    Location where;
    std::string text;
};

enum class TokenKind : std::uint8_t {
    end, // of all text
    word,
    string,
    integer,
    real,
    mark,      // ( ) [ ] { } , = %
    bytes,     // '00ff…': text holds the digits
    backquote, // the start of a binary block or vector
    bad        // invalid text; Cursor stores the error
};

struct Token {
    TokenKind kind = TokenKind::end;
    bool escaped = false; // string: holds escapes
    bool first = false;   // first on its line
    Location where;
    std::string_view text; // strings: without quotes. Valid until the next statement.
    std::int64_t integer = 0;
    double real = 0; // for integers, too
};

// The token as it appears in error messages: 'word', "string", the end of the file.
std::string describe(const Token& token);

// Thrown by a lexer that finds ReaderSettings::interrupt set.
struct ReadingInterrupted {};

// next() returns tokens for the parser. The raw functions read numbers, letters and binary data of
// geometry directly from the buffer. Included files are part of the same stream.
class Lexer {
  public:
    Lexer(Diagnostics& diagnostics, Substitution& substitution, const ReaderSettings& settings);

    // Stores the commands of a registry entry as scene text, for $lookup. Values are in
    // Substitution.
    void set_registry_actions(const std::string& name, std::string text);

    // Opens a file, which is read next. Reports an error and returns false if it cannot be read.
    bool open_file(const std::string& path, Location from);
    void open(std::unique_ptr<Source> source, const std::string& name, Location from,
              std::string folder = {});
    void lookup(const std::string& name, Location where);
    // Closes all open sources, after a fatal error.
    void close_all();
    // Releases the sources that ended since the last call.
    void retire() { m_retired.clear(); }

    Token next();

    // The next significant byte, without advancing; -1 at the end of the input.
    int peek();
    Location place() const;
    bool at_number();
    float raw_float();
    std::int32_t raw_integer();
    // Location of the last number read.
    Location number_place() const {
        return {m_file, m_line, static_cast<std::uint32_t>(m_number - m_line_start + 1)};
    }
    // The next word if it is a single letter, else 0. Does not advance.
    char raw_letter();
    // Advances if the next word is this one.
    bool raw_accept(std::string_view word);
    bool at_word_start();
    // Skips one byte, which peek() returned.
    void skip_byte() { ++m_p; }
    // Reads `size` bytes and the closing backquote, after an opening backquote. Throws SyntaxError
    // if the block has a different size.
    std::string_view raw_block(std::size_t size);
    // Number of bytes left in the current source. Bounds the counts in headers.
    std::size_t remaining() const { return static_cast<std::size_t>(m_end - m_p); }
    // Moves back to `token`, which must be the last result of next().
    void unread(const Token& token);

    [[noreturn]] void fail(const std::string& expected);

  private:
    struct Condition {
        Location where;
        bool taken = false, in_else = false;
    };
    struct Frame {
        std::unique_ptr<Source> source;
        const char* p = nullptr;
        std::uint32_t file = 0, line = 1;
        std::string folder; // searched first for include files; empty or with a trailing slash
        const char* line_start = nullptr;
        std::vector<Condition> conditions;
    };

    int skip();
    void newline();
    void open_variable();
    bool pop();
    void report_progress();
    Token number_token(Token token);
    Token string_token(Token token);
    Token bytes_token(Token token);
    bool is_first() const;

    // lexer_directives.cpp
    void directive();
    void include(std::string_view rest, Location where);
    void begin_condition(bool holds, Location where);
    void skip_inactive();
    bool holds(std::string_view word, std::string_view rest, Location where);
    std::string key_value(std::string_view key) const;
    std::optional<std::string> quoted(std::string_view& rest) const;
    void skip_code(Location where);
    std::string_view rest_of_line();
    std::string find_include(const std::string& name, bool path_first) const;

    Diagnostics& m_diagnostics;
    Substitution& m_substitution;
    const ReaderSettings& m_settings;

    const char *m_p, *m_end, *m_line_start; // of the innermost frame
    const char* m_number;
    std::uint32_t m_line = 1, m_file = 0;
    Location m_last_place; // end of the last source, for errors at the end of the input
    const char* m_progress_mark = nullptr; // position of the next progress report
    std::vector<Frame> m_frames;
    std::vector<std::unique_ptr<Source>> m_retired;
    std::map<std::string, std::string, std::less<>> m_registry_actions;
    std::size_t m_includes = 0;
};

// The folder of a path with a trailing slash: "a/" for "a/b.mi", empty for "b.mi".
std::string folder_of(const std::string& path);

// The text of a string token with escape sequences replaced.
std::string unescape(const Token& token);

} // namespace vx::scene
