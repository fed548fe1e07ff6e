// One call of the reader: its order, its results worked out by hand, and its odd corners.
#include "src/reader/lookup.h"

#include "tests/reader/counted_maths.h"
#include "tests/reader/read_instance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::MapContent;
using vx::stub::Maps;
using vx::test::BakedPoint;
using vx::test::content_of;
using vx::test::frame_file;
using vx::test::maths_calls;
using vx::test::ReadInstance;

class LookupTest : public testing::Test, protected ReadInstance {
  protected:
    Maps maps{renderer};

    // One call for a cloud of these points, with a new instance.
    ReadResult read(const std::vector<BakedPoint>& points) { return read(content_of(points)); }
    ReadResult read(const MapContent& content) {
        maps.files[frame_file] = content;
        start();
        const auto record = make_record();
        renderer.clear_calls();
        maths_calls = {};
        ReadResult result = {{9, 9, 9, 9}, 9};
        returned = ReadPoints(&result, &state, block(), *record);
        return result;
    }
    void TearDown() override {
        EXPECT_THAT(renderer.left_over(), IsEmpty());
        EXPECT_THAT(maps.left_over(), IsEmpty());
    }

    miBoolean returned = -1;
};

void expect_color(const ReadResult& result, float r, float g, float b) {
    EXPECT_EQ(result.outColor.r, r);
    EXPECT_EQ(result.outColor.g, g);
    EXPECT_EQ(result.outColor.b, b);
    EXPECT_EQ(result.outColor.a, 0.0F);
}

// At distance 1 of a radius of 2 the falloff is exactly 1 - (3/4 - 2/8) = 1/2.
BakedPoint half_way(miVector color = {1, 1, 1}) {
    return {.position = {1, 0, 0}, .color = color};
}

// ---- order ----

TEST_F(LookupTest, EvaluatesAndAsksInOrder) {
    connect(offsetof(ReadParameters, minAngle), 0.0F);
    connect(offsetof(ReadParameters, maxAngle), 180.0F);
    connect(offsetof(ReadParameters, falloff), miColor{1, 1, 1, 1});
    connect(offsetof(ReadParameters, scale), miColor{1, 1, 1, 1});
    params.radius = 1.5F;
    params.maxPoints = 5;
    const ReadResult result = read({BakedPoint{}});
    EXPECT_EQ(returned, miTRUE);
    EXPECT_EQ(result.pointCount, 1);
    EXPECT_THAT(renderer.calls(),
                ElementsAre("phen_eval(3+32)", "phen_eval(3+36)", "get_interface(3)",
                            "createMapLookup", "release", "search(at 0 0 0, most 5, limit 2.25)",
                            "phen_eval(3+40)", "phen_eval(3+56)", "get_interface(3)",
                            "shareMap(access 1)", "release", "access 2 destroyed",
                            "lookup destroyed", "access 1 destroyed"));
}

TEST_F(LookupTest, NothingNearEvaluatesNoFalloffAndOpensNoSecondAccess) {
    connect(offsetof(ReadParameters, falloff), miColor{1, 1, 1, 1});
    connect(offsetof(ReadParameters, scale), miColor{1, 1, 1, 1});
    const ReadResult result = read({{.position = {0, 0, 5}}});
    EXPECT_EQ(returned, miTRUE);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 0);
    EXPECT_THAT(renderer.calls(), ElementsAre("get_interface(3)", "createMapLookup", "release",
                                              "search(at 0 0 0, most 16, limit 4)",
                                              "lookup destroyed", "access 1 destroyed"));
}

TEST_F(LookupTest, DisabledIsBlackAndTrueAndAsksNothing) {
    params.disable = miTRUE;
    const ReadResult result = read({BakedPoint{}});
    EXPECT_EQ(returned, miTRUE);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 0);
    EXPECT_THAT(renderer.calls(), IsEmpty());
}

TEST_F(LookupTest, MapWithoutColorIsBlackAndTrue) {
    MapContent content;
    content.positions = {{0, 0, 0}};
    const ReadResult result = read(content);
    EXPECT_EQ(returned, miTRUE);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 0);
    EXPECT_THAT(renderer.calls(), IsEmpty());
}

TEST_F(LookupTest, NoMapIsBlackAndFalse) {
    file_name = "nothing.0001.mrmap";
    const ReadResult result = read({BakedPoint{}});
    EXPECT_EQ(returned, miFALSE);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 0);
    EXPECT_THAT(renderer.calls(), IsEmpty());
}

