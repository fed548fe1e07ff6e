#include "tests/cache/picture/read_text.h"

#include <gtest/gtest.h>

#include <set>

using namespace vx::cache;

namespace {
constexpr Color kPaper{0, 0, 0};
constexpr Color kInk{0.5f, 1, 0.25f};
} // namespace

TEST(Font, EveryPrintableLetterIsDrawnAndNoTwoAreAlike) {
    std::set<std::array<std::uint8_t, kGlyphHeight>> seen;
    for (char c = ' '; c <= '~'; ++c) {
        EXPECT_TRUE(seen.insert(glyph(c)).second) << c;
        for (const std::uint8_t row : glyph(c))
            EXPECT_LT(row, 32) << c;
    }
    EXPECT_EQ(seen.size(), 95u);
}

TEST(Font, CapitalsAndNumbersStandOnTheLine) {
    for (const char c : std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789")) {
        EXPECT_NE(glyph(c)[0], 0) << c;
        EXPECT_NE(glyph(c)[6], 0) << c;
        EXPECT_EQ(glyph(c)[7] | glyph(c)[8], 0) << c;
    }
    for (const char c : std::string("gjpqy"))
        EXPECT_NE(glyph(c)[8], 0) << c;
}

TEST(Font, TheDotsOfALetter) {
    // 1 by hand: a stroke, a serif, a foot.
    const std::array<std::uint8_t, kGlyphHeight> one{4, 12, 4, 4, 4, 4, 14, 0, 0};
    EXPECT_EQ(glyph('1'), one);
}

TEST(Font, UnprintableCharactersAreQuestionMarks) {
    EXPECT_EQ(glyph('\n'), glyph('?'));
    EXPECT_EQ(glyph('\x7f'), glyph('?'));
    EXPECT_EQ(glyph(static_cast<char>(0xc3)), glyph('?'));
}

TEST(Font, TextIsScaledDotByDot) {
    for (const int scale : {1, 2, 3}) {
        Picture picture(400, 40, kPaper);
        draw_text(picture, 5, 7, scale, "opacityPP 0.25", kInk);
        EXPECT_EQ(read_text(picture, 5, 7, scale, kInk), "opacityPP 0.25");
        EXPECT_EQ(text_width("opacityPP 0.25", scale), (14 * 6 - 1) * scale);
    }
    EXPECT_EQ(text_width("", 3), 0);
}

TEST(Font, TextOutsideThePictureIsClipped) {
    Picture picture(10, 10, kPaper);
    draw_text(picture, -3, -3, 2, "WWWW", kInk);
    draw_text(picture, 8, 8, 2, "WWWW", kInk);
    draw_text(picture, 1000, -1000, 2, "W", kInk);
    fill_box(picture, -5, 4, 100, 1, kInk);
    EXPECT_EQ(picture.at(0, 4), kInk);
    EXPECT_EQ(picture.at(9, 4), kInk);
}
