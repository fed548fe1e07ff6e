/// @file
/// The tokens of a USD text file.
#pragma once

#include "cache/cloud/error.h"
#include "cache/cloud/file.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vx::cache {

struct UsdaToken {
    enum class Kind { end, word, string, punctuation } kind = Kind::end;
    std::string text;        ///< of strings and references without the quotes
    std::int64_t offset = 0; ///< of its first byte in the file
};

/// Splits a file into tokens, one of which is the current one; comments and blanks are skipped.
/// Members that move on throw FileError if the file is damaged.
class UsdaLexer {
  public:
    /// Moves to the first token. The file must outlive the lexer.
    explicit UsdaLexer(const InputFile& file) : m_reader(file, 0, file.size()) { next(); }
    const UsdaToken& token() const { return m_token; }
    bool is(char c) const {
        return m_token.kind == UsdaToken::Kind::punctuation && m_token.text[0] == c;
    }
    bool is_word(std::string_view word) const {
        return m_token.kind == UsdaToken::Kind::word && m_token.text == word;
    }
    bool at_end() const { return m_token.kind == UsdaToken::Kind::end; }
    void next();
    /// Throws FileError at the current token.
    [[noreturn]] void fail(const std::string& why) const {
        throw FileError(m_reader.file().name(), m_token.offset, why);
    }
    /// Moves on if the current token is this punctuation, else fails.
    void expect(char c) {
        if (!is(c)) {
            fail(std::string("expected '") + c + "' here" + (at_end() ? ", the file ends" : ""));
        }
        next();
    }
    /// Skips the current token; if it opens a bracket, also what follows up to the closing one.
    void skip_value();
    /// Removes the first `bytes` bytes of the current word, and moves on if nothing is left. For
    /// words such as "1:None", which the lexer does not split.
    void cut(std::size_t bytes) {
        m_token.text.erase(0, bytes);
        m_token.offset += static_cast<std::int64_t>(bytes);
        if (m_token.text.empty()) next();
    }

  private:
    void skip_blanks();
    int read_escape();
    void read_quoted(char quote);

    ByteReader m_reader;
    UsdaToken m_token;
};

} // namespace vx::cache