TEST_F(LookupTest, EmptyMapIsBlackAndFalse) {
    const ReadResult result = read(std::vector<BakedPoint>{});
    EXPECT_EQ(returned, miFALSE);
    expect_color(result, 0, 0, 0);
}

TEST_F(LookupTest, StatusOfTheSearchIsIgnored) {
    maps.search_status = mi::shader_v3::Map_status::Failure;
    expect_color(read({BakedPoint{}}), 1, 1, 1);
    EXPECT_EQ(returned, miTRUE);
}

TEST_F(LookupTest, WithoutAnInterfaceNothingIsFound) {
    maps.files[frame_file] = content_of({{}});
    start();
    const auto record = make_record();
    maps.has_interface = false;
    ReadResult result = {{9, 9, 9, 9}, 9};
    EXPECT_EQ(ReadPoints(&result, &state, block(), *record), miTRUE);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 0);
}

TEST_F(LookupTest, FourParametersAreReadOnEveryCallAndNineOnlyOnce) {
    maps.files[frame_file] = content_of({{.position = {1, 0, 0}, .normal = {0, 0.6F, 0.8F}}});
    start();
    const auto record = make_record();
    ReadResult result = {};
    ReadPoints(&result, &state, block(), *record);
    expect_color(result, 0.5F, 0.5F, 0.5F);

    // The record is what counts for these, whatever happens to the block later.
    block()->disable = miTRUE;
    block()->radius = 0.5F;
    block()->maxPoints = 0;
    block()->useLabels = miTRUE;
    block()->facing = 1;
    block()->useOpacity = miTRUE;
    block()->falloff = {2, 0, 1, 1};
    block()->scale = {2, 4, 8, 16};
    ReadPoints(&result, &state, block(), *record);
    expect_color(result, 0.25F * 2, 4, 0.5F * 8);

    block()->maxAngle = 30; // the point's normal is at 36.9 degrees
    ReadPoints(&result, &state, block(), *record);
    EXPECT_EQ(result.pointCount, 0);
    block()->maxAngle = 180;
    block()->minAngle = 40;
    ReadPoints(&result, &state, block(), *record);
    EXPECT_EQ(result.pointCount, 0);
}

TEST_F(LookupTest, FunctorIsBuiltFromTheState) {
    maps.files[frame_file] = content_of({{}});
    start();
    const auto record = make_record();
    state.point = {1, 2, 3};
    const float* seen = nullptr;
    maps.on_search = [&](const mi::shader_v3::Map_distance_base& distance, const float* point) {
        seen = point;
        EXPECT_EQ(point, distance.get_point());
    };
    renderer.clear_calls();
    ReadResult result = {};
    ReadPoints(&result, &state, block(), *record);
    EXPECT_NE(seen, nullptr);
    EXPECT_THAT(renderer.calls_starting_with("search"),
                ElementsAre("search(at 1 2 3, most 16, limit 4)"));
}

// ---- falloff ----

TEST_F(LookupTest, PointAtTheQueryPointHasWeightOne) {
    params.falloff = {1, 2.5F, 0.3F, 0};
    expect_color(read({{.color = {0.1F, 0.2F, 0.3F}}}), 0.1F, 0.2F, 0.3F);
}

TEST_F(LookupTest, PointExactlyAtTheRadiusCountsButAddsNothing) {
    const ReadResult result = read({{.color = {1, 2, 4}}, {.position = {0, 2, 0}}});
    expect_color(result, 0.5F, 1, 2);
    EXPECT_EQ(result.pointCount, 2);
}

TEST_F(LookupTest, HalfWayTheFalloffIsOneHalf) {
    expect_color(read({half_way({1, 2, 4})}), 0.5F, 1, 2);
}

TEST_F(LookupTest, FalloffIsComputedInSinglePrecisionTermByTerm) {
    int telling = 0;
    for (int i = 1; i < 40; ++i) {
        const float d = 0.05F * static_cast<float>(i);
        const float t = std::sqrt(d * d) / 2.0F;
        const float expected = 1.0F - (t * t * -2.0F * t + t * t * 3.0F);
        expect_color(read({{.position = {d, 0, 0}}}), expected, expected, expected);
        if (expected != 1.0F - (3.0F * t * t - 2.0F * t * t * t)) ++telling;
    }
    EXPECT_GT(telling, 0) << "another order of the terms would have passed";
}

