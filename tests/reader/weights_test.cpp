// How much each point weighs: falloff, exponents, facing, opacity, and what is carried along.
#include "src/reader/weights.h"

#include "tests/reader/lookup_fixture.h"

#include <cmath>
#include <limits>

namespace {

using vx::stub::MapContent;
using vx::test::BakedPoint;
using vx::test::content_of;
using vx::test::expect_color;
using vx::test::expect_nan;
using vx::test::half_way;
using vx::test::kFrameFile;
using vx::test::LookupTest;
using vx::test::maths_calls;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class WeightsTest : public LookupTest {};

// ---- falloff ----

TEST(Falloff, IsOneMinusASmoothStep) {
    EXPECT_EQ(Falloff(0.5f, 2), 27.0f / 32);
    EXPECT_EQ(Falloff(1, 2), 0.5f);
    EXPECT_EQ(Falloff(1.5f, 2), 5.0f / 32);
}

TEST(Falloff, IsOneWhereTheDistanceIsNotGreaterThanZero) {
    for (const float distance : {0.0f, -0.0f, -1.0f, kNan})
        for (const float radius : {2.0f, 0.0f, -3.0f, kNan})
            EXPECT_EQ(Falloff(distance, radius), 1.0f) << distance << ' ' << radius;
}

TEST(Falloff, IsZeroFromTheRadiusOn) {
    EXPECT_EQ(Falloff(2, 2), 0.0f);
    // The polynomial would rise again.
    EXPECT_EQ(Falloff(3, 2), 0.0f);
    EXPECT_EQ(Falloff(1, 0), 0.0f);
    EXPECT_EQ(Falloff(1, -2), 0.0f);
    EXPECT_EQ(Falloff(kInfinity, kInfinity), 0.0f);
}

TEST_F(WeightsTest, PointAtTheQueryPointHasWeightOne) {
    params.falloff = {1, 2.5f, 0.3f, 0};
    expect_color(read({{.color = {0.1f, 0.2f, 0.3f}}}), 0.1f, 0.2f, 0.3f);
}

TEST_F(WeightsTest, PointExactlyAtTheRadiusCountsButAddsNothing) {
    const ReadResult result = read({{.color = {1, 2, 4}}, {.position = {0, 2, 0}}});
    expect_color(result, 0.5f, 1, 2);
    EXPECT_EQ(result.pointCount, 2);
}

TEST_F(WeightsTest, HalfWayTheFalloffIsOneHalf) {
    expect_color(read({half_way({1, 2, 4})}), 0.5f, 1, 2);
}

TEST_F(WeightsTest, FalloffIsComputedInSinglePrecisionTermByTerm) {
    int telling = 0;
    for (int i = 1; i < 40; ++i) {
        const float d = 0.05f * static_cast<float>(i);
        const float t = std::sqrt(d * d) / 2.0f;
        const float expected = 1.0f - (t * t * -2.0f * t + t * t * 3.0f);
        expect_color(read({{.position = {d, 0, 0}}}), expected, expected, expected);
        if (expected != 1.0f - (3.0f * t * t - 2.0f * t * t * t)) ++telling;
    }
    EXPECT_GT(telling, 0) << "another order of the terms would have passed";
}

// Rounding takes the falloff below 0 just inside the radius. It is not cut off there: whole
// exponents hardly show it, others give no number.
TEST_F(WeightsTest, JustInsideTheRadiusTheFalloffMayBeNegative) {
    float d = 2;
    float falloff = 0;
    while (falloff >= 0 && d > 1.99f) {
        d = std::nextafter(d, 0.0f);
        const float t = d / 2.0f;
        falloff = 1.0f - (t * t * -2.0f * t + t * t * 3.0f);
    }
    ASSERT_LT(falloff, 0);
    ASSERT_EQ(std::sqrt(d * d), d);
    params.falloff = {1, 2.5f, 2, 0};
    const ReadResult result = read({{.position = {d, 0, 0}}});
    EXPECT_EQ(result.outColor.r, falloff);
    EXPECT_TRUE(std::isnan(result.outColor.g));
    EXPECT_EQ(result.outColor.b, falloff * falloff);
}

TEST_F(WeightsTest, NegativeRadiusFindsPointsButWeighsOnlyTheNearest) {
    // The limit is the square; the distance, not below the radius, weighs nothing.
    params.radius = -2;
    const ReadResult result = read({{.color = {1, 1, 1}}, {.position = {1.5f, 0, 0}}});
    EXPECT_EQ(result.pointCount, 2);
    expect_color(result, 0.5f, 0.5f, 0.5f);
}

// ---- exponents ----

TEST_F(WeightsTest, FalloffWithoutExponentsIsThePlainMeanTimesScale) {
    params.falloff = {0, 0, 0, 0};
    params.scale = {1, 2, 4, 0};
    const ReadResult result =
        read({half_way({1, 0, 8}), {.position = {0, 2, 0}, .color = {2, 4, 0}}});
    expect_color(result, 1.5f, 4, 16);
    EXPECT_EQ(maths_calls.powf, 0);
}

TEST_F(WeightsTest, EachChannelHasItsExponent) {
    params.falloff = {1, 2, 3, 0};
    expect_color(read({half_way()}), 0.5f, 0.25f, 0.125f);
    EXPECT_EQ(maths_calls.powf, 3);
}

TEST_F(WeightsTest, EqualExponentsCostOnePowf) {
    params.falloff = {3, 3, 3, 0};
    expect_color(read({half_way(), half_way()}), 0.125f, 0.125f, 0.125f);
    EXPECT_EQ(maths_calls.powf, 2);
}

TEST_F(WeightsTest, ZeroExponentsKeepTheWeightOfOne) {
    params.falloff = {0, 2, 0, 0};
    expect_color(read({half_way()}), 1, 0.25f, 1);
    EXPECT_EQ(maths_calls.powf, 1);
    params.falloff = {2, 0, 2, 0};
    expect_color(read({half_way()}), 0.25f, 1, 0.25f);
    params.falloff = {0, 0, 2, 0};
    expect_color(read({half_way()}), 1, 1, 0.25f);
    params.falloff = {2, 2, 0, 0};
    expect_color(read({half_way()}), 0.25f, 0.25f, 1);
}

TEST_F(WeightsTest, BlueIsComparedWithRedNeverWithGreen) {
    // Were blue compared with green it would take green's weight, and powf would be called twice.
    params.falloff = {1, 2, 2, 0};
    expect_color(read({half_way()}), 0.5f, 0.25f, 0.25f);
    EXPECT_EQ(maths_calls.powf, 3);
    params.falloff = {2, 1, 2, 0};
    expect_color(read({half_way()}), 0.25f, 0.5f, 0.25f);
    EXPECT_EQ(maths_calls.powf, 2);
}

TEST_F(WeightsTest, BlueWithoutExponentDoesNotTakeGreensWeight) {
    // Green and blue are equal, at 0, and differ from red: each keeps its own.
    params.falloff = {1, 0, 0, 0};
    expect_color(read({half_way()}), 0.5f, 1, 1);
}

TEST_F(WeightsTest, NegativeExponentsDivide) {
    params.falloff = {-1, -2, -3, 0};
    expect_color(read({half_way()}), 2, 4, 8);
    EXPECT_EQ(maths_calls.powf, 3);
}

// ---- weights that live across the loop ----

TEST_F(WeightsTest, ChannelWithoutExponentCarriesTheOpacityOfEarlierPoints) {
    params.useOpacity = miTRUE;
    params.falloff = {0, 1, 0, 0};
    const ReadResult result = read({{.opacity = 0.5f}, {.opacity = 0.25f}, {.opacity = 1}});
    // Red and blue: 1/2, 1/2 * 1/4, and that again. Green starts afresh: 1/2, 1/4, 1.
    expect_color(result, 1.0f / 3 * 0.75f, 1.0f / 3 * 1.75f, 1.0f / 3 * 0.75f);
}

TEST_F(WeightsTest, EachChannelWithoutExponentCarriesByItself) {
    params.useOpacity = miTRUE;
    const float carried = 1.0f / 3 * (0.5f + 0.125f + 0.125f);
    const float afresh = 1.0f / 3 * (0.5f + 0.25f + 1);
    const std::vector<BakedPoint> points = {{.opacity = 0.5f}, {.opacity = 0.25f}, {.opacity = 1}};
    params.falloff = {0, 1, 1, 0};
    expect_color(read(points), carried, afresh, afresh);
    params.falloff = {1, 0, 1, 0};
    expect_color(read(points), afresh, carried, afresh);
    params.falloff = {1, 1, 0, 0};
    expect_color(read(points), afresh, afresh, carried);
}

TEST_F(WeightsTest, ChannelWithoutExponentCarriesTheFacingOfEarlierPoints) {
    params.facing = 1;
    params.falloff = {0, 1, 1, 0};
    const ReadResult result = read({{.position = {0, 0, 0.5f}, .normal = {0, 0, -0.5f}},
                                    {.position = {0, 0, 1}, .normal = {0, 0, -1}}});
    // Falloff at a quarter and at half of the radius: 27/32 and 1/2.
    expect_color(result, 0.5f * (0.5f + 0.5f), 0.5f * (27.0f / 64 + 0.5f),
                 0.5f * (27.0f / 64 + 0.5f));
}

TEST_F(WeightsTest, ChannelWithRedsExponentTakesRedsWeightAfresh) {
    // Red carries; green and blue take what red has then, before this point's opacity.
    params.useOpacity = miTRUE;
    params.falloff = {0, 0, 0, 0};
    expect_color(read({{.opacity = 0.5f}, {.opacity = 0.5f}}), 0.375f, 0.375f, 0.375f);
    params.falloff = {2, 2, 0, 0};
    const ReadResult result = read({{.opacity = 0.5f}, {.opacity = 0.5f}});
    expect_color(result, 0.5f, 0.5f, 0.375f);
}

TEST_F(WeightsTest, WeightsFollowTheOrderOfTheResultFromNearToFar) {
    params.useOpacity = miTRUE;
    params.falloff = {0, 0, 0, 0};
    // In the map the far point comes first; were it first in the loop, red would be 0.75 / 2.
    const ReadResult result = read({{.position = {0, 1, 0}, .color = {1, 1, 1}, .opacity = 0.5f},
                                    {.color = {0, 0, 0}, .opacity = 0.5f}});
    expect_color(result, 0.125f, 0.125f, 0.125f);
}

TEST_F(WeightsTest, WeightsStartAtOneForEveryCall) {
    params.useOpacity = miTRUE;
    params.falloff = {0, 0, 0, 0};
    maps.files[kFrameFile] = content_of({{.opacity = 0.5f}});
    start();
    const auto record = make_record();
    for (int call = 0; call < 3; ++call) {
        ReadResult result = {};
        ReadPoints(&result, &state, block(), *record);
        expect_color(result, 0.5f, 0.5f, 0.5f);
    }
}

// ---- facing ----

TEST_F(WeightsTest, FacingModeWeighsByTheCosine) {
    params.facing = 1;
    params.falloff = {0, 0, 0, 0};
    const ReadResult result = read({{.position = {0, 0, 1}, .normal = {0.5f, 0, -0.75f}}});
    expect_color(result, 0.75f, 0.75f, 0.75f);
}

TEST_F(WeightsTest, FacingModeSkipsPointsThatLookAway) {
    params.facing = 1;
    params.falloff = {1, 1, 1, 0};
    const ReadResult result =
        read({{.position = {0, 0, 0.5f}, .color = {9, 9, 9}, .normal = {0, 0, 1}},
              {.position = {0, 0, 1}, .normal = {0, 0, -1}}});
    // Found, but neither counted in the mean nor added.
    EXPECT_EQ(result.pointCount, 2);
    expect_color(result, 0.5f, 0.5f, 0.5f);
}

TEST_F(WeightsTest, FacingModeCountsPointsAtARightAngle) {
    params.facing = 1;
    params.falloff = {1, 1, 1, 0};
    const ReadResult result =
        read({{.position = {0, 0, 0.5f}, .color = {9, 9, 9}, .normal = {1, 0, 0}},
              {.position = {0, 0, 1}, .normal = {0, 0, -1}}});
    expect_color(result, 0.25f, 0.25f, 0.25f);
}

TEST_F(WeightsTest, FacingModeWithOnlyPointsThatLookAwayGivesNoNumber) {
    params.facing = 1;
    const ReadResult result = read({{.position = {0, 0, 1}}, {.position = {0, 0, 0.5f}}});
    EXPECT_EQ(returned, miTRUE);
    expect_nan(result);
    EXPECT_EQ(result.pointCount, 2);
}

// Only a weight below 0 leaves a point out.
TEST_F(WeightsTest, NanFacingWeightCountsAndMakesTheMeanNan) {
    params.facing = 1;
    const BakedPoint good = {.position = {0, 0, 1}, .normal = {0, 0, -1}};
    const ReadResult result =
        read({{.position = {0, 0, 0.5f}, .color = {1, 2, 4}, .normal = {0, kNan, -1}}, good});
    EXPECT_EQ(returned, miTRUE);
    expect_nan(result);
    EXPECT_EQ(result.pointCount, 2);
    expect_color(read({good}), 0.5f, 0.5f, 0.5f);
}

TEST_F(WeightsTest, FacingWeightAboveOneIsNotCutOff) {
    params.facing = 1;
    expect_color(read({{.position = {0, 0, 1}, .normal = {7, 0, -3}}}), 1.5f, 1.5f, 1.5f);
}

TEST_F(WeightsTest, FacingModeIsOnForExactlyOne) {
    for (const int facing : {0, 2, -1}) {
        params.facing = facing;
        expect_color(read({{.position = {0, 0, 1}, .normal = {0, 0, -0.5f}}}), 0.5f, 0.5f, 0.5f);
        // A point that looks away counts like any other.
        expect_color(read({{.position = {0, 0, 1}}}), 0.5f, 0.5f, 0.5f);
    }
}

TEST_F(WeightsTest, FacingModeWithoutNormalsInTheMapGivesWeightsOfZero) {
    MapContent content;
    content.positions = {{0, 0, 1}};
    content.add("rgbPP", std::vector<miVector>{{1, 1, 1}});
    params.facing = 1;
    params.falloff = {0, 1, 2, 0};
    normal = {1, 1, 1};
    const ReadResult result = read(content);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 1);
}

