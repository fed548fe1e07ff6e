#include "cache/picture/color_map.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace vx::cache;

namespace {

// CIE 1976 L*, a*, b* of linear sRGB with its D65 white.
std::array<double, 3> cie_lab(const Color& c) {
    const double r = static_cast<double>(c[0]);
    const double g = static_cast<double>(c[1]);
    const double b = static_cast<double>(c[2]);
    const auto f = [](double t) {
        return t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116;
    };
    const double x = f((0.4124564 * r + 0.3575761 * g + 0.1804375 * b) / 0.95047);
    const double y = f(0.2126729 * r + 0.7151522 * g + 0.0721750 * b);
    const double z = f((0.0193339 * r + 0.1191920 * g + 0.9503041 * b) / 1.08883);
    return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

double distance(const Color& a, const Color& b) {
    const auto p = cie_lab(a);
    const auto q = cie_lab(b);
    return std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
}

} // namespace

TEST(Display, KnownValuesOfTheCurve) {
    EXPECT_EQ(to_display(0.0f), 0.0f);
    EXPECT_EQ(to_display(1.0f), 1.0f);
    EXPECT_NEAR(to_display(0.214041f), 0.5f, 1e-5f);
    EXPECT_NEAR(to_display(0.001f), 0.01292f, 1e-6f);
    EXPECT_NEAR(to_display(0.18f) * 255, 117.6f, 0.1f);
    for (const float v : {0.01f, 0.03f, 0.2f, 0.7f, 0.99f})
        EXPECT_NEAR(from_display(to_display(v)), v, 1e-6f);
}

TEST(Display, ValuesThatNoScreenShowsAreCut) {
    EXPECT_EQ(to_display(-1.0f), 0.0f);
    EXPECT_EQ(to_display(7.0f), 1.0f);
    EXPECT_EQ(to_display(std::numeric_limits<float>::quiet_NaN()), 0.0f);
    EXPECT_EQ(to_display(std::numeric_limits<float>::infinity()), 1.0f);
}

TEST(ColorMap, GetsEvenlyLighterAndCanBeShown) {
    double last = -1;
    for (int i = 0; i <= 100; ++i) {
        const Color c = map_color(i / 100.0);
        for (const float v : c) {
            EXPECT_GE(v, 0.0f);
            EXPECT_LE(v, 1.0f);
        }
        const double lightness = cie_lab(c)[0];
        EXPECT_GT(lightness, last);
        last = lightness;
    }
    EXPECT_LT(cie_lab(map_color(0))[0], 25);
    EXPECT_GT(cie_lab(map_color(1))[0], 85);
    EXPECT_NEAR(cie_lab(map_color(0.5))[0],
                (cie_lab(map_color(0))[0] + cie_lab(map_color(1))[0]) / 2, 4);
}

TEST(ColorMap, EqualStepsLookAboutEquallyLarge) {
    double least = 1e9;
    double most = 0;
    for (int i = 0; i < 20; ++i) {
        const double d = distance(map_color(i / 20.0), map_color((i + 1) / 20.0));
        least = std::min(least, d);
        most = std::max(most, d);
    }
    EXPECT_GT(least, 2);
    EXPECT_LT(most / least, 3);
}

TEST(ColorMap, EndsWhereItsRangeEnds) {
    EXPECT_EQ(map_color(-5), map_color(0));
    EXPECT_EQ(map_color(5), map_color(1));
}

TEST(LabelColor, NeighborsAreFarApart) {
    for (int label = 0; label < 40; ++label) {
        for (int other = label + 1; other < label + 4; ++other)
            EXPECT_GT(distance(label_color(label), label_color(other)), 20)
                << label << ' ' << other;
    }
}

TEST(LabelColor, AnyNumberHasOne) {
    for (const std::int32_t label :
         {-1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        for (const float v : label_color(label)) {
            EXPECT_GE(v, 0.0f);
            EXPECT_LE(v, 1.0f);
        }
    }
    EXPECT_EQ(label_color(0)[0], label_color(0)[1]);
}
