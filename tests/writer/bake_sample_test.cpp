// One sample of the pass: layers, the end of the ray, shading.
#include "src/writer/bake_pass.h"

#include "tests/writer/bake_rows.h"
#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using vx::stub::Hit;
using vx::stub::Probe;
using vx::stub::Shaded;
using vx::stub::text_of;
using vx::test::LensScene;
using vx::test::row_of;
using vx::test::shaded;
using vx::test::Surface;

// ---- layers ----

// A stack of tagged sheets one unit apart; returns the record after the pass.
class Sheets {
  public:
    explicit Sheets(int layers, int width = 1)
        : scene(width, 1), data(scene.make({.layers = layers})) {
        const Surface surface = scene.tagged(1);
        scene.renderer.on_probe = [this, surface](miState*, const miVector&, const miVector& org) {
            return Probe(scene.hit_at(surface, {0, 0, std::ceil(org.z) - 1}));
        };
        scene.renderer.on_reflection = [](miState* state, const miVector&) {
            return shaded({}, state->child->point);
        };
    }

    LensScene scene;
    WriteInstanceData& data;
};

TEST(BakeSample, ProbesOneSurfacePerLayer) {
    Sheets sheets(3);
    BakePass(&sheets.scene.state, &sheets.data);
    EXPECT_THAT(row_of(sheets.data, 0),
                ElementsAre("0 0 4 | 0 0 1 | 0 0 0 0 | 1", "0 0 3 | 0 0 1 | 0 0 0 0 | 1",
                            "0 0 2 | 0 0 1 | 0 0 0 0 | 1"));
    EXPECT_THAT(sheets.scene.renderer.messages(),
                ElementsAre("info: vx_pc_write: 3 points written"));
}

TEST(BakeSample, LayersOf0OrLessProbeOnceShadeCountAndStoreNothing) {
    for (const int layers : {0, -1, -100}) {
        Sheets sheets(layers, 2);
        BakePass(&sheets.scene.state, &sheets.data);
        EXPECT_THAT(sheets.scene.renderer.calls_starting_with("trace_probe"), testing::SizeIs(2));
        EXPECT_THAT(sheets.scene.renderer.calls_starting_with("trace_reflection"),
                    testing::SizeIs(2));
        EXPECT_THAT(row_of(sheets.data, 0), IsEmpty());
        EXPECT_THAT(row_of(sheets.data, 1), IsEmpty());
        EXPECT_THAT(sheets.scene.renderer.messages(),
                    ElementsAre("info: vx_pc_write: 2 points written"));
    }
}

TEST(BakeSample, CountIncludesPointsThatFindNoRow) {
    Sheets sheets(1, 2);
    // The image grew after the grid was sized: two rows for three pixels.
    sheets.scene.renderer.camera.x_resolution = 3;
    BakePass(&sheets.scene.state, &sheets.data);
    EXPECT_THAT(row_of(sheets.data, 0), testing::SizeIs(1));
    EXPECT_THAT(row_of(sheets.data, 1), testing::SizeIs(1));
    EXPECT_EQ(sheets.data.grid.rows.size(), 2u);
    EXPECT_THAT(sheets.scene.renderer.messages(),
                ElementsAre("info: vx_pc_write: 3 points written"));
}

TEST(BakeSample, CountIncludesPointsThatFindTheirRowFull) {
    Sheets sheets(3);
    sheets.data.grid.rowCapacity = 2;
    BakePass(&sheets.scene.state, &sheets.data);
    EXPECT_THAT(row_of(sheets.data, 0), testing::SizeIs(2));
    EXPECT_THAT(sheets.scene.renderer.messages(),
                ElementsAre("info: vx_pc_write: 3 points written"));
}

// ---- the end of a ray ----

// An endless stack of tagged sheets, with unusual results of probes.
std::vector<std::string> calls_after(miBoolean probe_result, bool hit) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 3});
    const Surface surface = scene.tagged(1);
    scene.renderer.probe_result = probe_result;
    scene.renderer.on_probe = [&](miState*, const miVector&, const miVector&) {
        return hit ? Probe(scene.hit_at(surface, {0, 0, 0})) : Probe();
    };
    BakePass(&scene.state, &data);
    return scene.renderer.calls();
}

MATCHER(IsOneProbeAndNothingElse, "") {
    return testing::ExplainMatchResult(
        ElementsAre("shaderstate_set(vx_pc = 1, 4 bytes, lifetime 1)", "sample(2, n 1) -> 0.5 0.5",
                    "vector_from_camera(0 0 -1)", "trace_probe(org 0 0 5, dir 0 0 -1)",
                    "sample(2, n 1) -> end", "info: vx_pc_write: 0 points written",
                    "shaderstate_set(vx_pc = 0, 4 bytes, lifetime 1)"),
        arg, result_listener);
}

