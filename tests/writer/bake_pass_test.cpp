// The pass over the image: the exact sequence of calls, the state, samples, labels, progress.
#include "src/writer/bake_pass.h"

#include "tests/writer/bake_rows.h"
#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using vx::stub::Probe;
using vx::stub::Shaded;
using vx::stub::text_of;
using vx::test::LensScene;
using vx::test::row_of;
using vx::test::shaded;
using vx::test::Surface;

// ---- the whole sequence ----

// Four pixels, two layers: a tagged surface in front of nothing; an untagged one in front of a
// tagged one that is seen from behind; nothing; a surface whose tag is not in the list.
TEST(BakePass, ExactCallsForAnImageOfTwoByTwo) {
    LensScene scene;
    // Pixel centers are at (+-2, +-2, -1). The matrix maps all of them to the same direction, which
    // keeps the numbers simple.
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
    scene.renderer.shadings = {shaded({0.1f, 0.2f, 0.3f, 0.4f}, {0, 0, 2}),
                               shaded({0.5f, 0.6f, 0.7f, 0.8f}, {0, 0, -1}, {0, 0, -1})};

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

TEST(BakePass, RestoresTheStateAfterProbesAndRays) {
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

TEST(BakePass, StateIsPutBackBeforeTheFlagIsCleared) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({});
    scene.renderer.on_probe = [&](miState* state, const miVector&, const miVector&) {
        state->org = {-1, -1, -1};
        return Probe();
    };
    std::vector<std::string> seen;
    scene.renderer.on_shaderstate_set = [&](const miState* state) {
        seen.push_back(text_of(state->org) + ", " + text_of(state->point) + ", pri and cache " +
                       (state->pri == &scene.renderer ? "own" : "other") + ' ' +
                       (state->cache == &scene.function ? "own" : "other"));
    };
    BakePass(&scene.state, &data);
    EXPECT_THAT(seen, ElementsAre("0 0 5, 9 9 9, pri and cache own own",
                                  "0 0 5, 9 9 9, pri and cache own own"));
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
    scene.renderer.on_probe = [&](miState* state, const miVector&, const miVector& org) -> Probe {
        starts.push_back(text_of(org));
        state->org = {-1, -1, -1}; // a trace may change it; the eye does not move
        if (probe++ % 2 == 1) return {};
        return scene.hit_at(scene.untagged(), {1, 2, 3});
    };
    BakePass(&scene.state, &data);
    ASSERT_EQ(starts.size(), 8u);
    for (size_t i = 0; i < 8; i += 2)
        EXPECT_EQ(starts[i], "0 0 5");
}

// ---- samples and rows ----

TEST(BakePass, WithoutJitterThereIsOneProbePerPixelThroughItsCenter) {
    LensScene scene(2, 1);
    scene.renderer.on_sample = [](int, int) { return std::array{0.1, 0.9}; };
    WriteInstanceData& data = scene.make({.jitter = 0, .samples = 9});
    BakePass(&scene.state, &data);
    // Width 2: the centers are a quarter of the aperture of 1 from the middle.
    EXPECT_THAT(scene.renderer.calls_starting_with("vector_from_camera"),
                ElementsAre(testing::StartsWith("vector_from_camera(-0.24253"),
                            testing::StartsWith("vector_from_camera(0.24253")));
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"), testing::SizeIs(2));
}

TEST(BakePass, JitterIsAnyNonZeroValue) {
    for (const int jitter : {2, -1}) {
        LensScene scene(1, 1);
        scene.renderer.on_sample = [](int, int) { return std::array{0.0, 1.0}; };
        WriteInstanceData& data = scene.make({.jitter = jitter, .samples = 2});
        BakePass(&scene.state, &data);
        // The upper left corner of a plane 1 wide and high at the distance 1.
        const auto corner = testing::StartsWith("vector_from_camera(-0.40824");
        EXPECT_THAT(scene.renderer.calls_starting_with("vector_from_camera"),
                    ElementsAre(corner, corner));
    }
}

// The pass reads the camera's width at every pixel, its height once.
TEST(BakePass, WidthThatChangesCountsAtOnceAndHeightNotAtAll) {
    LensScene scene(2, 2);
    WriteInstanceData& data = scene.make({});
    scene.renderer.on_probe = [&](miState*, const miVector&, const miVector&) {
        scene.renderer.camera.x_resolution = 3;
        scene.renderer.camera.y_resolution = 9;
        return Probe();
    };
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"), testing::SizeIs(6));
    // The middle one of three pixels, the lower one of two lines.
    EXPECT_THAT(scene.renderer.calls_starting_with("vector_from_camera")[1],
                testing::StartsWith("vector_from_camera(0 -0.24253"));
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

// ---- selection of surfaces ----

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

TEST(BakePass, ZeroIsAValidTag) {
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

TEST(BakePass, UseLabelsIsAnyNonZeroValue) {
    for (const int use_labels : {2, -1}) {
        LensScene scene(1, 1);
        WriteInstanceData& data = scene.make({.use_labels = use_labels, .labels = "1"});
        scene.renderer.probes = {scene.hit_at(scene.tagged(5), {0, 0, 0})};
        BakePass(&scene.state, &data);
        EXPECT_THAT(scene.renderer.messages(), ElementsAre("info: vx_pc_write: 0 points written"));
    }
}

TEST(BakePass, EmptyLabelListRejectsEverySurface) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.use_labels = 1, .labels = ""});
    scene.renderer.probes = {scene.hit_at(scene.tagged(0), {0, 0, 0})};
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.messages(), ElementsAre("info: vx_pc_write: 0 points written"));
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
