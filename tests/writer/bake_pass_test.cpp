// The pass over the image: the exact sequence of calls, geometry, layers, labels, counts.
#include "src/writer/bake_pass.h"

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
using vx::test::Surface;

// The row as text: "position | normal | colour and opacity | tag".
std::vector<std::string> row_of(const WriteInstanceData& data, size_t row) {
    std::vector<std::string> points;
    for (const CPoint& p : data.grid.rows.at(row).points)
        points.push_back(text_of(miVector{p.positionX, p.positionY, p.positionZ}) + " | " +
                         text_of(miVector{p.normalX, p.normalY, p.normalZ}) + " | " +
                         text_of(miVector{p.red, p.green, p.blue}) + " " + text_of(p.opacity) +
                         " | " + std::to_string(p.tag));
    return points;
}

Shaded shaded(miColor color, miVector point, miVector normal = {0, 0, 1}) {
    return {.color = color, .end = Hit{.point = point, .normal = normal}};
}

// ---- the whole sequence ----

// Four pixels, two layers: a tagged surface in front of nothing; an untagged one in front of a
// tagged one that is seen from behind; nothing; a surface whose tag is not in the list.
TEST(BakePass, ExactCallsForAnImageOfTwoByTwo) {
    LensScene scene;
    // The pixels' centres lie at (+-2, +-2, -1). The renderer turns all of them into one direction:
    // that keeps the numbers simple.
    scene.renderer.camera.aperture = 8;
    miScalar* const m = scene.renderer.camera_to_internal;
    m[0] = m[5] = 0;
    m[10] = 3;
    const Surface front = scene.tagged(3);
    const Surface plain = scene.untagged();
    const Surface behind = scene.tagged(4);
    const Surface other = scene.tagged(5);
    WriteInstanceData& data = scene.make({.layers = 2, .use_labels = 1, .labels = "3-4"});
    scene.renderer.probes = {scene.hit_at(front, {0, 0, 2}),
                             Probe(),
                             scene.hit_at(plain, {0, 0, 1}),
                             scene.hit_at(behind, {0, 0, -1}, true),
                             Probe(),
                             scene.hit_at(other, {0, 0, 0}),
                             Probe()};
    scene.renderer.shadings = {shaded({0.1F, 0.2F, 0.3F, 0.4F}, {0, 0, 2}),
                               shaded({0.5F, 0.6F, 0.7F, 0.8F}, {0, 0, -1}, {0, 0, -1})};

    BakePass(&scene.state, &data);

    std::vector<std::string> expected;
    const auto add = [&](std::vector<std::string> calls) {
        expected.insert(expected.end(), calls.begin(), calls.end());
    };
    const auto begin_pixel = [&](const char* x, const char* y) {
        add({"sample(2, n 1) -> 0.5 0.5",
             "vector_from_camera(" + std::string(x) + "0.6666667 " + y + "0.6666667 -0.33333334)"});
    };
    const auto end_pixel = [&] { add({"sample(2, n 1) -> end"}); };
    const auto probe_from = [&](const char* z) {
        add({std::string("trace_probe(org 0 0 ") + z + ", dir 0 0 -1)"});
    };

    add({"shaderstate_set(vx_pc = 1, 4 bytes, lifetime 1)"});

    begin_pixel("-", "-");
    probe_from("5");
    add(LensScene::tag_search(front));
    add({"flush_cache(point 0 0 5)", "trace_reflection(point 0 0 5, dir 0 0 -1)",
         "flush_cache(point 0 0 1.995)"});
    probe_from("1.995");
    end_pixel();

    begin_pixel("", "-");
    probe_from("5");
    add(LensScene::tag_search(plain));
    add({"flush_cache(point 0 0 0.995)"});
    probe_from("0.995");
    add(LensScene::tag_search(behind));
    add({"flush_cache(point 0 0 -1.005)", "trace_reflection(point 0 0 -1.005, dir 0 0 1)",
         "flush_cache(point 0 0 -1.005)"});
    end_pixel();

    begin_pixel("-", "");
    probe_from("5");
    end_pixel();

    begin_pixel("", "");
    probe_from("5");
    add(LensScene::tag_search(other));
    add({"flush_cache(point 0 0 -0.005)"});
    probe_from("-0.005");
    end_pixel();

    add({"info: vx_pc_write: 2 points written", "shaderstate_set(vx_pc = 0, 4 bytes, lifetime 1)"});
    EXPECT_THAT(scene.renderer.calls(), ElementsAreArray(expected));

    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 2 | 0 0 1 | 0.1 0.2 0.3 0.4 | 3"));
    EXPECT_THAT(row_of(data, 1), ElementsAre("0 0 -1 | 0 0 -1 | 0.5 0.6 0.7 0.8 | 4"));
    EXPECT_THAT(row_of(data, 2), IsEmpty());
    EXPECT_THAT(row_of(data, 3), IsEmpty());
    scene.exit();
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

// ---- the state ----

TEST(BakePass, PutsBackWhatProbingAndTracingChange) {
    LensScene scene;
    WriteInstanceData& data = scene.make({});
    const Surface surface = scene.tagged(1);
    scene.renderer.on_probe = [&](miState* state, const miVector&, const miVector&) {
        state->org = {-1, -1, -1};
        return Probe(scene.hit_at(surface, {0, 0, 0}));
    };
    scene.renderer.on_reflection = [&](miState*, const miVector&) { return Shaded{}; };
    BakePass(&scene.state, &data);
    EXPECT_EQ(text_of(scene.state.org), "0 0 5");
    EXPECT_EQ(text_of(scene.state.dir), "0 0 -1");
    EXPECT_EQ(text_of(scene.state.point), "9 9 9");
    EXPECT_EQ(scene.state.pri, &scene.renderer);
    EXPECT_EQ(scene.state.cache, &scene.function);
}

TEST(BakePass, FlagIsUpDuringThePassAndZeroNotGoneAfterIt) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    const Surface surface = scene.tagged(1);
    scene.renderer.probes = {scene.hit_at(surface, {0, 0, 0})};
    int seen = -1;
    int size = 0;
    scene.renderer.on_reflection = [&](miState* state, const miVector&) {
        miState below = *state;
        below.parent = state;
        seen = *static_cast<int*>(mi_shaderstate_get(&below, "vx_pc", &size));
        return Shaded{};
    };
    BakePass(&scene.state, &data);
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(size, 4);
    auto* const after = static_cast<int*>(mi_shaderstate_get(&scene.state, "vx_pc", &size));
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(*after, 0);
    EXPECT_EQ(size, 4);
}

