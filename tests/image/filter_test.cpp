#include "host/image/filter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using vx::image::Filter;
using vx::image::FilterKind;

TEST(Filter, SizeOfZeroStandsForTheKindsOwnSize) {
    EXPECT_FLOAT_EQ(Filter(FilterKind::box, 0, 0).radius_x(), 0.5f);
    EXPECT_FLOAT_EQ(Filter(FilterKind::triangle, 0, 0).radius_x(), 1.0f);
    EXPECT_FLOAT_EQ(Filter(FilterKind::gauss, 0, 0).radius_x(), 1.5f);
    EXPECT_FLOAT_EQ(Filter(FilterKind::mitchell, 0, 0).radius_x(), 2.0f);
    EXPECT_FLOAT_EQ(Filter(FilterKind::lanczos, 0, 0).radius_y(), 2.0f);
    EXPECT_FLOAT_EQ(Filter(FilterKind::box, 3, 5).radius_y(), 2.5f);
}

TEST(Filter, BoxOfOnePixelGivesEachSampleToExactlyOnePixel) {
    const Filter box(FilterKind::box, 1, 1);
    EXPECT_EQ(box.weight(-0.5f, 0.0f), 1.0f);
    EXPECT_EQ(box.weight(0.5f, 0.0f), 0.0f);
    EXPECT_EQ(box.weight(0.49f, -0.5f), 1.0f);
    EXPECT_EQ(box.weight(0.0f, 0.5f), 0.0f);
}

TEST(Filter, TriangleFallsLinearly) {
    const Filter f(FilterKind::triangle, 2, 2);
    EXPECT_FLOAT_EQ(f.weight(0, 0), 1.0f);
    EXPECT_FLOAT_EQ(f.weight(0.5f, 0), 0.5f);
    EXPECT_FLOAT_EQ(f.weight(0.5f, 0.25f), 0.375f);
    EXPECT_FLOAT_EQ(f.weight(1.0f, 0), 0.0f);
}

TEST(Filter, GaussFallsAsDocumentedToTheEdge) {
    const Filter f(FilterKind::gauss, 3, 3);
    EXPECT_FLOAT_EQ(f.weight(0.75f, 0), std::exp(-4.5f * 0.25f));
}

TEST(Filter, MitchellHasTheValuesOfItsPolynomial) {
    const Filter f(FilterKind::mitchell, 4, 4);
    // B = C = 1/3: 8/9 at 0, 1/18 at 1, and the negative lobe between 1 and 2.
    EXPECT_NEAR(f.weight(0, 0), (8.0 / 9.0) * (8.0 / 9.0), 1e-6);
    EXPECT_NEAR(f.weight(1.0f, 0), (1.0 / 18.0) * (8.0 / 9.0), 1e-6);
    EXPECT_LT(f.weight(1.5f, 0), 0.0f);
    // Sums to one over the integers, wherever the sample lies.
    for (const float at : {0.0f, 0.2f, 0.5f, 0.9f}) {
        double sum = 0;
        for (int i = -3; i <= 3; ++i)
            sum += static_cast<double>(f.weight(at + static_cast<float>(i), 0.0f));
        EXPECT_NEAR(sum, 8.0 / 9.0, 1e-5) << at;
    }
}

TEST(Filter, LanczosIsZeroAtWholePixels) {
    const Filter f(FilterKind::lanczos, 4, 4);
    EXPECT_NEAR(f.weight(1.0f, 0), 0.0, 1e-6);
    const double pi = std::numbers::pi;
    const double expected = std::sin(0.5 * pi) / (0.5 * pi) * std::sin(0.25 * pi) / (0.25 * pi);
    EXPECT_NEAR(f.weight(0.5f, 0), expected, 1e-6);
}