TEST_F(WeightsTest, SkippedPointsSetTheWeightsThatHaveAnExponent) {
    // Only the facing factor and the sum are left out; what has no exponent is not touched.
    params.facing = 1;
    params.falloff = {0, 1, 1, 0};
    const ReadResult result =
        read({{.position = {0, 0, 0.5f}, .normal = {0, 0, 1}},
              {.position = {0, 0, 1}, .color = {1, 1, 1}, .normal = {0, 0, -1}}});
    expect_color(result, 1, 0.5f, 0.5f);
}

// ---- opacity ----

TEST_F(WeightsTest, OpacityMultipliesOnlyWhenAskedFor) {
    expect_color(read({{.opacity = 0.25f}}), 1, 1, 1);
    params.useOpacity = -1;
    expect_color(read({{.opacity = 0.25f}}), 0.25f, 0.25f, 0.25f);
}

TEST_F(WeightsTest, OpacityMultipliesAsItIs) {
    params.useOpacity = miTRUE;
    for (const float opacity : {0.0f, 2.0f, 1.5f, -0.5f, -1.0f, std::nextafter(1.0f, 2.0f),
                                std::nextafter(1.0f, 0.0f), 1e-30f})
        expect_color(read({{.opacity = opacity}}), opacity, opacity, opacity);
    expect_nan(read({{.opacity = kNan}}));
}