TEST(BakePass, EachSampleStartsAtTheEyeAgain) {
    LensScene scene;
    WriteInstanceData& data = scene.make({.layers = 3});
    std::vector<std::string> starts;
    int probe = 0;
    scene.renderer.on_probe = [&](miState*, const miVector&, const miVector& org) -> Probe {
        starts.push_back(text_of(org));
        if (probe++ % 2 == 1) return {};
        return scene.hit_at(scene.untagged(), {1, 2, 3});
    };
    BakePass(&scene.state, &data);
    ASSERT_EQ(starts.size(), 8u);
    for (size_t i = 0; i < 8; i += 2)
        EXPECT_EQ(starts[i], "0 0 5");
}

// ---- directions ----

TEST(BakePass, DirectionsGoThroughTheSamplesOfTheImagePlane) {
    LensScene scene(4, 3);
    scene.renderer.camera.focal = 1.5F;
    scene.renderer.camera.aperture = 1.25F;
    scene.renderer.camera.aspect = 4.0F / 3.0F;
    WriteInstanceData& data = scene.make({.jitter = 1, .samples = 2});
    const double position[2][2] = {{0.25, 0.75}, {0.875, 0.125}};
    scene.renderer.on_sample = [&](int index, int /*n*/) {
        return std::array{position[index][0], position[index][1]};
    };
    std::vector<miVector> directions;
    scene.renderer.on_probe = [&](miState*, const miVector& dir, const miVector&) {
        directions.push_back(dir);
        return Probe();
    };
    BakePass(&scene.state, &data);
    ASSERT_EQ(directions.size(), 24u);
    size_t at = 0;
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            for (const auto& sample : position) {
                // A plane 1.25 wide and 0.9375 high at the distance 1.5, lower left corner first.
                const double px = -0.625 + (x + sample[0]) * 1.25 / 4;
                const double py = -0.46875 + (y + sample[1]) * 0.9375 / 3;
                const double length = std::sqrt(px * px + py * py + 1.5 * 1.5);
                EXPECT_NEAR(directions[at].x, px / length, 1e-6);
                EXPECT_NEAR(directions[at].y, py / length, 1e-6);
                EXPECT_NEAR(directions[at].z, -1.5 / length, 1e-6);
                ++at;
            }
        }
    }
}

