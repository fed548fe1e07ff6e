// Init, the first call of each thread, later calls and exit of a writer instance.
#include "src/writer/lens.h"

#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <new>
#include <stdexcept>
#include <thread>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using vx::test::LensScene;

const char* const kEyeRay = "trace_eye(org 0 0 5, dir 0 0 -1)";

TEST(Lens, InitKeepsTheRecordInTheUserPointer) {
    LensScene scene;
    scene.set_up({});
    ASSERT_EQ(*scene.renderer.user_pointer(scene.state.shader), nullptr);
    InitWriteInstance(&scene.state, scene.params());
    EXPECT_NE(*scene.renderer.user_pointer(scene.state.shader), nullptr);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", "init_lock(1)"));
    scene.exit();
}

TEST(Lens, ExitReleasesTheRecordAndLeavesTheUserPointer) {
    LensScene scene;
    scene.make({.use_labels = 1, .labels = "1-20"});
    void* const record = *scene.renderer.user_pointer(scene.state.shader);
    scene.exit();
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", "delete_lock(1)"));
    EXPECT_EQ(*scene.renderer.user_pointer(scene.state.shader), record);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST(Lens, ExitWithoutARecordDoesNothing) {
    LensScene scene;
    scene.set_up({});
    ExitWriteInstance(&scene.state);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)"));
}

TEST(Lens, WithoutAUserPointerThereIsNoInstance) {
    LensScene scene;
    scene.set_up({});
    WriteParameters* const parameters = scene.params();
    scene.state.shader = nullptr; // the renderer has no user pointer then
    InitWriteInstance(&scene.state, parameters);
    miColor result = {};
    EXPECT_EQ(WriteLens(&result, &scene.state), miFALSE);
    ExitWriteInstance(&scene.state);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", "query(51)", "query(51)"));
}

TEST(Lens, ExitAfterABakeReleasesCacheAndGrid) {
    LensScene scene;
    scene.make({});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 0})};
    scene.renderer.shadings = {{}};
    miColor result = {};
    WriteLens(&result, &scene.state);
    EXPECT_NE(scene.record().pdc, nullptr);
    scene.exit();
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST(Lens, WithoutARecordItIsFalseAndTracesNothing) {
    LensScene scene;
    scene.set_up({});
    miColor result = {1, 2, 3, 4};
    EXPECT_EQ(WriteLens(&result, &scene.state), miFALSE);
    EXPECT_EQ(result.g, 2);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)"));
}

TEST(Lens, DisabledItOnlyPassesTheEyeRay) {
    LensScene scene;
    const WriteInstanceData& data = scene.make({.disable = 1, .output_mode = 2});
    miColor result = {};
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_EQ(result.g, 0.5f);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", kEyeRay));
    EXPECT_FALSE(data.done);
}

TEST(Lens, DisableIsTestedFor1NotForNonZero) {
    for (const int disable : {0, 2, -1, 256}) {
        LensScene scene;
        const WriteInstanceData& data = scene.make({.disable = disable});
        miColor result = {};
        WriteLens(&result, &scene.state);
        EXPECT_TRUE(data.done) << disable;
        EXPECT_EQ(scene.renderer.calls_starting_with("trace_probe").size(), 4u) << disable;
    }
}

// ---- more samples than a grid can count ----

// Ends a bake that must not run; with so many samples, it would take hours.
std::array<double, 2> no_bake(int /*index*/, int /*n*/) {
    throw std::logic_error("a bake is running");
}

TEST(Lens, TooManySamplesWarnOnceBakeNothingAndRenderThePicture) {
    LensScene scene(4000, 3000);
    const WriteInstanceData& data =
        scene.make({.jitter = 1, .samples = 300, .pdc_file_name = "a.0001.pdc", .output_mode = 2});
    const std::string warning =
        "warning: vx_pc_write: 4000 x 3000 pixels with 300 samples each exceed the limit of "
        "2147483647 samples, nothing is baked; reduce samples, turn jitter off, or lower the "
        "camera's resolution";
    miColor result = {};
    scene.renderer.on_sample = no_bake;
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_EQ(result.g, 0.5f);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", "query(124)", "query(126)",
                                                    "lock(1)", warning, "unlock(1)", kEyeRay));
    EXPECT_TRUE(data.done);
    EXPECT_EQ(data.pdc, nullptr);
    scene.renderer.clear_calls();
    scene.state.thread = 1;
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_THAT(scene.renderer.messages(), IsEmpty());
    scene.exit();
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST(Lens, DisabledItDoesNotWarnOfTooManySamples) {
    LensScene scene(3000, 3000);
    scene.make({.disable = 1, .jitter = 1, .samples = 300});
    scene.renderer.on_sample = no_bake;
    miColor result = {};
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", kEyeRay));
}

