// Tokens of scene text, with $ lines carried out on the way.
#pragma once

#include "host/scene/reader.h"
#include "host/scene/source.h"

#include <map>

namespace vx::scene {

// Thrown inside the reader only, and caught at the statement or item that it spoils.
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
    backquote, // a binary block or vector starts behind it
    bad        // text that is no token; Cursor knows why
};

struct Token {
    TokenKind kind = TokenKind::end;
    bool escaped = false; // string: holds escapes
    bool first = false;   // first on its line
    Location where;
    std::string_view text; // string: without its quotes. Good until the next statement begins.
    std::int64_t integer = 0;
    double real = 0; // of both kinds of numbers
};

// As an error message names it: 'word', "string", end of file.
std::string describe(const Token& token);

/*
 * Two ways to read: next() makes tokens for the grammar; the raw functions read numbers, letters
 * and binary data of geometry straight from the buffer. Text and $include'd files form one stream.
 */
class Lexer {
  public:
    Lexer(Diagnostics& diagnostics, Substitution& substitution, const ReaderSettings& settings);

    // A registry entry as lines of scene text, for $lookup. Values are kept in Substitution.
    void set_registry_actions(const std::string& name, std::string text);

    // Opens a file or text to be read next. Reports and returns false when it cannot be read.
    bool open_file(const std::string& path, Location from);
    void open(std::unique_ptr<Source> source, const std::string& name, Location from,
              std::string folder = {});
    void lookup(const std::string& name, Location where);
    // Forgets all open texts, after an error that ends the reading.
    void close_all();
    // Lets go of the texts that ended since the last call.
    void retire() { m_retired.clear(); }

    Token next();

    // The next significant byte without taking it, -1 at the end of all text.
    int peek();
    Location place() const;
    bool at_number();
    float raw_float();
    std::int32_t raw_integer();
    // The place of the number that was read last.
    Location number_place() const {
        return {m_file, m_line, static_cast<std::uint32_t>(m_number - m_line_start + 1)};
    }
    // The next word when it has one letter only, else 0. Does not take it.
    char raw_letter();
    // Takes the next word when it is this one.
    bool raw_accept(std::string_view word);
    bool at_word_start();
    // Steps over one byte that peek() has shown.
    void skip_byte() { ++m_p; }
    // Behind a backquote: `size` bytes and the closing backquote. Throws when they are not there.
    std::string_view raw_block(std::size_t size);
    // Bytes left in the present text: bounds what counts in headers may promise.
    std::size_t remaining() const { return static_cast<std::size_t>(m_end - m_p); }
    // Makes `token`, the one that next() gave last, the next again.
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
        std::string folder; // where names in it are looked for first; ends in a slash or is empty
        const char* line_start = nullptr;
        std::vector<Condition> conditions;
    };

    int skip();
    void newline();
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
    Location m_last_place;                 // where the last text ended, for errors at the end
    const char* m_progress_mark = nullptr; // beyond it, the progress is reported
    std::vector<Frame> m_frames;
    std::vector<std::unique_ptr<Source>> m_retired;
    std::map<std::string, std::string, std::less<>> m_registry_actions;
    std::size_t m_includes = 0;
};

// "a/b.mi": "a/"; "b.mi": nothing.
std::string folder_of(const std::string& path);

// Text of a string token with its escapes resolved.
std::string unescape(const Token& token);

} // namespace vx::scene