TEST(BakePass, DirectionsAreTurnedFromCameraSpace) {
    LensScene scene(1, 1);
    // The camera looks along +x.
    const miMatrix turned = {0, 0, 1, 0, 0, 1, 0, 0, -1, 0, 0, 0, 3, 4, 5, 1};
    std::copy(std::begin(turned), std::end(turned), scene.renderer.camera_to_internal);
    WriteInstanceData& data = scene.make({});
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"),
                ElementsAre("trace_probe(org 0 0 5, dir 1 0 0)"));
}

TEST(BakePass, DirectionOfNoLengthIsNotNormalised) {
    LensScene scene(1, 1);
    scene.renderer.camera.focal = 0;
    scene.renderer.camera.aperture = 0;
    WriteInstanceData& data = scene.make({});
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"),
                ElementsAre("trace_probe(org 0 0 5, dir 0 0 0)"));
}

TEST(BakePass, OrthographicWindowAndOffsetAreNotLookedAt) {
    const auto probes = [](bool special) {
        LensScene scene(2, 1);
        WriteInstanceData& data = scene.make({});
        if (special) {
            scene.renderer.camera.orthographic = miTRUE;
            scene.renderer.camera.window = {1, 0, 1, 0};
            scene.renderer.camera.x_offset = 10;
        }
        BakePass(&scene.state, &data);
        return scene.renderer.calls_starting_with("trace_probe");
    };
    EXPECT_EQ(probes(true), probes(false));
}

// ---- samples and rows ----

TEST(BakePass, WithoutJitterThereIsOneProbePerPixelThroughItsCentre) {
    LensScene scene(2, 1);
    scene.renderer.on_sample = [](int, int) { return std::array{0.1, 0.9}; };
    WriteInstanceData& data = scene.make({.jitter = 0, .samples = 9});
    BakePass(&scene.state, &data);
    // Width 2: the centres are a quarter of the aperture of 1 off the middle.
    EXPECT_THAT(scene.renderer.calls_starting_with("vector_from_camera"),
                ElementsAre(testing::StartsWith("vector_from_camera(-0.24253"),
                            testing::StartsWith("vector_from_camera(0.24253")));
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"), testing::SizeIs(2));
}

TEST(BakePass, RowsCountSamplesOverTheWholeImage) {
    LensScene scene(3, 2);
    WriteInstanceData& data = scene.make({.jitter = 1, .samples = 4});
    const Surface surface = scene.tagged(1);
    int probe = 0;
    scene.renderer.on_probe = [&](miState*, const miVector&, const miVector&) {
        return Probe(scene.hit_at(surface, {static_cast<float>(probe++), 0, 0}));
    };
    scene.renderer.on_reflection = [&](miState* state, const miVector&) {
        return shaded({}, state->child->point);
    };
    BakePass(&scene.state, &data);
    ASSERT_EQ(data.grid.rows.size(), 24u);
    for (size_t row = 0; row < 24; ++row)
        EXPECT_THAT(row_of(data, row),
                    ElementsAre(std::to_string(row) + " 0 0 | 0 0 1 | 0 0 0 0 | 1"));
}

TEST(BakePass, SamplesWithoutAHitStillTakeTheirRow) {
    LensScene scene(3, 1);
    WriteInstanceData& data = scene.make({});
    const Surface surface = scene.tagged(1);
    scene.renderer.probes = {Probe(), Probe(), scene.hit_at(surface, {0, 0, 0})};
    scene.renderer.shadings = {shaded({}, {0, 0, 0})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), IsEmpty());
    EXPECT_THAT(row_of(data, 1), IsEmpty());
    EXPECT_THAT(row_of(data, 2), testing::SizeIs(1));
}

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

