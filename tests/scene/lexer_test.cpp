#include "host/scene/lexer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

// The tokens of a text as strings, and errors as "error line:column: …".
std::vector<std::string> tokens(std::string_view text) {
    Diagnostics diagnostics;
    Substitution substitution;
    const ReaderSettings settings;
    Lexer lexer(diagnostics, substitution, settings);
    std::string error;
    lexer.open(Source::from_text(text, error), "t", {});
    std::vector<std::string> result;
    for (;;) {
        try {
            const Token token = lexer.next();
            if (token.kind == TokenKind::end) return result;
            std::string shown = describe(token);
            if (token.kind == TokenKind::integer) shown = "i" + std::to_string(token.integer);
            if (token.kind == TokenKind::real) shown = "r" + std::to_string(token.real);
            if (token.kind == TokenKind::string) shown = '"' + unescape(token) + '"';
            result.push_back(shown);
        } catch (const SyntaxError& e) {
            result.push_back("error " + std::to_string(e.where.line) + ':' +
                             std::to_string(e.where.column) + ": " + e.text);
        }
    }
}

TEST(Lexer, Numbers) {
    EXPECT_THAT(tokens("1 -2 +3 007 2147483647 -2147483648"),
                ElementsAre("i1", "i-2", "i3", "i7", "i2147483647", "i-2147483648"));
    EXPECT_THAT(tokens("1.0 .5 2. -1e3 +.25E-1 1e+2"),
                ElementsAre("r1.000000", "r0.500000", "r2.000000", "r-1000.000000", "r0.025000",
                            "r100.000000"));
    EXPECT_THAT(tokens("1e-400"), ElementsAre("r0.000000"));
    EXPECT_THAT(tokens("99999999999999999999"), ElementsAre("r100000000000000000000.000000"));
}

TEST(Lexer, InvalidNumbers) {
    EXPECT_THAT(tokens("1e400 ok"), ElementsAre("error 1:1: the number is too large", "'ok'"));
    EXPECT_THAT(tokens("12ab ok"),
                ElementsAre("error 1:1: '12ab' is not a valid number or name", "'ok'"));
    EXPECT_THAT(tokens("1e"), ElementsAre("error 1:1: '1e' is not a valid number or name"));
    EXPECT_THAT(tokens("inf nan"), ElementsAre("'inf'", "'nan'"));
    EXPECT_THAT(tokens("-inf"), ElementsAre("error 1:1: unexpected character '-'", "'inf'"));
    EXPECT_THAT(tokens("."), ElementsAre("error 1:1: unexpected character '.'"));
}

TEST(Lexer, StringsKeepAllButTheirTwoEscapes) {
    EXPECT_THAT(tokens(R"("a b" "|x:y!1.2" "" "q\"q" "b\\" "c\n")"),
                ElementsAre("\"a b\"", "\"|x:y!1.2\"", "\"\"", "\"q\"q\"", "\"b\\\"", "\"c\\n\""));
}

TEST(Lexer, AStringDoesNotGoOverTheLineEnd) {
    EXPECT_THAT(tokens("a \"b\nc"),
                ElementsAre("'a'", "error 1:3: the string has no closing quote", "'c'"));
    EXPECT_THAT(tokens("\"b"), ElementsAre("error 1:1: the string has no closing quote"));
}

TEST(Lexer, CommentsGoToTheLineEnd) {
    EXPECT_THAT(tokens("a#b\n#c\nd #"), ElementsAre("'a'", "'d'"));
    EXPECT_THAT(tokens("\"a#b\""), ElementsAre("\"a#b\""));
}

TEST(Lexer, MarksNeedNoBlanks) {
    EXPECT_THAT(tokens("(a){b}[c],=%"), ElementsAre("'('", "'a'", "')'", "'{'", "'b'", "'}'", "'['",
                                                    "'c'", "']'", "','", "'='", "'%'"));
}

TEST(Lexer, ByteStringsMayBreakLines) {
    EXPECT_THAT(tokens("'00ff\n3a' x"), ElementsAre("a byte string", "'x'"));
    EXPECT_THAT(tokens("'0g'").front(),
                "error 1:3: byte strings may contain hexadecimal digits only");
}

TEST(Lexer, LineEndsOfOtherSystems) {
    EXPECT_THAT(tokens("a\r\nb\r\n"), ElementsAre("'a'", "'b'"));
}

TEST(Lexer, OtherBytesAreErrorsThatNameThem) {
    EXPECT_THAT(tokens("a ? b"), ElementsAre("'a'", "error 1:3: unexpected character '?'", "'b'"));
    EXPECT_THAT(tokens(std::string_view("a\0b", 3)),
                ElementsAre("'a'", "error 1:2: unexpected character byte 0", "'b'"));
    EXPECT_THAT(tokens("\xff"), ElementsAre("error 1:1: unexpected character byte 255"));
    EXPECT_THAT(tokens("a $ b"), ElementsAre("'a'", "error 1:3: unexpected character '$'", "'b'"));
}

TEST(Lexer, PlacesCountFromOne) {
    Diagnostics diagnostics;
    Substitution substitution;
    const ReaderSettings settings;
    Lexer lexer(diagnostics, substitution, settings);
    std::string error;
    lexer.open(Source::from_text("a\n\n  bb 'ab\nc' d", error), "t", {});
    EXPECT_EQ(lexer.next().where, (Location{1, 1, 1}));
    const Token b = lexer.next();
    EXPECT_EQ(b.where, (Location{1, 3, 3}));
    EXPECT_TRUE(b.first);
    const Token bytes = lexer.next();
    EXPECT_EQ(bytes.where, (Location{1, 3, 6}));
    EXPECT_FALSE(bytes.first);
    lexer.unread(bytes);
    EXPECT_EQ(lexer.next().where, (Location{1, 3, 6}));
    EXPECT_EQ(lexer.next().where, (Location{1, 4, 4}));
}

TEST(Lexer, RawReadingAndTokensMix) {
    Diagnostics diagnostics;
    Substitution substitution;
    const ReaderSettings settings;
    Lexer lexer(diagnostics, substitution, settings);
    std::string error;
    lexer.open(Source::from_text("1 2.5 -3 v cp `abc` x", error), "t", {});
    EXPECT_EQ(lexer.raw_integer(), 1);
    EXPECT_EQ(lexer.raw_float(), 2.5f);
    EXPECT_EQ(lexer.raw_integer(), -3);
    EXPECT_EQ(lexer.raw_letter(), 'v');
    EXPECT_EQ(lexer.next().text, "v");
    EXPECT_EQ(lexer.raw_letter(), 0);
    EXPECT_FALSE(lexer.raw_accept("c"));
    EXPECT_TRUE(lexer.raw_accept("cp"));
    EXPECT_EQ(lexer.peek(), '`');
    lexer.skip_byte();
    EXPECT_THROW(lexer.raw_block(2), SyntaxError);
    EXPECT_THROW(lexer.raw_block(1000), SyntaxError);
    EXPECT_EQ(lexer.raw_block(3), "abc");
    EXPECT_THROW(lexer.raw_integer(), SyntaxError);
    EXPECT_EQ(lexer.peek(), -1);
}

TEST(Lexer, RawIntegersRefuseReals) {
    for (const char* text : {"1.5", "1e3", "3000000000", "x"}) {
        Diagnostics diagnostics;
        Substitution substitution;
        const ReaderSettings settings;
        Lexer lexer(diagnostics, substitution, settings);
        std::string error;
        lexer.open(Source::from_text(text, error), "t", {});
        EXPECT_THROW(lexer.raw_integer(), SyntaxError) << text;
    }
}

} // namespace
