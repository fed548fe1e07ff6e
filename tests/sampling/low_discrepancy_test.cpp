#include "host/sampling/low_discrepancy.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <set>
#include <vector>

using vx::sampling::owen_sobol;

TEST(LowDiscrepancy, SixteenPointsFillEveryElementaryIntervalOfTheirSize) {
    // A (0, 4, 2)-net: each of the 16 boxes of size 2^-a x 2^-(4-a) contains exactly one point.
    for (std::uint64_t seed = 0; seed < 20; ++seed)
        for (int a = 0; a <= 4; ++a) {
            std::set<int> boxes;
            for (std::uint32_t i = 0; i < 16; ++i) {
                std::array<double, 2> p{};
                owen_sobol(seed, i, p);
                const int column = static_cast<int>(p[0] * (1 << a));
                const int row = static_cast<int>(p[1] * (1 << (4 - a)));
                boxes.insert(column * 16 + row);
            }
            EXPECT_EQ(boxes.size(), 16u) << "seed " << seed << ", 2^" << a << " columns";
        }
}

TEST(LowDiscrepancy, ValuesAreInTheHalfOpenUnitInterval) {
    for (std::uint32_t i = 0; i < 1000; ++i) {
        std::array<double, 7> p{};
        owen_sobol(i, i, p);
        for (const double v : p) {
            EXPECT_GE(v, 0.0);
            EXPECT_LT(v, 1.0);
        }
    }
}

TEST(LowDiscrepancy, FirstPointsOfDifferentSeedsAreSpreadLikeRandomOnes) {
    constexpr int kCount = 20000;
    double sum = 0, squares = 0, product = 0, before = 0.5;
    for (int i = 0; i < kCount; ++i) {
        std::array<double, 1> p{};
        owen_sobol(static_cast<std::uint64_t>(i), 0, p);
        sum += p[0];
        squares += (p[0] - 0.5) * (p[0] - 0.5);
        product += (p[0] - 0.5) * (before - 0.5);
        before = p[0];
    }
    EXPECT_NEAR(sum / kCount, 0.5, 0.01);
    EXPECT_NEAR(squares / kCount, 1.0 / 12.0, 0.002);
    EXPECT_NEAR(product / kCount / (1.0 / 12.0), 0.0, 0.03) << "neighboring seeds are correlated";
}

TEST(LowDiscrepancy, DimensionsOfOnePointAreNotCorrelated) {
    constexpr int kCount = 4096;
    std::vector<std::array<double, 6>> points(kCount);
    for (std::uint32_t i = 0; i < kCount; ++i)
        owen_sobol(99, i, points[i]);
    for (std::size_t a = 0; a < 6; ++a)
        for (std::size_t b = a + 1; b < 6; ++b) {
            double product = 0;
            for (const auto& p : points)
                product += (p[a] - 0.5) * (p[b] - 0.5);
            EXPECT_NEAR(product / kCount / (1.0 / 12.0), 0.0, 0.06) << a << ", " << b;
        }
}

TEST(LowDiscrepancy, IntegratesBetterThanRandomPoints) {
    // The integral of x * y over the unit square is 1/4; the standard deviation of the estimate
    // with 256 random points is 0.014.
    double worst = 0;
    for (std::uint64_t seed = 0; seed < 30; ++seed) {
        double sum = 0;
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::array<double, 2> p{};
            owen_sobol(seed, i, p);
            sum += p[0] * p[1];
        }
        worst = std::max(worst, std::abs(sum / 256 - 0.25));
    }
    EXPECT_LT(worst, 0.002);
}