// Rounding takes the falloff below 0 just inside the radius. It is not cut off there: whole
// exponents hardly show it, others give no number.
TEST_F(LookupTest, JustInsideTheRadiusTheFalloffMayBeNegative) {
    float d = 2;
    float falloff = 0;
    while (falloff >= 0 && d > 1.99F) {
        d = std::nextafter(d, 0.0F);
        const float t = d / 2.0F;
        falloff = 1.0F - (t * t * -2.0F * t + t * t * 3.0F);
    }
    ASSERT_LT(falloff, 0);
    ASSERT_EQ(std::sqrt(d * d), d);
    params.falloff = {1, 2.5F, 2, 0};
    const ReadResult result = read({{.position = {d, 0, 0}}});
    EXPECT_EQ(result.outColor.r, falloff);
    EXPECT_TRUE(std::isnan(result.outColor.g));
    EXPECT_EQ(result.outColor.b, falloff * falloff);
}

TEST_F(LookupTest, NegativeRadiusFindsPointsButWeighsOnlyTheNearest) {
    // The limit is the square; the distance, not below the radius, weighs nothing.
    params.radius = -2;
    const ReadResult result = read({{.color = {1, 1, 1}}, half_way()});
    EXPECT_EQ(result.pointCount, 2);
    expect_color(result, 0.5F, 0.5F, 0.5F);
}

// ---- exponents ----

TEST_F(LookupTest, FalloffWithoutExponentsIsThePlainMeanTimesScale) {
    params.falloff = {0, 0, 0, 0};
    params.scale = {1, 2, 4, 0};
    const ReadResult result =
        read({half_way({1, 0, 8}), {.position = {0, 2, 0}, .color = {2, 4, 0}}});
    expect_color(result, 1.5F, 4, 16);
    EXPECT_EQ(maths_calls.powf, 0);
}

TEST_F(LookupTest, EachChannelHasItsExponent) {
    params.falloff = {1, 2, 3, 0};
    expect_color(read({half_way()}), 0.5F, 0.25F, 0.125F);
    EXPECT_EQ(maths_calls.powf, 3);
}

TEST_F(LookupTest, EqualExponentsCostOnePowf) {
    params.falloff = {3, 3, 3, 0};
    expect_color(read({half_way(), half_way()}), 0.125F, 0.125F, 0.125F);
    EXPECT_EQ(maths_calls.powf, 2);
}

TEST_F(LookupTest, ZeroExponentsKeepTheWeightOfOne) {
    params.falloff = {0, 2, 0, 0};
    expect_color(read({half_way()}), 1, 0.25F, 1);
    EXPECT_EQ(maths_calls.powf, 1);
    params.falloff = {2, 0, 2, 0};
    expect_color(read({half_way()}), 0.25F, 1, 0.25F);
    params.falloff = {0, 0, 2, 0};
    expect_color(read({half_way()}), 1, 1, 0.25F);
    params.falloff = {2, 2, 0, 0};
    expect_color(read({half_way()}), 0.25F, 0.25F, 1);
}

TEST_F(LookupTest, BlueIsComparedWithRedNeverWithGreen) {
    // Were blue compared with green it would take green's weight, and powf would be called twice.
    params.falloff = {1, 2, 2, 0};
    expect_color(read({half_way()}), 0.5F, 0.25F, 0.25F);
    EXPECT_EQ(maths_calls.powf, 3);
    params.falloff = {2, 1, 2, 0};
    expect_color(read({half_way()}), 0.25F, 0.5F, 0.25F);
    EXPECT_EQ(maths_calls.powf, 2);
}

TEST_F(LookupTest, BlueWithoutExponentDoesNotTakeGreensWeight) {
    // Green and blue are equal, at 0, and differ from red: each keeps its own.
    params.falloff = {1, 0, 0, 0};
    expect_color(read({half_way()}), 0.5F, 1, 1);
}

TEST_F(LookupTest, NegativeExponentsDivide) {
    params.falloff = {-1, -2, 1, 0};
    expect_color(read({half_way()}), 2, 4, 0.5F);
}

// ---- weights that live across the loop ----

TEST_F(LookupTest, ChannelWithoutExponentCarriesTheOpacityOfEarlierPoints) {
    params.useOpacity = miTRUE;
    params.falloff = {0, 1, 0, 0};
    const ReadResult result = read({{.opacity = 0.5F}, {.opacity = 0.25F}, {.opacity = 1}});
    // Red and blue: 1/2, 1/2 * 1/4, and that again. Green starts afresh: 1/2, 1/4, 1.
    expect_color(result, 1.0F / 3 * 0.75F, 1.0F / 3 * 1.75F, 1.0F / 3 * 0.75F);
}