TEST_F(WeightsTest, OpacitiesAboveOneAndBelowZeroAreCarriedToo) {
    params.useOpacity = miTRUE;
    params.falloff = {0, 1, 0, 0};
    // Red and blue: 2, 2 * 1, 2 * -0.5, that * 1.
    expect_color(read({{.opacity = 2}, {.opacity = 1}, {.opacity = -0.5f}, {.opacity = 1}}),
                 0.25f * (2 + 2 - 1 - 1), 0.25f * (2 + 1 - 0.5f + 1), 0.25f * (2 + 2 - 1 - 1));
}

TEST_F(WeightsTest, OpacityOfExactlyOneMultipliesNothing) {
    params.useOpacity = miTRUE;
    params.falloff = {1.7f, 0.6f, 0, 0};
    const std::vector<BakedPoint> points = {{.position = {0.3f, 0.4f, 0}, .color = {0.1f, 0.7f, 3}},
                                            {.position = {0.9f, 0, 0}, .color = {2, 0.3f, 0.5f}}};
    const ReadResult with = read(points);
    params.useOpacity = miFALSE;
    const ReadResult without = read(points);
    expect_color(with, without.outColor.r, without.outColor.g, without.outColor.b);
}

TEST_F(WeightsTest, MapWithColorOnlyStillRenders) {
    MapContent content;
    content.positions = {{0, 0, 0}};
    content.add("rgbPP", std::vector<miVector>{{0.5f, 0.25f, 1}});
    params.useOpacity = miTRUE;
    expect_color(read(content), 0.5f, 0.25f, 1);
    EXPECT_EQ(returned, miTRUE);
}

} // namespace
