// One call of the reader: its order, what it returns, and the mean.
#include "src/reader/lookup.h"

#include "src/reader/blend.h"
#include "tests/reader/lookup_fixture.h"

#include <array>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Gt;
using testing::IsEmpty;
using vx::stub::MapContent;
using vx::test::BakedPoint;
using vx::test::content_of;
using vx::test::expect_color;
using vx::test::half_way;
using vx::test::kFrameFile;
using vx::test::LookupTest;
using vx::test::maths_calls;

// ---- order ----

TEST_F(LookupTest, EvaluatesAndAsksInOrder) {
    connect(offsetof(ReadParameters, minAngle), 0.0f);
    connect(offsetof(ReadParameters, maxAngle), 180.0f);
    connect(offsetof(ReadParameters, falloff), miColor{1, 1, 1, 1});
    connect(offsetof(ReadParameters, scale), miColor{1, 1, 1, 1});
    params.radius = 1.5f;
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
    for (const int disable : {1, 2, -1}) {
        params.disable = disable;
        const ReadResult result = read({BakedPoint{}});
        EXPECT_EQ(returned, miTRUE) << disable;
        expect_color(result, 0, 0, 0);
        EXPECT_EQ(result.pointCount, 0);
        EXPECT_THAT(renderer.calls(), IsEmpty());
    }
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

TEST_F(LookupTest, ColorsOfAnotherTypeAreBlack) {
    MapContent content;
    content.positions = {{0, 0, 0}};
    content.add("rgbPP", std::vector<float>{1});
    const ReadResult result = read(content);
    EXPECT_EQ(returned, miTRUE);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 1);
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
    maps.files[kFrameFile] = content_of({{}});
    start();
    const auto record = make_record();
    maps.has_interface = false;
    ReadResult result = {{9, 9, 9, 9}, 9};
    EXPECT_EQ(ReadPoints(&result, &state, block(), *record), miTRUE);
    expect_color(result, 0, 0, 0);
    EXPECT_EQ(result.pointCount, 0);
}

TEST_F(LookupTest, WithoutASecondAccessTheBlendIsTheSame) {
    // From the search on the renderer offers no interface.
    maps.on_search = [this](const auto&, const float*) { maps.has_interface = false; };
    expect_color(read({half_way({1, 2, 4})}), 0.5f, 1, 2);
    EXPECT_EQ(returned, miTRUE);
    EXPECT_THAT(renderer.calls(),
                ElementsAre("get_interface(3)", "createMapLookup", "release",
                            "search(at 0 0 0, most 16, limit 4)", "get_interface(3)",
                            "lookup destroyed", "access 1 destroyed"));
}

TEST_F(LookupTest, SecondAccessIsHeldUntilTheBlendIsDone) {
    maths_calls.on_powf = [this] { renderer.note("powf"); };
    read({half_way(), half_way()});
    EXPECT_THAT(renderer.calls(),
                ElementsAre("get_interface(3)", "createMapLookup", "release",
                            "search(at 0 0 0, most 16, limit 4)", "get_interface(3)",
                            "shareMap(access 1)", "release", "powf", "powf", "access 2 destroyed",
                            "lookup destroyed", "access 1 destroyed"));
}

TEST_F(LookupTest, FourParametersAreReadOnEveryCallAndNineOnlyOnce) {
    maps.files[kFrameFile] = content_of({{.position = {1, 0, 0}, .normal = {0, 0.6f, 0.8f}}});
    start();
    const auto record = make_record();
    ReadResult result = {};
    ReadPoints(&result, &state, block(), *record);
    expect_color(result, 0.5f, 0.5f, 0.5f);

    // The record is what counts for these, whatever happens to the block later.
    block()->disable = miTRUE;
    block()->radius = 0.5f;
    block()->maxPoints = 0;
    block()->useLabels = miTRUE;
    block()->facing = 1;
    block()->useOpacity = miTRUE;
    block()->falloff = {2, 0, 1, 1};
    block()->scale = {2, 4, 8, 16};
    ReadPoints(&result, &state, block(), *record);
    expect_color(result, 0.25f * 2, 4, 0.5f * 8);

    block()->maxAngle = 30; // the point's normal is at 36.9 degrees
    ReadPoints(&result, &state, block(), *record);
    EXPECT_EQ(result.pointCount, 0);
    block()->maxAngle = 180;
    block()->minAngle = 40;
    ReadPoints(&result, &state, block(), *record);
    EXPECT_EQ(result.pointCount, 0);
}

