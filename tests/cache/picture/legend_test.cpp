#include "cache/picture/legend.h"

#include "cache/picture/color_map.h"
#include "tests/cache/picture/read_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

using namespace vx::cache;
using testing::ElementsAre;

namespace {

constexpr Color kDark{0.01f, 0.01f, 0.01f};
constexpr Color kInk{0.75f, 0.75f, 0.75f};

std::vector<std::string> texts(const std::vector<Tick>& ticks) {
    std::vector<std::string> out;
    for (const Tick& t : ticks)
        out.push_back(t.text);
    return out;
}

// The title and the numbers below it in the right third, from the top, with their first lines.
// Marks and frames look like strokes and commas, so that only words and numbers count; the corner
// of a frame looks like a single L.
std::vector<std::pair<int, std::string>> written(const Picture& picture, int scale) {
    constexpr const char* kLetters =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::vector<std::pair<int, std::string>> found;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = picture.width * 2 / 3; x < picture.width; ++x) {
            const std::string text = read_text(picture, x, y, scale, kInk);
            if (text.find_first_of(kLetters) == std::string::npos || text[0] == ' ' || text == "L")
                continue;
            found.emplace_back(y, text);
            x += text_width(text, scale);
        }
    }
    return found;
}

Legend bar(double low, double high) {
    Legend legend;
    legend.kind = Legend::Kind::bar;
    legend.title = "opacityPP";
    legend.low = low;
    legend.high = high;
    return legend;
}

} // namespace

TEST(BarTicks, EndsAndRoundNumbersBetween) {
    EXPECT_THAT(texts(bar_ticks(0, 1, 6)), ElementsAre("0", "0.2", "0.4", "0.6", "0.8", "1"));
    EXPECT_THAT(texts(bar_ticks(-2.2e-16, 1.99839, 6)),
                ElementsAre("0", "0.5", "1", "1.5", "1.998"));
    EXPECT_THAT(texts(bar_ticks(47652, 288134, 6)),
                ElementsAre("47652", "100000", "150000", "200000", "250000", "288134"));
    EXPECT_THAT(texts(bar_ticks(-30, -10, 3)), ElementsAre("-30", "-20", "-10"));
}

TEST(BarTicks, NarrowRangesFarFromZeroStillDiffer) {
    const auto t = texts(bar_ticks(1000, 1000.01, 4));
    EXPECT_EQ(t.front(), "1000");
    EXPECT_EQ(t.back(), "1000.01");
}

TEST(BarTicks, NeighboringNumbersHaveNothingBetweenThem) {
    const double next = std::nextafter(1.0, 2.0);
    const std::vector<Tick> t = bar_ticks(1.0, next, 5);
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t.front().value, 1.0);
    EXPECT_EQ(t.back().value, next);
}

TEST(BarTicks, VeryLargeAndVerySmallNumbersAreShort) {
    for (const Tick& t : bar_ticks(0, 3e30, 6))
        EXPECT_LE(t.text.size(), 8u) << t.text;
    EXPECT_EQ(texts(bar_ticks(0, 3e30, 6)).back(), "3e+30");
    EXPECT_EQ(texts(bar_ticks(0, 2e-9, 6)).back(), "2e-09");
}

TEST(BarTicks, OneValueHasOneMark) {
    EXPECT_THAT(texts(bar_ticks(0.05, 0.05, 6)), ElementsAre("0.05"));
}

TEST(Legend, TheNumbersOfABarCanBeReadWhereTheirColorsAre) {
    Picture picture(640, 480, kDark);
    draw_legend(picture, bar(0, 1), kDark);
    const auto found = written(picture, 1);
    ASSERT_GE(found.size(), 4u);
    EXPECT_EQ(found.front().second, "opacityPP");
    EXPECT_EQ(found[1].second, "1");
    EXPECT_EQ(found.back().second, "0");
    // Beside a number stands the color of its value: look for it in the bar's column.
    int bar_x = 0;
    const int middle = found[found.size() / 2].first + 3;
    for (int x = 0; x < picture.width && bar_x == 0; ++x) {
        const Color c = picture.at(x, middle);
        if (c != kDark && c != kInk) bar_x = x;
    }
    ASSERT_GT(bar_x, 500);
    for (std::size_t i = 1; i < found.size(); ++i) {
        const Color shown = picture.at(bar_x, found[i].first + 3);
        const Color meant = map_color(std::stod(found[i].second));
        for (std::size_t k = 0; k < 3; ++k)
            EXPECT_NEAR(to_display(shown[k]), to_display(meant[k]), 0.02f) << found[i].second;
    }
}

TEST(Legend, LabelsStandBesideTheirColors) {
    Legend legend;
    legend.kind = Legend::Kind::labels;
    legend.title = "tag";
    legend.labels = {-4, 10, 77};
    Picture picture(640, 480, kDark);
    draw_legend(picture, legend, kDark);
    const auto found = written(picture, 1);
    ASSERT_EQ(found.size(), 4u);
    for (std::size_t i = 0; i < 3; ++i) {
        const auto& [y, text] = found[i + 1];
        EXPECT_EQ(text, std::to_string(legend.labels[i]));
        bool shown = false;
        for (int x = 0; x < picture.width; ++x)
            shown = shown || picture.at(x, y + 3) == label_color(legend.labels[i]);
        EXPECT_TRUE(shown) << text;
    }
}

TEST(Legend, MoreLabelsThanFitAreCounted) {
    Legend legend;
    legend.kind = Legend::Kind::labels;
    legend.title = "tag";
    for (int i = 0; i < 500; ++i)
        legend.labels.push_back(i + 10);
    Picture picture(640, 480, kDark);
    draw_legend(picture, legend, kDark);
    const auto found = written(picture, 1);
    const std::size_t rows = found.size() - 2; // without the title and the last line
    EXPECT_GT(rows, 20u);
    EXPECT_EQ(found.back().second, "+" + std::to_string(500 - rows) + " more");
}

TEST(Legend, StaysInItsPartOfThePicture) {
    for (const int width : {320, 640, 1280, 4000}) {
        Picture picture(width, 480, kDark);
        const Legend legend = bar(-123456, 1e9);
        const int taken = legend_width(legend, width, 480);
        draw_legend(picture, legend, kDark);
        for (int y = 0; y < 480; ++y) {
            for (int x = 0; x < width - taken; ++x)
                ASSERT_EQ(picture.at(x, y), kDark) << x << ' ' << y;
        }
    }
}

TEST(Legend, IsLeftOutWhereItDoesNotFit) {
    for (const auto& [w, h] : {std::pair{100, 480}, std::pair{640, 40}, std::pair{1, 1}}) {
        Picture picture(w, h, kDark);
        EXPECT_EQ(legend_width(bar(0, 1), w, h), 0);
        draw_legend(picture, bar(0, 1), kDark);
        for (const Color& c : picture.pixels)
            ASSERT_EQ(c, kDark);
    }
    EXPECT_EQ(legend_width(Legend{}, 1000, 1000), 0);
}

TEST(Legend, IsDarkOnALightBackground) {
    const Color white{1, 1, 1};
    Picture picture(640, 480, white);
    draw_legend(picture, bar(0, 1), white);
    bool dark_found = false;
    for (const Color& c : picture.pixels)
        dark_found = dark_found || (c[0] < 0.05f && c[0] == c[1] && c[1] == c[2]);
    EXPECT_TRUE(dark_found);
}
