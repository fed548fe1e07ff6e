// Init, exit, versions: host/shading/lifecycle.cpp.
#include <atomic>
#include <thread>

#include "tests/shading/rig.h"

using namespace vx;
using namespace vx::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class Lifecycle : public ::testing::Test, protected Rig {
  protected:
    void SetUp() override { load(); }
    miTag life(const std::string& name, double value) {
        return shader(name, "test_life", {set("label", text(name)), set("value", numbers(value))});
    }
};

} // namespace

TEST_F(Lifecycle, InitsComeBeforeTheFirstCallAndExitsInTheOrderOfCreation) {
    const miTag a = life("a", 1.5);
    const miTag b = life("b", 2.5);
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(run(b).r, 2.5f);
    EXPECT_THAT(lines, ElementsAre("RC 0.0 info: life version", "RC 0.0 info: life init",
                                   "RC 0.0 info: life init b value 2.5 slot empty"));
    lines.clear();
    run(b);
    run(a);
    EXPECT_THAT(lines, ElementsAre("RC 0.0 info: life init a value 1.5 slot empty"));
    lines.clear();
    context.end_render(state);
    EXPECT_THAT(lines,
                ElementsAre("RC 0.0 info: life exit a after 1 calls",
                            "RC 0.0 info: life exit b after 2 calls", "RC 0.0 info: life exit"));
}

TEST_F(Lifecycle, InstancesThatWereNeverCalledHaveNeitherInitNorExit) {
    life("never", 0);
    run(life("used", 0));
    context.end_render(state);
    for (const std::string& line : lines)
        EXPECT_THAT(line, ::testing::Not(HasSubstr("never")));
}

TEST_F(Lifecycle, EverythingHappensAgainForEachRender) {
    const miTag a = life("a", 1);
    context.begin_render();
    run(a);
    context.end_render(state);
    const std::vector<std::string> first = lines;
    lines.clear();
    context.begin_render();
    run(a);
    context.end_render(state);
    EXPECT_EQ(lines, first);
    EXPECT_THAT(lines,
                ElementsAre("RC 0.0 info: life version", "RC 0.0 info: life init",
                            "RC 0.0 info: life init a value 1 slot empty",
                            "RC 0.0 info: life exit a after 1 calls", "RC 0.0 info: life exit"));
}

TEST_F(Lifecycle, ShaderThatDoesNotAskHasNoInstanceInitAndNoInstanceExit) {
    run(shader("s", "test_simple_life"));
    run(shader("t", "test_simple_life"));
    context.end_render(state);
    EXPECT_THAT(lines,
                ElementsAre("RC 0.0 info: simple init shader", "RC 0.0 info: simple exit shader"));
}

TEST_F(Lifecycle, EndWithoutAnyCallRunsNoExit) {
    life("a", 1);
    context.end_render(state);
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(Lifecycle, DifferentVersionIsRefusedWithBothNumbers) {
    const miTag tag = shader("s", "test_newer");
    EXPECT_FALSE(context.shaders_failed());
    EXPECT_THAT(run(tag), IsColor(0, 0, 0, 0));
    run(tag);
    run(shader("t", "test_newer"));
    EXPECT_THAT(lines, ElementsAre("RC 0.0 error: shader \"test_newer\" is refused: its library "
                                   "has version 3, its declaration version 2"));
    EXPECT_TRUE(context.shaders_failed());
    context.end_render(state);
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(Lifecycle, MissingVersionIsAWarningOnce) {
    EXPECT_THAT(run(shader("s", "test_unversioned")), IsColor(2, 2, 2, 2));
    run(shader("t", "test_unversioned"));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("warning: shader \"test_unversioned\" has no function "
                                    "test_unversioned_version"));
    EXPECT_FALSE(context.shaders_failed());
}

TEST_F(Lifecycle, DeclaredShaderThatNoLibraryHasIsReportedWhenItIsFirstUsed) {
    const miTag tag = shader("s", "test_missing");
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_THAT(run(tag), IsColor(0, 0, 0, 0));
    EXPECT_THAT(lines, ElementsAre("RC 0.0 error: shader \"test_missing\" is refused: no linked "
                                   "library contains it"));
}

TEST_F(Lifecycle, InstanceInitMayEvaluateConnectedParametersWhichInitialisesTheirShaders) {
    shader("inner", "test_life", {set("label", text("inner")), set("value", numbers(4))});
    const miTag outer = shader("outer", "test_life",
                               {set("label", text("outer")), set("value", connection("inner"))});
    const miColor c = run(outer);
    // The mean of (4, 1, 0) in the first call of the inner one, of (4, 2, 0) in the second.
    EXPECT_FLOAT_EQ(c.r, 2.0f);
    EXPECT_THAT(lines, ElementsAre("RC 0.0 info: life version", "RC 0.0 info: life init",
                                   "RC 0.0 info: life init inner value 4 slot empty",
                                   "RC 0.0 info: life init outer value 1.66667 slot empty"));
    context.end_render(state);
}

TEST_F(Lifecycle, InitThatNeedsItsOwnInstanceEndsTheRenderWithAMessage) {
    shader("self", "test_scalar", {set("value", connection("self"))});
    const miTag tag = builder.find(shading::SceneBuilder::Kind::shader, "self");
    builder.finish();
    EXPECT_THROW(run(tag), shading::RenderAborted);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("fatal: shader \"test_scalar\" (instance \"self\"): the "
                                    "initialization of \"self\" needs "
                                    "a value of \"self\" itself"));
}