TEST(Lens, ConversionRunsForAnyNumberOfSamples) {
    LensScene scene(3000, 3000);
    scene.make({.jitter = 1, .samples = 300, .pdc_file_name = "x", .output_mode = 3});
    scene.renderer.on_sample = no_bake;
    miColor result = {};
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_THAT(scene.renderer.messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for x, aborting"));
}

// ---- the first call and later ones ----

TEST(Lens, FirstCallMarksTheThreadThenBakesUnderTheLock) {
    LensScene scene(1, 1);
    const WriteInstanceData& data = scene.make({});
    miColor result = {};
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_TRUE(data.done);
    const auto& calls = scene.renderer.calls();
    ASSERT_GE(calls.size(), 7u);
    EXPECT_THAT(std::vector<std::string>(calls.begin(), calls.begin() + 5),
                ElementsAre("query(51)", "query(124)", "query(126)", "lock(1)",
                            "shaderstate_set(vx_pc = 1, 4 bytes, lifetime 1)"));
    EXPECT_THAT(
        std::vector<std::string>(calls.end() - 3, calls.end()),
        ElementsAre("shaderstate_set(vx_pc = 0, 4 bytes, lifetime 1)", "unlock(1)", kEyeRay));
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"), testing::SizeIs(1));
}

TEST(Lens, LaterCallsOfAThreadNeitherLockNorBake) {
    LensScene scene;
    scene.make({});
    miColor result = {};
    WriteLens(&result, &scene.state);
    for (int i = 0; i < 3; ++i) {
        scene.renderer.clear_calls();
        WriteLens(&result, &scene.state);
        EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", "query(124)", kEyeRay));
    }
}

TEST(Lens, EveryCallReturnsWhatTheEyeRayReturns) {
    LensScene scene;
    scene.make({});
    for (const miBoolean answer : {miFALSE, miTRUE, miFALSE}) {
        scene.renderer.on_eye = [answer](miColor* color, miState* /*state*/) {
            *color = {7, 8, 9, 1};
            return answer;
        };
        miColor result = {};
        EXPECT_EQ(WriteLens(&result, &scene.state), answer);
        EXPECT_EQ(result.b, 9);
    }
}

TEST(Lens, AnotherThreadLocksOnceAndFindsTheBakeDone) {
    LensScene scene;
    scene.make({});
    miColor result = {};
    WriteLens(&result, &scene.state);
    scene.renderer.clear_calls();
    std::thread other([&] {
        miState state = scene.state;
        state.thread = 1;
        state.child = nullptr;
        WriteLens(&result, &state);
        WriteLens(&result, &state);
    });
    other.join();
    EXPECT_THAT(scene.renderer.calls(),
                ElementsAre("query(51)", "query(124)", "query(126)", "lock(1)", "unlock(1)",
                            kEyeRay, "query(51)", "query(124)", kEyeRay));
}

TEST(Lens, OtherThreadsWaitUntilTheBakeIsOver) {
    LensScene scene(8, 8);
    scene.make({});
    std::atomic<int> probes = 0;
    std::atomic<bool> too_early = false;
    scene.renderer.on_probe = [&](miState* /*state*/, const miVector&, const miVector&) {
        ++probes;
        std::this_thread::yield();
        return vx::stub::Probe();
    };
    scene.renderer.on_eye = [&](miColor* /*color*/, miState* /*state*/) {
        if (probes != 64) too_early = true;
        return miTRUE;
    };
    std::vector<std::thread> threads;
    for (short i = 0; i < 4; ++i) {
        threads.emplace_back([&scene, i] {
            miState state = scene.state;
            state.thread = i;
            miColor result = {};
            for (int call = 0; call < 5; ++call)
                WriteLens(&result, &state);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(too_early);
    EXPECT_EQ(scene.renderer.calls_starting_with("lock").size(), 4u);
    EXPECT_EQ(scene.renderer.calls_starting_with("unlock").size(), 4u);
    EXPECT_EQ(scene.renderer.calls_starting_with("trace_probe").size(), 64u);
    EXPECT_EQ(scene.renderer.calls_starting_with("trace_eye").size(), 20u);
}

TEST(Lens, TwoInstancesOnOneThreadBakeBoth) {
    LensScene scene;
    const WriteInstanceData& first = scene.make({});
    miColor result = {};
    WriteLens(&result, &scene.state);
    EXPECT_TRUE(first.done);

    miState other = scene.renderer.new_state(
        scene.renderer.add_function({.block = vx::stub::bytes_of(*scene.params())}));
    InitWriteInstance(&other, reinterpret_cast<WriteParameters*>(other.shader->parameters));
    WriteLens(&result, &other);
    EXPECT_TRUE(static_cast<WriteInstanceData*>(*scene.renderer.user_pointer(other.shader))->done);
    ExitWriteInstance(&other);
}

TEST(Lens, ConversionRunsNoPassAndChangesNoShaderState) {
    LensScene scene;
    const WriteInstanceData& data = scene.make({.output_mode = 3});
    miColor result = {};
    EXPECT_EQ(WriteLens(&result, &scene.state), miTRUE);
    EXPECT_TRUE(data.done);
    const auto& calls = scene.renderer.calls();
    EXPECT_THAT(calls, Not(Contains(StartsWith("shaderstate_set"))));
    EXPECT_THAT(calls, Not(Contains(StartsWith("trace_probe"))));
    EXPECT_THAT(calls, Not(Contains(StartsWith("sample"))));
    EXPECT_THAT(calls, Not(Contains(StartsWith("info: "))));
    EXPECT_EQ(calls.back(), kEyeRay);
}

// The exception of an allocation propagates, and the lock stays held.
TEST(Lens, ExceptionInTheBakePropagatesWithTheLockHeld) {
    LensScene scene;
    scene.make({});
    scene.renderer.on_probe = [](miState*, const miVector&, const miVector&) -> vx::stub::Probe {
        throw std::bad_alloc();
    };
    miColor result = {};
    EXPECT_THROW(WriteLens(&result, &scene.state), std::bad_alloc);
    EXPECT_THAT(scene.renderer.left_over(), ElementsAre("lock 1 held"));
    EXPECT_TRUE(scene.record().done);
    mi_unlock(scene.record().lock);
}

} // namespace