TEST(BakeSample, ProbeThatReturnsFalseEndsTheRayThoughThereIsAChild) {
    EXPECT_THAT(calls_after(miFALSE, true), IsOneProbeAndNothingElse());
}

TEST(BakeSample, ProbeWithoutAChildEndsTheRayThoughItReturnsTrue) {
    EXPECT_THAT(calls_after(miTRUE, false), IsOneProbeAndNothingElse());
}

TEST(BakeSample, DistanceThatIsNotExactlyZeroDoesNotEndTheRay) {
    for (const double distance : {-1.0, 1e-300}) {
        LensScene scene(1, 1);
        WriteInstanceData& data = scene.make({.layers = 2});
        Hit hit = scene.hit_at(scene.tagged(1), {0, 0, 0});
        hit.dist = distance;
        scene.renderer.probes = {hit, hit};
        BakePass(&scene.state, &data);
        EXPECT_THAT(scene.renderer.messages(), ElementsAre("info: vx_pc_write: 2 points written"));
    }
}

TEST(BakeSample, HitAtDistanceZeroEndsTheRay) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 4});
    Hit hit = scene.hit_at(scene.tagged(1), {0, 0, 0});
    hit.dist = 0;
    scene.renderer.probes = {hit, hit};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"), testing::SizeIs(1));
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"), IsEmpty());
}

// ---- the shading ray ----

TEST(BakeSample, FrontIsShadedAlongTheProbeFromWhereItStarted) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"),
                ElementsAre("trace_reflection(point 0 0 5, dir 0 0 -1)"));
}

TEST(BakeSample, BackIsShadedFromTheFrontAlongTheTurnedNormal) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    Hit hit = scene.hit_at(scene.tagged(1), {1, 2, 3}, true);
    hit.normal = {0, 1, 0};
    scene.renderer.probes = {hit};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"),
                ElementsAre("trace_reflection(point 1 1.995 3, dir 0 1 0)"));
}

TEST(BakeSample, PositionAndNormalAreThoseOfTheShadedChild) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2})};
    scene.renderer.shadings = {shaded({1, 2, 3, 0.5f}, {7, 8, 9}, {0, -1, 0})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("7 8 9 | 0 -1 0 | 1 2 3 0.5 | 1"));
}

TEST(BakeSample, ResultOfTheShadingRayIsIgnored) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2})};
    Shaded black = shaded({0, 0, 0, 1}, {0, 0, 2});
    black.result = false;
    scene.renderer.shadings = {black};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 2 | 0 0 1 | 0 0 0 1 | 1"));
}

TEST(BakeSample, ShadingRayThatSetsNoColorLeavesBlackWithoutOpacity) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 2});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2}),
                             scene.hit_at(scene.tagged(1), {0, 0, 1})};
    Shaded no_color = shaded({}, {0, 0, 1});
    no_color.sets_color = false;
    scene.renderer.shadings = {shaded({1, 2, 3, 4}, {0, 0, 2}), no_color};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0),
                ElementsAre("0 0 2 | 0 0 1 | 1 2 3 4 | 1", "0 0 1 | 0 0 1 | 0 0 0 0 | 1"));
}

TEST(BakeSample, ShadingRayWhoseChildHasDistanceZeroLeavesNoPoint) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2})};
    Shaded missed = shaded({1, 2, 3, 0.5f}, {7, 8, 9});
    missed.end->dist = 0;
    scene.renderer.shadings = {missed};
    BakePass(&scene.state, &data);
    EXPECT_EQ(row_of(data, 0).size(), 0u);
    EXPECT_THAT(scene.renderer.messages(), ElementsAre("info: vx_pc_write: 1 points written"));
}

TEST(BakeSample, ShadingRayThatMissesCountsButLeavesNoPoint) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 2});
    const Surface surface = scene.tagged(1);
    scene.renderer.probes = {scene.hit_at(surface, {0, 0, 2}), scene.hit_at(surface, {0, 0, 1})};
    scene.renderer.shadings = {{.end = Probe(), .result = false}, shaded({}, {0, 0, 1})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 1 | 0 0 1 | 0 0 0 0 | 1"));
    EXPECT_THAT(scene.renderer.messages(), ElementsAre("info: vx_pc_write: 2 points written"));
}

