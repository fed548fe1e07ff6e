// Vector arithmetic in single precision, in a fixed order.
#include "src/platform/vector.h"

#include <gtest/gtest.h>

namespace {

TEST(Vector, DotAddsFromXToZ) {
    EXPECT_EQ(Dot({1, 2, 3}, {4, 5, 6}), 32.0f);
    // 2^24 + 1 rounds to 2^24, so the result depends on the order of the additions.
    EXPECT_EQ(Dot({16777216, 1, 1}, {1, 1, 1}), 16777216.0f);
    EXPECT_EQ(Dot({1, 1, 16777216}, {1, 1, 1}), 16777218.0f);
    EXPECT_EQ(Dot({1, 2, 3}, {1, 1, -1}), 0.0f);
}

// A division by the length 7 would give 0x1.b6db6ep-2 and 0x1.b6db6ep-1.
TEST(Vector, NormalizedMultipliesByTheReciprocalLength) {
    const miVector v = Normalized({2, 3, 6});
    EXPECT_EQ(v.x, 0x1.24924ap-2f);
    EXPECT_EQ(v.y, 0x1.b6db70p-2f);
    EXPECT_EQ(v.z, 0x1.b6db70p-1f);
}

TEST(Vector, NullVectorStays) {
    const miVector v = Normalized({0, -0.0f, 0});
    EXPECT_EQ(v.x, 0.0f);
    EXPECT_EQ(v.y, 0.0f);
    EXPECT_EQ(v.z, 0.0f);
}

} // namespace
