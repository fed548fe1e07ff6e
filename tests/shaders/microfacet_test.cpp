#include "host/shaders/microfacet.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vx::shaders;

namespace {

// The textbook form with two polarisations, from Snell's law.
double fresnel_by_angles(double cosine, double n) {
    const double sine2 = (1 - cosine * cosine) / (n * n);
    if (sine2 > 1) return 1;
    const double inside = std::sqrt(1 - sine2);
    const double s = (cosine - n * inside) / (cosine + n * inside);
    const double p = (inside - n * cosine) / (inside + n * cosine);
    return (s * s + p * p) / 2;
}

TEST(Fresnel, AgreesWithTheTwoPolarizationForm) {
    for (const float n : {1.1f, 1.33f, 1.5f, 2.4f, 0.7f})
        for (int i = 1; i < 20; ++i) {
            const float c = 0.05f * static_cast<float>(i);
            EXPECT_NEAR(fresnel(c, n), fresnel_by_angles(double(c), double(n)), 2e-5)
                << c << ' ' << n;
        }
}

TEST(Fresnel, HeadOnItIsTheSquareOfTheRelativeDifference) {
    EXPECT_NEAR(fresnel(1, 1.5f), 0.04f, 1e-6);
    EXPECT_NEAR(fresnel(1, 3), 0.25f, 1e-6);
}

TEST(Fresnel, GrazingOrTotalOrWithoutIndexEverythingIsMirrored) {
    EXPECT_NEAR(fresnel(0, 1.5f), 1, 1e-6);
    EXPECT_EQ(fresnel(0.1f, 0.5f), 1);
    EXPECT_EQ(fresnel(0.5f, 0), 1);
    EXPECT_EQ(fresnel(0, 1), 1);
    EXPECT_EQ(fresnel(0.5f, 1), 0);
}

TEST(BlinnHighlight, HeadOnItIsTheDistributionsPeak) {
    // N = L = V = H: D = (m^2 / m^2)^2 = 1, G = 1, F = 1, N.V = 1.
    const miVector n = {0, 0, 1};
    for (const float m : {0.1f, 0.5f, 1.0f})
        EXPECT_NEAR(blinn_highlight(n, n, n, m, 0), 1, 1e-5);
}

TEST(BlinnHighlight, IsTheSameWithLightAndViewerExchangedUpToTheirCosines) {
    const miVector n = {0, 0, 1}, a = {0.6f, 0, 0.8f}, b = {0, -0.28f, 0.96f};
    EXPECT_NEAR(blinn_highlight(n, a, b, 0.3f, 1.5f) * 0.96f,
                blinn_highlight(n, b, a, 0.3f, 1.5f) * 0.8f, 1e-6);
}

TEST(BlinnHighlight, NothingBelowTheSurface) {
    const miVector n = {0, 0, 1}, below = {0.6f, 0, -0.8f};
    EXPECT_EQ(blinn_highlight(n, below, n, 0.3f, 1.5f), 0);
    EXPECT_EQ(blinn_highlight(n, n, below, 0.3f, 1.5f), 0);
}

TEST(BlinnHighlight, ZeroRoughnessIsFinite) {
    const miVector n = {0, 0, 1}, a = {0.6f, 0, 0.8f};
    EXPECT_TRUE(std::isfinite(blinn_highlight(n, n, n, 0, 1.5f)));
    EXPECT_NEAR(blinn_highlight(n, a, n, 0, 1.5f), 0, 1e-6);
}

} // namespace