TEST_F(LookupTest, ChannelWithoutExponentCarriesTheFacingOfEarlierPoints) {
    params.facing = 1;
    params.falloff = {0, 1, 1, 0};
    const ReadResult result = read({{.position = {0, 0, 0.5F}, .normal = {0, 0, -0.5F}},
                                    {.position = {0, 0, 1}, .normal = {0, 0, -1}}});
    // Falloff at a quarter and at half of the radius: 27/32 and 1/2.
    expect_color(result, 0.5F * (0.5F + 0.5F), 0.5F * (27.0F / 64 + 0.5F),
                 0.5F * (27.0F / 64 + 0.5F));
}

TEST_F(LookupTest, ChannelWithRedsExponentTakesRedsWeightAfresh) {
    // Red carries; green and blue take what red has then, before this point's opacity.
    params.useOpacity = miTRUE;
    params.falloff = {0, 0, 0, 0};
    expect_color(read({{.opacity = 0.5F}, {.opacity = 0.5F}}), 0.375F, 0.375F, 0.375F);
    params.falloff = {2, 2, 0, 0};
    const ReadResult result = read({{.opacity = 0.5F}, {.opacity = 0.5F}});
    expect_color(result, 0.5F, 0.5F, 0.375F);
}

TEST_F(LookupTest, WeightsFollowTheOrderOfTheResultFromNearToFar) {
    params.useOpacity = miTRUE;
    params.falloff = {0, 0, 0, 0};
    // In the map the far point comes first; were it first in the loop, red would be 0.75 / 2.
    const ReadResult result = read({{.position = {0, 1, 0}, .color = {1, 1, 1}, .opacity = 0.5F},
                                    {.color = {0, 0, 0}, .opacity = 0.5F}});
    expect_color(result, 0.125F, 0.125F, 0.125F);
}

TEST_F(LookupTest, WeightsStartAtOneForEveryCall) {
    params.useOpacity = miTRUE;
    params.falloff = {0, 0, 0, 0};
    maps.files[frame_file] = content_of({{.opacity = 0.5F}});
    start();
    const auto record = make_record();
    for (int call = 0; call < 3; ++call) {
        ReadResult result = {};
        ReadPoints(&result, &state, block(), *record);
        expect_color(result, 0.5F, 0.5F, 0.5F);
    }
}

// ---- facing ----

TEST_F(LookupTest, FacingModeWeighsByTheCosine) {
    params.facing = 1;
    params.falloff = {0, 0, 0, 0};
    const ReadResult result = read({{.position = {0, 0, 1}, .normal = {0.5F, 0, -0.75F}}});
    expect_color(result, 0.75F, 0.75F, 0.75F);
}

TEST_F(LookupTest, FacingModeSkipsPointsThatLookAway) {
    params.facing = 1;
    params.falloff = {1, 1, 1, 0};
    const ReadResult result =
        read({{.position = {0, 0, 0.5F}, .color = {9, 9, 9}, .normal = {0, 0, 1}},
              {.position = {0, 0, 1}, .normal = {0, 0, -1}}});
    // Found, but neither counted in the mean nor added.
    EXPECT_EQ(result.pointCount, 2);
    expect_color(result, 0.5F, 0.5F, 0.5F);
}

TEST_F(LookupTest, FacingModeCountsPointsAtARightAngle) {
    params.facing = 1;
    params.falloff = {1, 1, 1, 0};
    const ReadResult result =
        read({{.position = {0, 0, 0.5F}, .color = {9, 9, 9}, .normal = {1, 0, 0}},
              {.position = {0, 0, 1}, .normal = {0, 0, -1}}});
    expect_color(result, 0.25F, 0.25F, 0.25F);
}

TEST_F(LookupTest, FacingModeWithOnlyPointsThatLookAwayGivesNoNumber) {
    params.facing = 1;
    const ReadResult result = read({{.position = {0, 0, 1}}, {.position = {0, 0, 0.5F}}});
    EXPECT_EQ(returned, miTRUE);
    EXPECT_TRUE(std::isnan(result.outColor.r));
    EXPECT_TRUE(std::isnan(result.outColor.g));
    EXPECT_TRUE(std::isnan(result.outColor.b));
    EXPECT_EQ(result.outColor.a, 0.0F);
    EXPECT_EQ(result.pointCount, 2);
}

