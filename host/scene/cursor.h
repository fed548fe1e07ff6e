// The interface of the parser to the lexer: the current token, and functions that test and read it.
#pragma once

#include "host/scene/lexer.h"

#include <initializer_list>

namespace vx::scene {

class Cursor {
  public:
    Cursor(Lexer& lexer, Diagnostics& diagnostics) : m_lexer(lexer), m_diagnostics(diagnostics) {}

    const Token& token() const { return m_token; }
    Location where() const { return m_token.where; }
    // Number of tokens read. Shows whether a parser that failed has advanced.
    std::uint64_t taken() const { return m_taken; }

    // Reads the next token. Invalid text becomes a bad token, which no function accepts; fail()
    // reports the reason.
    void advance();
    bool at_end() const { return m_token.kind == TokenKind::end; }
    bool at(std::string_view word) const {
        return m_token.kind == TokenKind::word && m_token.text == word;
    }
    bool at_any(std::initializer_list<std::string_view> words) const;
    bool at_mark(char mark) const {
        return m_token.kind == TokenKind::mark && m_token.text.front() == mark;
    }
    bool at_word() const { return m_token.kind == TokenKind::word; }
    bool at_string() const { return m_token.kind == TokenKind::string; }
    bool at_integer() const { return m_token.kind == TokenKind::integer; }
    bool at_number() const { return at_integer() || m_token.kind == TokenKind::real; }
    bool at_bool() const { return at_any({"on", "off", "true", "false"}); }
    bool at_name() const { return at_string() || at_word(); }

    // Advances if the current token is this one.
    bool accept(std::string_view word);
    bool accept_mark(char mark);

    // Read a required token. Throw SyntaxError if the current token is a different one.
    void expect(std::string_view word);
    void expect_mark(char mark);
    std::string name(const char* what);   // quoted or not
    std::string string(const char* what); // quoted
    bool boolean();
    int integer();
    int integer_from(int lowest, const char* what);
    std::uint32_t label(); // any 32-bit integer, signed or unsigned
    float number();
    Vec3 vector(); // three numbers, or a binary vector
    Matrix matrix();
    Color color(float alpha);              // three numbers and an optional fourth
    bool boolean_or(bool missing);         // an optional boolean
    std::vector<std::byte> byte_strings(); // '00ff' '3a' …: consecutive byte strings

    [[noreturn]] void fail(const std::string& expected) const;
    [[noreturn]] void fail_at(Location place, const std::string& text) const;

    // For geometry, which is read directly from the buffer. The current token must not be used
    // between raw() and end_raw().
    Lexer& raw();
    void end_raw() { advance(); }

    // Skips brackets and their contents. The current token is the opening bracket.
    void skip_brackets();
    // Skips to after `end kind`, or to what appears to be the next statement.
    void skip_statement(std::string_view kind);
    // Whether the current token appears to begin a statement: a keyword in the first column.
    bool at_statement() const;
    // Skips a binary block of unknown length; `expected` is the likely one, or 0. The current token
    // is the backquote.
    void skip_binary(std::size_t expected);

    Diagnostics& diagnostics() { return m_diagnostics; }

  private:
    Lexer& m_lexer;
    Diagnostics& m_diagnostics;
    Token m_token;
    std::uint64_t m_taken = 0;
    std::string m_bad; // the error of a bad token
};

// Reads the items of a `kind NAME … end kind` block. After an error in an item, reading continues
// at the next word that begins a line. Returns false if there was an error.
template <class Item>
bool parse_items(Cursor& cursor, std::string_view kind, Item&& item) {
    bool good = true;
    while (!cursor.at("end")) {
        if (cursor.at_end()) cursor.fail("'end " + std::string(kind) + "'");
        const std::uint64_t before = cursor.taken();
        try {
            item();
        } catch (const SyntaxError& error) {
            // A statement instead of an item: the end of this block is missing.
            if (cursor.taken() == before && cursor.at_statement()) throw;
            good = false;
            cursor.diagnostics().error(error.where, error.text);
            if (cursor.taken() == before) cursor.advance();
            while (!cursor.at_end() && !cursor.at("end") && !cursor.at_statement() &&
                   !(cursor.at_word() && cursor.token().first))
                cursor.advance();
            if (cursor.at_statement())
                cursor.fail_at(cursor.where(),
                               "missing 'end " + std::string(kind) + "' before this statement");
        }
    }
    cursor.advance();
    cursor.expect(kind);
    return good;
}

} // namespace vx::scene
