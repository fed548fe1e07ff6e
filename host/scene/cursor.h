// The grammar's view of the text: one token in hand, and the questions one asks of it.
#pragma once

#include "host/scene/lexer.h"

#include <initializer_list>

namespace vx::scene {

class Cursor {
  public:
    Cursor(Lexer& lexer, Diagnostics& diagnostics) : m_lexer(lexer), m_diagnostics(diagnostics) {}

    const Token& token() const { return m_token; }
    Location where() const { return m_token.where; }
    // Counts tokens taken: tells whether a parser that failed has moved.
    std::uint64_t taken() const { return m_taken; }

    // Text that makes no token becomes a bad one, which nothing accepts; fail() tells why.
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

    // Takes the token when it is this one.
    bool accept(std::string_view word);
    bool accept_mark(char mark);

    // Take what must be there; throw SyntaxError with what was found instead.
    void expect(std::string_view word);
    void expect_mark(char mark);
    std::string name(const char* what);   // quoted or not
    std::string string(const char* what); // quoted
    bool boolean();
    int integer();
    int integer_from(int lowest, const char* what);
    std::uint32_t label(); // any 32-bit number, signed or not
    float number();
    Vec3 vector(); // three numbers, or a binary vector
    Matrix matrix();
    Color color(float alpha);              // three numbers and perhaps a fourth
    bool boolean_or(bool missing);         // 'on', or nothing
    std::vector<std::byte> byte_strings(); // '00ff' '3a' …: all that stand in a row

    [[noreturn]] void fail(const std::string& expected) const;
    [[noreturn]] void fail_at(Location place, const std::string& text) const;

    // Geometry reads the buffer itself. Between the two the token in hand must not be used.
    Lexer& raw();
    void end_raw() { advance(); }

    // Over brackets and what is in them; the token in hand is the opening one.
    void skip_brackets();
    // Skips to just behind `end kind`, or before what seems to begin the next statement.
    void skip_statement(std::string_view kind);
    // The token in hand seems to begin a statement at the first column.
    bool at_statement() const;
    // Over a binary block of unknown length; the token in hand is the backquote.
    void skip_binary(std::size_t expected);

    Diagnostics& diagnostics() { return m_diagnostics; }

  private:
    Lexer& m_lexer;
    Diagnostics& m_diagnostics;
    Token m_token;
    std::uint64_t m_taken = 0;
    std::string m_bad; // why the token in hand is bad
};

// Reads `kind NAME … end kind` items until the end. After an error in an item the reading goes on
// at the next word that begins a line. False: there was an error.
template <class Item>
bool parse_items(Cursor& cursor, std::string_view kind, Item&& item) {
    bool good = true;
    while (!cursor.at("end")) {
        if (cursor.at_end()) cursor.fail("'end " + std::string(kind) + "'");
        const std::uint64_t before = cursor.taken();
        try {
            item();
        } catch (const SyntaxError& error) {
            // A statement where an item should be: the end of this one was forgotten.
            if (cursor.taken() == before && cursor.at_statement()) throw;
            good = false;
            cursor.diagnostics().error(error.where, error.text);
            if (cursor.taken() == before) cursor.advance();
            while (!cursor.at_end() && !cursor.at("end") && !cursor.at_statement() &&
                   !(cursor.at_word() && cursor.token().first))
                cursor.advance();
            if (cursor.at_statement())
                cursor.fail_at(cursor.where(),
                               "'end " + std::string(kind) + "' is missing before this statement");
        }
    }
    cursor.advance();
    cursor.expect(kind);
    return good;
}

} // namespace vx::scene