TEST_F(LookupTest, FunctorIsBuiltFromTheState) {
    maps.files[kFrameFile] = content_of({{}});
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

// ---- the mean ----

TEST_F(LookupTest, GainIsDividedBeforeItMultiplies) {
    params.falloff = {0, 0, 0, 0};
    params.scale = {1, 0.7f, 1.9f, 0};
    std::array<int, 3> telling = {0, 0, 0};
    for (int i = 1; i < 80; ++i) {
        const float c = 0.05f * static_cast<float>(i);
        const float sum = c + c + c;
        const ReadResult result =
            read({{.color = {c, c, c}}, {.color = {c, c, c}}, {.color = {c, c, c}}});
        expect_color(result, 1.0f / 3.0f * sum, 0.7f / 3.0f * sum, 1.9f / 3.0f * sum);
        const std::array<float, 3> gains = {1, 0.7f, 1.9f};
        for (size_t channel = 0; channel < 3; ++channel) {
            const float gain = gains[channel];
            const float expected = gain / 3.0f * sum;
            if (gain * sum / 3.0f != expected && sum / 3.0f * gain != expected) ++telling[channel];
        }
    }
    EXPECT_THAT(telling, Each(Gt(0))) << "another order would have passed";
}

TEST_F(LookupTest, AlphaIsNeitherReadNorWritten) {
    params.falloff = {1, 1, 1, 77};
    params.scale = {1, 1, 1, 77};
    expect_color(read({half_way()}), 0.5f, 0.5f, 0.5f);
}

TEST_F(LookupTest, MaxPointsOfOneTakesTheNearestSurvivor) {
    params.maxPoints = 1;
    params.useLabels = miTRUE;
    labels = "1";
    params.scale = {2, 2, 2, 2};
    const ReadResult result = read({{.position = {0, 1.5f, 0}, .color = {9, 9, 9}, .label = 1},
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
    expect_color(result, 0, 0.5f, 0.5f);
}

// ---- the walk ----

TEST_F(LookupTest, VisitorGetsPointsDistancesAndWeights) {
    maps.files[kFrameFile] = content_of({
        {.position = {0, 0, 1}, .color = {1, 2, 4}, .normal = {0, 0, -0.5f}},
        {.position = {0, 0, 0.5f}, .color = {9, 9, 9}, .normal = {0, 0, 1}}, // faces away
        {.position = {0, 0, 5}},                                             // not found
        {.position = {0, 0, 2}, .color = {5, 5, 5}, .normal = {0, 0, -1}},   // at the radius
    });
    params.facing = 1;
    start();
    const auto record = make_record();
    CBlend blend(&state, 0, 180, *record);
    ASSERT_FALSE(blend.IsEmpty());
    EXPECT_EQ(blend.Size(), 3);
    std::vector<std::array<float, 3>> visited; // red of the color, squared distance, left out
    std::vector<float> weights;
    blend.Visit({1, 2, 1, 0},
                [&](const auto& point, float squared, const CWeights& weight, bool left_out) {
                    miVector color = {0, 0, 0};
                    ASSERT_TRUE(point.get(record->rgbField, color).is_ok());
                    visited.push_back({color.x, squared, left_out ? 1.0f : 0.0f});
                    if (!left_out) weights.insert(weights.end(), {weight.r, weight.g, weight.b});
                });
    EXPECT_THAT(visited,
                ElementsAre(ElementsAre(9, 0.25f, 1), ElementsAre(1, 1, 0), ElementsAre(5, 4, 0)));
    // Half of the falloff 1/2 and of its square; the falloff at the radius is 0.
    EXPECT_THAT(weights, ElementsAre(0.25f, 0.125f, 0.25f, 0, 0, 0));
}

} // namespace