TEST_F(LookupTest, SkippedPointsSetTheWeightsThatHaveAnExponent) {
    // Only the facing factor and the sum are left out; what has no exponent is not touched.
    params.facing = 1;
    params.falloff = {0, 1, 1, 0};
    const ReadResult result =
        read({{.position = {0, 0, 0.5F}, .normal = {0, 0, 1}},
              {.position = {0, 0, 1}, .color = {1, 1, 1}, .normal = {0, 0, -1}}});
    expect_color(result, 1, 0.5F, 0.5F);
}

// ---- opacity ----

TEST_F(LookupTest, OpacityMultipliesOnlyWhenAskedFor) {
    expect_color(read({{.opacity = 0.25F}}), 1, 1, 1);
    params.useOpacity = -1;
    expect_color(read({{.opacity = 0.25F}}), 0.25F, 0.25F, 0.25F);
}

TEST_F(LookupTest, OpacityOfExactlyOneMultipliesNothing) {
    params.useOpacity = miTRUE;
    params.falloff = {1.7F, 0.6F, 0, 0};
    const std::vector<BakedPoint> points = {{.position = {0.3F, 0.4F, 0}, .color = {0.1F, 0.7F, 3}},
                                            {.position = {0.9F, 0, 0}, .color = {2, 0.3F, 0.5F}}};
    const ReadResult with = read(points);
    params.useOpacity = miFALSE;
    const ReadResult without = read(points);
    expect_color(with, without.outColor.r, without.outColor.g, without.outColor.b);
}

TEST_F(LookupTest, MapWithColorOnlyStillRenders) {
    MapContent content;
    content.positions = {{0, 0, 0}};
    content.add("rgbPP", std::vector<miVector>{{0.5F, 0.25F, 1}});
    params.useOpacity = miTRUE;
    expect_color(read(content), 0.5F, 0.25F, 1);
    EXPECT_EQ(returned, miTRUE);
}

// ---- the mean ----

TEST_F(LookupTest, GainIsDividedBeforeItMultiplies) {
    params.falloff = {0, 0, 0, 0};
    int telling = 0;
    for (int i = 1; i < 40; ++i) {
        const float c = 0.05F * static_cast<float>(i);
        const float sum = c + c + c;
        const ReadResult result =
            read({{.color = {c, 0, 0}}, {.color = {c, 0, 0}}, {.color = {c, 0, 0}}});
        EXPECT_EQ(result.outColor.r, 1.0F / 3.0F * sum);
        if (sum / 3.0F != 1.0F / 3.0F * sum) ++telling;
    }
    EXPECT_GT(telling, 0) << "a plain mean would have passed";
}

TEST_F(LookupTest, AlphaIsNeitherReadNorWritten) {
    params.falloff = {1, 1, 1, 77};
    params.scale = {1, 1, 1, 77};
    expect_color(read({half_way()}), 0.5F, 0.5F, 0.5F);
}

TEST_F(LookupTest, MaxPointsOfOneTakesTheNearestSurvivor) {
    params.maxPoints = 1;
    params.useLabels = miTRUE;
    labels = "1";
    params.scale = {2, 2, 2, 2};
    const ReadResult result = read({{.position = {0, 1.5F, 0}, .color = {9, 9, 9}, .label = 1},
                                    {.position = {1, 0, 0}, .color = {1, 2, 4}, .label = 1},
                                    {.color = {9, 9, 9}, .label = 2}});
    EXPECT_EQ(result.pointCount, 1);
    expect_color(result, 1, 2, 4);
}

TEST_F(LookupTest, MaxPointsOfNoneFindsNothing) {
    for (const int most : {0, -3}) {
        params.maxPoints = most;
        const ReadResult result = read({BakedPoint{}});
        EXPECT_EQ(returned, miTRUE);
        EXPECT_EQ(result.pointCount, 0);
        expect_color(result, 0, 0, 0);
    }
}

TEST_F(LookupTest, LabelsPickPoints) {
    params.useLabels = miTRUE;
    labels = "2,7-8";
    const ReadResult result = read({{.color = {1, 0, 0}, .label = 1},
                                    {.color = {0, 1, 0}, .label = 2},
                                    {.color = {0, 0, 1}, .label = 8}});
    EXPECT_EQ(result.pointCount, 2);
    expect_color(result, 0, 0.5F, 0.5F);
}

} // namespace
