#include "host/trace/math.h"

#include <gtest/gtest.h>

using namespace vx::trace;

namespace {

const Matrix kScaledTurn{0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 3, 0, 5, 6, 7, 1};

} // namespace

TEST(TraceMath, PointsMoveDirectionsDoNot) {
    const miVector p = point(kScaledTurn.data(), {1, 1, 1});
    EXPECT_EQ(p.x, 3.0f); // -2 + 5
    EXPECT_EQ(p.y, 8.0f); // 2 + 6
    EXPECT_EQ(p.z, 10.0f);
    const miVector d = direction(kScaledTurn.data(), {1, 0, 0});
    EXPECT_EQ(d.x, 0.0f);
    EXPECT_EQ(d.y, 2.0f);
}

TEST(TraceMath, InverseUndoes) {
    const auto inv = inverse(kScaledTurn);
    ASSERT_TRUE(inv);
    const miVector p = point(inv->data(), point(kScaledTurn.data(), {0.3f, -4, 9}));
    EXPECT_NEAR(p.x, 0.3f, 1e-5f);
    EXPECT_NEAR(p.y, -4.0f, 1e-5f);
    EXPECT_NEAR(p.z, 9.0f, 1e-5f);
}

TEST(TraceMath, SingularMatrixHasNoInverse) {
    EXPECT_FALSE(inverse(Matrix{}));
    EXPECT_FALSE(inverse(Matrix{1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    Matrix nan = kIdentity;
    nan[5] = std::nanf("");
    EXPECT_FALSE(inverse(nan));
}

TEST(TraceMath, ProductAppliesTheLeftMatrixFirst) {
    const Matrix move{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 0, 0, 1};
    const miVector a = point(multiply(move, kScaledTurn).data(), {1, 2, 3});
    const miVector b = point(kScaledTurn.data(), point(move.data(), {1, 2, 3}));
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.z, b.z);
}

TEST(TraceMath, NormalsStayPerpendicular) {
    const Matrix squash{4, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const auto inv = inverse(squash);
    // The plane x + y = 0: tangent (1, -1, 0), normal (1, 1, 0).
    const miVector tangent = direction(squash.data(), {1, -1, 0});
    const miVector n = normal(inv->data(), {1, 1, 0});
    EXPECT_NEAR(dot(tangent, n), 0.0f, 1e-6f);
}

TEST(TraceMath, NormalisesTinyVectorsAndLeavesTheNullVector) {
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

TEST(TraceMath, DeterminantIsNegativeForMirrors) {
    EXPECT_GT(determinant(kScaledTurn), 0.0);
    Matrix mirror = kIdentity;
    mirror[0] = -1;
    EXPECT_LT(determinant(mirror), 0.0);
}
