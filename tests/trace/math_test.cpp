#include "host/trace/math.h"

#include <gtest/gtest.h>

#include <bit>

using namespace vx::trace;

namespace {

const Matrix kScaledTurn{0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 3, 0, 5, 6, 7, 1};

} // namespace

TEST(TraceMath, PointsMoveDirectionsDoNot) {
    const miVector p = point(kScaledTurn, {1, 1, 1});
    EXPECT_EQ(p.x, 3.0f); // -2 + 5
    EXPECT_EQ(p.y, 8.0f); // 2 + 6
    EXPECT_EQ(p.z, 10.0f);
    const miVector d = direction(kScaledTurn, {1, 0, 0});
    EXPECT_EQ(d.x, 0.0f);
    EXPECT_EQ(d.y, 2.0f);
}

TEST(TraceMath, ProductAppliesTheLeftMatrixFirst) {
    const Matrix move{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 0, 0, 1};
    const miVector a = point(multiply(move, kScaledTurn), {1, 2, 3});
    const miVector b = point(kScaledTurn, point(move, {1, 2, 3}));
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.z, b.z);
}

TEST(TraceMath, ProductIsSummedInDoublePrecisionFromZero) {
    // Thirds are not exact; zeros of both signs give elements whose terms are all -0.
    const float values[] = {-0.0f, 0.0f, 1.0f / 3, -1e-7f, 3e6f, -2.0f / 3, -0.0f, 7};
    unsigned seed = 1;
    const auto random_matrix = [&] {
        Matrix m;
        for (int i = 0; i < 16; ++i) {
            seed = seed * 1664525 + 1013904223;
            m.getValue()[i] = values[seed >> 29];
        }
        return m;
    };
    for (int n = 0; n < 1000; ++n) {
        const Matrix a = random_matrix();
        const Matrix b = random_matrix();
        const Matrix product = multiply(a, b);
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                double sum = 0;
                for (int k = 0; k < 4; ++k)
                    sum += static_cast<double>(a[i][k]) * static_cast<double>(b[k][j]);
                const auto expected = static_cast<float>(sum);
                EXPECT_EQ(std::bit_cast<unsigned>(product[i][j]),
                          std::bit_cast<unsigned>(expected));
            }
    }
}

TEST(TraceMath, NormalsStayPerpendicular) {
    const Matrix squash{4, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    // The plane x + y = 0: tangent (1, -1, 0), normal (1, 1, 0).
    const miVector tangent = direction(squash, {1, -1, 0});
    const miVector n = normal(squash.inverse(), {1, 1, 0});
    EXPECT_NEAR(dot(tangent, n), 0.0f, 1e-6f);
}

TEST(TraceMath, NormalizesTinyVectorsAndLeavesTheNullVector) {
    EXPECT_FLOAT_EQ(normalized({0, 1e-30f, 0}).y, 1.0f);
    EXPECT_EQ(normalized({0, 0, 0}).x, 0.0f);
    EXPECT_FLOAT_EQ(normalized({0, 0, -1e30f}).z, -1.0f);
}

TEST(TraceMath, NormalizingTwiceIsNormalizingOnce) {
    int changed = 0;
    for (int i = 1; i < 100000; ++i) {
        const auto f = static_cast<float>(i);
        const miVector given = {std::sin(f), std::cos(f * 0.7f), std::sin(f * 1.3f + 1) * 0.01f};
        const miVector once = normalized(given);
        const miVector twice = normalized(once);
        EXPECT_TRUE(same(once, twice)) << i;
        const double square = static_cast<double>(once.x) * once.x +
                              static_cast<double>(once.y) * once.y +
                              static_cast<double>(once.z) * once.z;
        EXPECT_NEAR(square, 1.0, 0x1p-22);
        changed += same(given, once) ? 0 : 1;
    }
    EXPECT_GT(changed, 99000);
}

TEST(TraceMath, VectorsThatAreNearlyUnitAreNormalized) {
    // A thousandth too long, and by four times what rounding may add.
    EXPECT_EQ(normalized({0, 0, 1.001f}).z, 1.0f);
    EXPECT_EQ(normalized({1.0f + 0x1p-21f, 0, 0}).x, 1.0f);
}

TEST(TraceMath, MirrorsAreRecognized) {
    EXPECT_FALSE(mirrors(kScaledTurn));
    Matrix mirror = kIdentity;
    mirror[0][0] = -1;
    EXPECT_TRUE(mirrors(mirror));
    mirror[1][1] = -1; // two mirrors are a turn
    EXPECT_FALSE(mirrors(mirror));
}