TEST(BakeSample, MovesOnFromTheProbesHitNotFromTheShadedPoint) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 2});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2}), Probe()};
    scene.renderer.shadings = {shaded({}, {50, 50, 50})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"),
                ElementsAre("trace_probe(org 0 0 5, dir 0 0 -1)",
                            "trace_probe(org 0 0 1.995, dir 0 0 -1)"));
}

TEST(BakeSample, FrontBehindABackIsShadedAlongTheProbeAgain) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 2});
    Hit back = scene.hit_at(scene.tagged(1), {0, 0, 2}, true);
    back.normal = {0, 1, 0};
    scene.renderer.probes = {back, scene.hit_at(scene.tagged(2), {0, 0, 1})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"),
                ElementsAre("trace_reflection(point 0 -0.005 2, dir 0 1 0)",
                            "trace_reflection(point 0 0 1.995, dir 0 0 -1)"));
}

// Near the origin, the last bits depend on where products and sums are rounded to single precision,
// and on the step. The numbers come from exact arithmetic, rounded after each step.
TEST(BakeSample, StepsOffASurfaceAreInSinglePrecision) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    Hit hit = scene.hit_at(scene.tagged(1), {-0.045f, 0.008f, -0.014f}, true);
    hit.normal = {0.36f, 0.48f, -0.8f};
    scene.renderer.probes = {hit};
    BakePass(&scene.state, &data);
    const miVector start = {-0x1.7f62b8p-5f, 0x1.6f006cp-8f, -0x1.47ae14p-7f};
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"),
                ElementsAre("trace_reflection(point " + text_of(start) + ", dir 0.36 0.48 -0.8)"));
}

TEST(BakeSample, StepsBeyondASurfaceAreInSinglePrecision) {
    LensScene scene(1, 1);
    // The direction of the rays of all pixels.
    const miVector along = {-0x1.637d44p-2f, -0x1.82f1c6p-2f, -0x1.b77416p-1f};
    miScalar* const m = scene.renderer.camera_to_internal;
    m[8] = -along.x;
    m[9] = -along.y;
    m[10] = -along.z;
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.untagged(), {0.001f, 0.002f, 0.022f})};
    BakePass(&scene.state, &data);
    const miVector beyond = {-0x1.81c3bcp-11f, 0x1.cffca0p-14f, 0x1.2222acp-6f};
    EXPECT_THAT(scene.renderer.calls_starting_with("flush_cache"),
                ElementsAre("flush_cache(point " + text_of(beyond) + ")"));
}

// ---- all calls of one sample ----

// A surface seen from the front, and another one behind it seen from the back.
TEST(BakeSample, ExactCallsForTwoLayers) {
    LensScene scene(1, 1);
    const Surface front = scene.tagged(3);
    const Surface back = scene.tagged(4);
    WriteInstanceData& data = scene.make({.layers = 2});
    Hit from_behind = scene.hit_at(back, {0, 0, -1}, true);
    from_behind.normal = {0, 1, 0};
    scene.renderer.probes = {scene.hit_at(front, {0, 0, 2}), from_behind};
    scene.renderer.shadings = {shaded({0.1f, 0.2f, 0.3f, 0.4f}, {0, 0, 2}),
                               shaded({0.5f, 0.6f, 0.7f, 0.8f}, {0, 0, -1}, {0, -1, 0})};
    BakePass(&scene.state, &data);

    std::vector<std::string> expected;
    const auto add = [&](const std::vector<std::string>& calls) {
        expected.insert(expected.end(), calls.begin(), calls.end());
    };
    add({"shaderstate_set(vx_pc = 1, 4 bytes, lifetime 1)", "sample(2, n 1) -> 0.5 0.5",
         "vector_from_camera(0 0 -1)", "trace_probe(org 0 0 5, dir 0 0 -1)"});
    add(LensScene::tag_search(front));
    add({"flush_cache(point 0 0 5)", "trace_reflection(point 0 0 5, dir 0 0 -1)",
         "flush_cache(point 0 0 1.995)", "trace_probe(org 0 0 1.995, dir 0 0 -1)"});
    add(LensScene::tag_search(back));
    add({"flush_cache(point 0 -0.005 -1)", "trace_reflection(point 0 -0.005 -1, dir 0 1 0)",
         "flush_cache(point 0 0 -1.005)", "sample(2, n 1) -> end",
         "info: vx_pc_write: 2 points written", "shaderstate_set(vx_pc = 0, 4 bytes, lifetime 1)"});
    EXPECT_THAT(scene.renderer.calls(), ElementsAreArray(expected));
    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 2 | 0 0 1 | 0.1 0.2 0.3 0.4 | 3",
                                             "0 0 -1 | 0 -1 0 | 0.5 0.6 0.7 0.8 | 4"));
}

} // namespace