TEST(BakePass, ProbesAsManySurfacesAsThereAreLayers) {
    Sheets sheets(3);
    BakePass(&sheets.scene.state, &sheets.data);
    EXPECT_THAT(row_of(sheets.data, 0),
                ElementsAre("0 0 4 | 0 0 1 | 0 0 0 0 | 1", "0 0 3 | 0 0 1 | 0 0 0 0 | 1",
                            "0 0 2 | 0 0 1 | 0 0 0 0 | 1"));
    EXPECT_THAT(sheets.scene.renderer.messages(),
                ElementsAre("info: vx_pc_write: 3 points written"));
}

TEST(BakePass, LayersOf0OrLessProbeOnceShadeCountAndStoreNothing) {
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

TEST(BakePass, CountIncludesPointsThatFindNoRow) {
    Sheets sheets(1, 2);
    // The camera has grown since the grid was sized: two rows for three pixels.
    sheets.scene.renderer.camera.x_resolution = 3;
    BakePass(&sheets.scene.state, &sheets.data);
    EXPECT_THAT(row_of(sheets.data, 0), testing::SizeIs(1));
    EXPECT_THAT(row_of(sheets.data, 1), testing::SizeIs(1));
    EXPECT_EQ(sheets.data.grid.rows.size(), 2u);
    EXPECT_THAT(sheets.scene.renderer.messages(),
                ElementsAre("info: vx_pc_write: 3 points written"));
}

TEST(BakePass, HitAtDistanceZeroEndsTheRay) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 4});
    Hit hit = scene.hit_at(scene.tagged(1), {0, 0, 0});
    hit.dist = 0;
    scene.renderer.probes = {hit, hit};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"), testing::SizeIs(1));
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"), IsEmpty());
}

// ---- which surfaces ----

TEST(BakePass, UntaggedSurfacesArePassedThrough) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 2});
    scene.renderer.probes = {scene.hit_at(scene.untagged(), {0, 0, 2}),
                             scene.hit_at(scene.tagged(6), {0, 0, 1})};
    scene.renderer.shadings = {shaded({1, 1, 1, 1}, {0, 0, 1})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 1 | 0 0 1 | 1 1 1 1 | 6"));
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"), testing::SizeIs(1));
}

TEST(BakePass, NegativeTagsAreNotBaked) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(-1), {0, 0, 2})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"), IsEmpty());
}

TEST(BakePass, ZeroIsATagLikeAnyOther) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(0), {0, 0, 2})};
    scene.renderer.shadings = {shaded({}, {0, 0, 2})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 2 | 0 0 1 | 0 0 0 0 | 0"));
}

TEST(BakePass, LabelsChooseAmongTags) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 4, .use_labels = 1, .labels = "1,3-4"});
    for (const int tag : {1, 2, 3, 5})
        scene.renderer.probes.push_back(scene.hit_at(scene.tagged(tag), {0, 0, 0}));
    scene.renderer.shadings = {shaded({}, {0, 0, 0}), shaded({}, {0, 0, 0})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0),
                ElementsAre("0 0 0 | 0 0 1 | 0 0 0 0 | 1", "0 0 0 | 0 0 1 | 0 0 0 0 | 3"));
}

TEST(BakePass, EmptyLabelListRejectsEverySurface) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.use_labels = 1, .labels = ""});
    scene.renderer.probes = {scene.hit_at(scene.tagged(0), {0, 0, 0})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.messages(), ElementsAre("info: vx_pc_write: 0 points written"));
}

// ---- the shading ray ----

TEST(BakePass, FrontIsShadedAlongTheProbeFromWhereItStarted) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"),
                ElementsAre("trace_reflection(point 0 0 5, dir 0 0 -1)"));
}

TEST(BakePass, BackIsShadedFromTheFrontAlongTheTurnedNormal) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    Hit hit = scene.hit_at(scene.tagged(1), {1, 2, 3}, true);
    hit.normal = {0, 1, 0};
    scene.renderer.probes = {hit};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_reflection"),
                ElementsAre("trace_reflection(point 1 1.995 3, dir 0 1 0)"));
}

