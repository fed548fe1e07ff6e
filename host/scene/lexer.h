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
    void retire() { retired_.clear(); }

    Token next();

    // The next significant byte without taking it, -1 at the end of all text.
    int peek();
    Location place() const;
    bool at_number();
    float raw_float();
    std::int32_t raw_integer();
    // The place of the number that was read last.
    Location number_place() const {
        return {file_, line_, static_cast<std::uint32_t>(number_ - line_start_ + 1)};
    }
    // The next word when it has one letter only, else 0. Does not take it.
    char raw_letter();
    // Takes the next word when it is this one.
    bool raw_accept(std::string_view word);
    bool at_word_start();
    // Steps over one byte that peek() has shown.
    void skip_byte() { ++p_; }
    // Behind a backquote: `size` bytes and the closing backquote. Throws when they are not there.
    std::string_view raw_block(std::size_t size);
    // Bytes left in the present text: bounds what counts in headers may promise.
    std::size_t remaining() const { return static_cast<std::size_t>(end_ - p_); }
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

    Diagnostics& diagnostics_;
    Substitution& substitution_;
    const ReaderSettings& settings_;

    const char *p_, *end_, *line_start_; // of the innermost frame
    const char* number_;
    std::uint32_t line_ = 1, file_ = 0;
    Location last_place_;                 // where the last text ended, for errors at the end
    const char* progress_mark_ = nullptr; // beyond it, the progress is reported
    std::vector<Frame> frames_;
    std::vector<std::unique_ptr<Source>> retired_;
    std::map<std::string, std::string, std::less<>> registry_actions_;
    std::size_t includes_ = 0;
};

// "a/b.mi": "a/"; "b.mi": nothing.
std::string folder_of(const std::string& path);

// Text of a string token with its escapes resolved.
std::string unescape(const Token& token);

} // namespace vx::scene