TEST_F(Lifecycle, UserPointersArePerInstanceAndNullAgainAfterTheRender) {
    const miTag a = life("a", 1);
    const miTag b = life("b", 1);
    run(a);
    run(b);
    EXPECT_NE(function(a).user_pointer, nullptr);
    EXPECT_NE(function(a).user_pointer, function(b).user_pointer);
    context.end_render(state);
    EXPECT_EQ(function(a).user_pointer, nullptr);
    EXPECT_EQ(function(b).user_pointer, nullptr);
}

TEST_F(Lifecycle, ThreadPointersArePerThreadAndPerInstance) {
    const miTag a = life("a", 1);
    const miTag b = life("b", 1);
    EXPECT_EQ(run(a).g, 1);
    EXPECT_EQ(run(a).g, 2);
    EXPECT_EQ(run(b).g, 1);
    std::thread([&] {
        miState mine = fresh_state();
        miColor c{};
        shading::call_one(context, a, &c, &mine, miSHADER_MATERIAL);
        EXPECT_EQ(c.g, 1);
    }).join();
    EXPECT_EQ(run(a).g, 3);
    context.end_render(state);
    EXPECT_EQ(run(a).g, 1);
    context.end_render(state);
}

TEST_F(Lifecycle, ManyThreadsInitialiseEachInstanceOnce) {
    shader("base", "test_life", {set("label", text("base")), set("value", numbers(1))});
    std::vector<miTag> tags;
    for (int i = 0; i < 8; ++i)
        tags.push_back(shader(
            "s" + std::to_string(i), "test_life",
            {set("label", text("s" + std::to_string(i))), set("value", connection("base"))}));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            miState mine = fresh_state();
            for (std::size_t i = 0; i < tags.size(); ++i) {
                miColor c{};
                const std::size_t pick = t % 2 == 0 ? i : tags.size() - 1 - i;
                shading::call_one(context, tags[pick], &c, &mine, miSHADER_MATERIAL);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    int inits = 0;
    for (const std::string& line : lines)
        if (line.find("life init ") != std::string::npos) ++inits;
    EXPECT_EQ(inits, 9);
    lines.clear();
    context.end_render(state);
    // 8 instances called once by each of 4 threads; the base once per call and once per init.
    EXPECT_THAT(lines, ::testing::Contains("RC 0.0 info: life exit base after 40 calls"));
    EXPECT_THAT(lines, ::testing::Contains("RC 0.0 info: life exit s7 after 4 calls"));
    EXPECT_EQ(lines.size(), 10u);
}

TEST_F(Lifecycle, ExitsRunAfterAnAbortToo) {
    const miTag a = life("a", 1);
    run(a);
    context.cancel();
    EXPECT_THROW(run(a), shading::RenderAborted);
    lines.clear();
    context.end_render(state);
    EXPECT_THAT(lines,
                ElementsAre("RC 0.0 info: life exit a after 1 calls", "RC 0.0 info: life exit"));
    EXPECT_TRUE(context.aborted());
    context.begin_render();
    EXPECT_FALSE(context.aborted());
}

TEST_F(Lifecycle, ExitsRunAfterAnInterruptToo) {
    const miTag a = life("a", 1);
    std::atomic<bool> interrupt{false};
    context.watch(interrupt);
    run(a);
    lines.clear();
    bool exits_can_wait = true; // for locks, for example
    context.messages.set_sink([&](shading::Level, std::string_view line) {
        lines.emplace_back(line);
        exits_can_wait = exits_can_wait && !context.aborted();
    });
    interrupt = true;
    EXPECT_TRUE(context.aborted());
    EXPECT_THROW(run(a), shading::RenderAborted);
    context.end_render(state);
    // No message reports the interrupt as a failure of a shader.
    EXPECT_THAT(lines,
                ElementsAre("RC 0.0 info: life exit a after 1 calls", "RC 0.0 info: life exit"));
    EXPECT_TRUE(exits_can_wait);
    context.begin_render();
    EXPECT_TRUE(context.aborted()) << "the next render ends as well";
}

TEST_F(Lifecycle, PinsThatWereGivenBackAreNotLeftOver) {
    const miTag text_tag = context.database.create_string("given back");
    inside([&](void*, miState*, void*) {
        mi_db_access(text_tag);
        mi_db_unpin(text_tag);
        return miTRUE;
    });
    context.end_render(state);
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(context.database.pins(text_tag), 0u);
}

TEST_F(Lifecycle, LeftOverPinsAreReportedAsDebugMessages) {
    const miTag text_tag = context.database.create_string("kept");
    context.database.set_name(text_tag, "kept");
    inside([&](void*, miState*, void*) {
        mi_db_access(text_tag);
        return miTRUE;
    });
    context.end_render(state);
    EXPECT_THAT(lines, ElementsAre("RC 0.0 debug: element " + std::to_string(text_tag) +
                                   " \"kept\" (type 12) was left with 1 pins"));
}