TEST(BakePass, PositionAndNormalAreThoseOfTheShadedChild) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2})};
    scene.renderer.shadings = {shaded({1, 2, 3, 0.5F}, {7, 8, 9}, {0, -1, 0})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("7 8 9 | 0 -1 0 | 1 2 3 0.5 | 1"));
}

TEST(BakePass, ResultOfTheShadingRayIsIgnored) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2})};
    Shaded black = shaded({0, 0, 0, 1}, {0, 0, 2});
    black.result = false;
    scene.renderer.shadings = {black};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 2 | 0 0 1 | 0 0 0 1 | 1"));
}

TEST(BakePass, ShadingRayThatMissesCountsButLeavesNoPoint) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 2});
    const Surface surface = scene.tagged(1);
    scene.renderer.probes = {scene.hit_at(surface, {0, 0, 2}), scene.hit_at(surface, {0, 0, 1})};
    scene.renderer.shadings = {{.end = Probe(), .result = false}, shaded({}, {0, 0, 1})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(row_of(data, 0), ElementsAre("0 0 1 | 0 0 1 | 0 0 0 0 | 1"));
    EXPECT_THAT(scene.renderer.messages(), ElementsAre("info: vx_pc_write: 2 points written"));
}

TEST(BakePass, MovesOnFromTheProbesHitNotFromTheShadedPoint) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.layers = 2});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 2}), Probe()};
    scene.renderer.shadings = {shaded({}, {50, 50, 50})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"),
                ElementsAre("trace_probe(org 0 0 5, dir 0 0 -1)",
                            "trace_probe(org 0 0 1.995, dir 0 0 -1)"));
}

// ---- progress ----

std::vector<std::string> progress_of(int height) {
    LensScene scene(1, height);
    WriteInstanceData& data = scene.make({});
    BakePass(&scene.state, &data);
    return scene.renderer.messages();
}

TEST(BakePass, ProgressIsReportedForEveryTenthOfTheLines) {
    EXPECT_THAT(
        progress_of(48),
        ElementsAre(
            "info: vx_pc_write: line 4 of 48 done", "info: vx_pc_write: line 8 of 48 done",
            "info: vx_pc_write: line 12 of 48 done", "info: vx_pc_write: line 16 of 48 done",
            "info: vx_pc_write: line 20 of 48 done", "info: vx_pc_write: line 24 of 48 done",
            "info: vx_pc_write: line 28 of 48 done", "info: vx_pc_write: line 32 of 48 done",
            "info: vx_pc_write: line 36 of 48 done", "info: vx_pc_write: line 40 of 48 done",
            "info: vx_pc_write: line 44 of 48 done", "info: vx_pc_write: 0 points written"));
}

TEST(BakePass, ProgressOf480LinesComesEvery48) {
    const auto messages = progress_of(480);
    ASSERT_EQ(messages.size(), 10u);
    EXPECT_EQ(messages.front(), "info: vx_pc_write: line 48 of 480 done");
    EXPECT_EQ(messages[8], "info: vx_pc_write: line 432 of 480 done");
}

TEST(BakePass, FewerThanTenLinesReportNoProgress) {
    EXPECT_THAT(progress_of(9), ElementsAre("info: vx_pc_write: 0 points written"));
    EXPECT_THAT(progress_of(1), ElementsAre("info: vx_pc_write: 0 points written"));
}

TEST(BakePass, TenLinesReportEachLineButTheFirst) {
    EXPECT_THAT(progress_of(10), testing::SizeIs(10));
    EXPECT_EQ(progress_of(10).front(), "info: vx_pc_write: line 1 of 10 done");
}

TEST(BakePass, ImageWithoutPixelsBakesNothing) {
    LensScene scene(0, 0);
    WriteInstanceData& data = scene.make({});
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls(),
                ElementsAre("shaderstate_set(vx_pc = 1, 4 bytes, lifetime 1)",
                            "info: vx_pc_write: 0 points written",
                            "shaderstate_set(vx_pc = 0, 4 bytes, lifetime 1)"));
}

} // namespace
