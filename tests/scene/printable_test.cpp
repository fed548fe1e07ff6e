#include "host/scene/printable.h"

#include <gtest/gtest.h>

using vx::scene::printable;

TEST(Printable, PlainTextStays) {
    EXPECT_EQ(printable(""), "");
    EXPECT_EQ(printable(" a\tb\n~\\x1b"), " a\tb\n~\\x1b");
}

TEST(Printable, ControlCharactersAreEscaped) {
    EXPECT_EQ(printable("\x1b[2Ja\r\x7f\x01\x1f"), "\\x1b[2Ja\\x0d\\x7f\\x01\\x1f");
    EXPECT_EQ(printable(std::string_view("\0z", 2)), "\\x00z");
}

// The first and last characters of each length; next to them, what is no character.
TEST(Printable, CharactersOfUtf8Stay) {
    for (const char* const text :
         {"\u00a0", "\u07ff", "\u0800", "\ud7ff", "\ue000", "\uffff", "\U00010000", "\U0010ffff"})
        EXPECT_EQ(printable(text), text);
    EXPECT_EQ(printable("\xc2\x80 \xc2\x9f"), "\\xc2\\x80 \\xc2\\x9f") << "control characters";
    EXPECT_EQ(printable("\xc1\xbf"), "\\xc1\\xbf") << "too long";
    EXPECT_EQ(printable("\xe0\x9f\xbf"), "\\xe0\\x9f\\xbf") << "too long";
    EXPECT_EQ(printable("\xf0\x8f\xbf\xbf"), "\\xf0\\x8f\\xbf\\xbf") << "too long";
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "a surrogate";
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "above U+10FFFF";
    EXPECT_EQ(printable("\xf5\x80\x80\x80"), "\\xf5\\x80\\x80\\x80") << "above U+10FFFF";
    EXPECT_EQ(printable("\x9b"
                        "2J"),
              "\\x9b2J")
        << "no first byte";
    EXPECT_EQ(printable("\xc3"), "\\xc3") << "cut off";
    EXPECT_EQ(printable("\xe2\x82x"), "\\xe2\\x82x") << "cut off";
    EXPECT_EQ(printable("\xf0\x9f\x98"), "\\xf0\\x9f\\x98") << "cut off";
}
