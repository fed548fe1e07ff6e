#include "host/shaders/light_tools.h"

#include <gtest/gtest.h>

using namespace vx::shaders;

namespace {

TEST(DistanceFalloff, FullUpToStartNoneFromStopLinearBetween) {
    EXPECT_EQ(distance_falloff(1, 2, 6), 1);
    EXPECT_EQ(distance_falloff(2, 2, 6), 1);
    EXPECT_EQ(distance_falloff(3, 2, 6), 0.75f);
    EXPECT_EQ(distance_falloff(5, 2, 6), 0.25f);
    EXPECT_EQ(distance_falloff(6, 2, 6), 0);
    EXPECT_EQ(distance_falloff(9, 2, 6), 0);
}

TEST(DistanceFalloff, StartBehindStopIsASharpEndAtStop) {
    EXPECT_EQ(distance_falloff(3.9, 5, 4), 1);
    EXPECT_EQ(distance_falloff(4.1, 5, 4), 0);
}

TEST(ConeFalloff, FullInsideNoneOutsideSmoothBetween) {
    EXPECT_EQ(cone_falloff(0.95f, 0.9f, 0.5f), 1);
    EXPECT_EQ(cone_falloff(0.9f, 0.9f, 0.5f), 1);
    EXPECT_NEAR(cone_falloff(0.7f, 0.9f, 0.5f), 0.5f, 1e-6);
    EXPECT_NEAR(cone_falloff(0.6f, 0.9f, 0.5f), 0.15625f, 1e-6); // t = 1/4: 1/16 * 5/2
    EXPECT_EQ(cone_falloff(0.5f, 0.9f, 0.5f), 0);
    EXPECT_EQ(cone_falloff(0.1f, 0.9f, 0.5f), 0);
}

TEST(ConeFalloff, AnInnerConeOutsideTheOuterIsASharpEdge) {
    EXPECT_EQ(cone_falloff(0.51f, 0.2f, 0.5f), 1);
    EXPECT_EQ(cone_falloff(0.49f, 0.2f, 0.5f), 0);
}

} // namespace
