// The stand-in itself: that it records, answers, and notices what is not given back.
#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vx::stub::Hit;
using vx::stub::Renderer;

TEST(RendererStub, RecordsCallsInOrderWithArguments) {
    Renderer renderer;
    const miTag text = renderer.add_string("hello");
    EXPECT_STREQ(static_cast<const char*>(mi_db_access(text)), "hello");
    mi_info("%s and %d\nmore", "text", 3);
    mi_db_unpin(text);
    mi_warning("gone");
    EXPECT_THAT(renderer.calls(), ElementsAre("db_access(1)", "info: text and 3 more",
                                              "db_unpin(1)", "warning: gone"));
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

TEST(RendererStub, ReportsPinsLocksAndTextsLeftOver) {
    Renderer renderer;
    const miTag text = renderer.add_string("");
    mi_db_access(text);
    mi_db_access(text);
    mi_db_unpin(text);
    miLock lock;
    mi_init_lock(&lock);
    mi_lock(lock);
    mi_mem_strdup("input");
    EXPECT_THAT(renderer.left_over(),
                UnorderedElementsAre("element 1 pinned 1 times", "lock 1 held",
                                     "lock 1 not deleted", "copy of 'input' not handed over"));
    mi_unlock(lock);
}

TEST(RendererStub, MisuseDoesNotPassSilently) {
    Renderer renderer;
    mi_db_unpin(renderer.add_string(""));
    EXPECT_THAT(renderer.left_over(), ElementsAre(HasSubstr("without a pin")));
    EXPECT_THROW(mi_db_access(99), std::logic_error);
    EXPECT_THROW(mi_db_access(miNULLTAG), std::logic_error);
    miLock lock;
    mi_init_lock(&lock);
    mi_lock(lock);
    EXPECT_THROW(mi_lock(lock), std::logic_error);
    mi_unlock(lock);
    EXPECT_THROW(mi_unlock(lock), std::logic_error);
    mi_delete_lock(&lock);
    EXPECT_THROW(mi_lock(lock), std::logic_error);
}

TEST(RendererStub, ParameterLookupTakesTheNameOver) {
    Renderer renderer;
    const miTag decl = renderer.add_declaration("sib_setnormal", {{"input", 16}});
    miParam_type type = miTYPE_BOOLEAN;
    miBoolean is_array = miTRUE;
    int offset = 0;
    EXPECT_TRUE(
        mi_api_parameter_lookup(&type, &is_array, &offset, decl, miFALSE, mi_mem_strdup("input")));
    EXPECT_EQ(offset, 16);
    EXPECT_FALSE(
        mi_api_parameter_lookup(&type, &is_array, &offset, decl, miFALSE, mi_mem_strdup("other")));
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

TEST(RendererStub, UserPointerIsPerShaderAndThreadPointerPerThreadToo) {
    Renderer renderer;
    miState one = renderer.new_state(renderer.add_function({}));
    miState two = renderer.new_state(renderer.add_function({}));
    void** slot = nullptr;
    ASSERT_TRUE(mi_query(miQ_FUNC_USERPTR, &one, miNULLTAG, &slot));
    *slot = &one;
    ASSERT_TRUE(mi_query(miQ_FUNC_USERPTR, &two, miNULLTAG, &slot));
    EXPECT_EQ(*slot, nullptr);

    void* mark = &one;
    ASSERT_TRUE(mi_query(miQ_FUNC_TLS_SET, &one, miNULLTAG, &mark));
    void* found = nullptr;
    ASSERT_TRUE(mi_query(miQ_FUNC_TLS_GET, &one, miNULLTAG, &found));
    EXPECT_EQ(found, &one);
    ASSERT_TRUE(mi_query(miQ_FUNC_TLS_GET, &two, miNULLTAG, &found));
    EXPECT_EQ(found, nullptr);
    one.thread = 1;
    ASSERT_TRUE(mi_query(miQ_FUNC_TLS_GET, &one, miNULLTAG, &found));
    EXPECT_EQ(found, nullptr);
    EXPECT_FALSE(mi_query(miQ_DATE, &one, miNULLTAG, &found));
    renderer.refused_queries = {miQ_FUNC_USERPTR};
    slot = &mark;
    EXPECT_FALSE(mi_query(miQ_FUNC_USERPTR, &one, miNULLTAG, &slot));
    EXPECT_EQ(slot, &mark);
}

TEST(RendererStub, SamplesDoNotDependOnTheCallersArray) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG);
    double sample[2];
    int instance = 0;
    const miUint n = 2;
    ASSERT_TRUE(mi_sample(sample, &instance, &state, 2, &n));
    EXPECT_EQ(sample[0], 0.25);
    sample[0] = 99;
    ASSERT_TRUE(mi_sample(sample, &instance, &state, 2, &n));
    EXPECT_EQ(sample[0], 0.75);
    EXPECT_FALSE(mi_sample(sample, &instance, &state, 2, &n));
}

TEST(RendererStub, ProbesAnswerAsScriptedAndThenMiss) {
    Renderer renderer;
    renderer.probes = {Hit{.point = {1, 2, 3}, .normal = {0, 1, 0}, .instance = 5, .dist = 7}};
    miState state = renderer.new_state(miNULLTAG);
    miVector dir = {0, 0, -1};
    miVector org = {0, 0.5f, 0};
    ASSERT_TRUE(mi_trace_probe(&state, &dir, &org));
    EXPECT_EQ(state.child->point.y, 2);
    EXPECT_EQ(state.child->dist, 7);
    EXPECT_EQ(state.child->instance, 5u);
    EXPECT_EQ(state.child->parent, &state);
    EXPECT_EQ(state.child->type, miRAY_PROBE);
    EXPECT_FALSE(mi_trace_probe(&state, &dir, &org));
    EXPECT_EQ(state.child, nullptr);
    EXPECT_EQ(renderer.calls()[0], "trace_probe(org 0 0.5 0, dir 0 0 -1)");
}

TEST(RendererStub, ProbeResultOverridesTheAnswerAndNothingElse) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG);
    miVector dir = {0, 0, -1};
    renderer.probe_result = miTRUE;
    EXPECT_TRUE(mi_trace_probe(&state, &dir, &dir));
    EXPECT_EQ(state.child, nullptr);
    renderer.probe_result = miFALSE;
    renderer.probes = {Hit{}};
    EXPECT_FALSE(mi_trace_probe(&state, &dir, &dir));
    EXPECT_NE(state.child, nullptr);
}

TEST(RendererStub, ShadingSetsTheColorUnlessItIsToldNotTo) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG);
    miVector dir = {0, 0, -1};
    miColor color = {1, 2, 3, 4};
    renderer.shadings = {{.color = {5, 6, 7, 8}, .sets_color = false}, {.color = {5, 6, 7, 8}}};
    EXPECT_TRUE(mi_trace_reflection(&color, &state, &dir));
    EXPECT_EQ(color.b, 3);
    EXPECT_TRUE(mi_trace_reflection(&color, &state, &dir));
    EXPECT_EQ(color.b, 7);
}

TEST(RendererStub, StateDataCanBeScripted) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG);
    int value = 3;
    int sets = 0;
    renderer.on_shaderstate_set = [&](const miState* setter) { sets += setter == &state ? 1 : 0; };
    renderer.on_shaderstate_get = [&](miState*, int* size) {
        ++*size;
        return &value;
    };
    int size = 6;
    mi_shaderstate_set(&state, "key", &size, sizeof size, 1);
    EXPECT_EQ(sets, 1);
    EXPECT_EQ(mi_shaderstate_get(&state, "key", &size), &value);
    EXPECT_EQ(size, 7);
    renderer.on_shaderstate_get = nullptr;
    EXPECT_EQ(*static_cast<int*>(mi_shaderstate_get(&state, "key", &size)), 6);
}

TEST(RendererStub, StateDataIsFoundFromStatesBelow) {
    Renderer renderer;
    miState above = renderer.new_state(miNULLTAG);
    miState below = above;
    below.parent = &above;
    miState other = renderer.new_state(miNULLTAG);
    int value = 3;
    mi_shaderstate_set(&above, "key", &value, sizeof value, 1);
    value = 4;
    int size = 0;
    EXPECT_EQ(*static_cast<int*>(mi_shaderstate_get(&below, "key", &size)), 3);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(mi_shaderstate_get(&other, "key", &size), nullptr);
    EXPECT_EQ(size, 0);
    mi_shaderstate_set(&above, "key", nullptr, 0, 1);
    EXPECT_EQ(mi_shaderstate_get(&below, "key", nullptr), nullptr);
}

TEST(RendererStub, LocksKeepThreadsApart) {
    Renderer renderer;
    miLock lock;
    mi_init_lock(&lock);
    int counter = 0;
    const auto work = [&] {
        for (int i = 0; i < 1000; ++i) {
            mi_lock(lock);
            ++counter;
            mi_unlock(lock);
        }
    };
    std::thread one(work);
    std::thread two(work);
    one.join();
    two.join();
    EXPECT_EQ(counter, 2000);
    EXPECT_EQ(renderer.calls_starting_with("lock").size(), 2000u);
    mi_delete_lock(&lock);
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

TEST(RendererStub, NumbersReadBackAsTheSame) {
    EXPECT_EQ(vx::stub::text_of(0.005f), "0.005");
    EXPECT_EQ(vx::stub::text_of(0.1), "0.1");
    EXPECT_EQ(vx::stub::text_of(miVector{-0.5f, 1, 1e10f}), "-0.5 1 1e+10");
}

TEST(RendererStub, OnlyOneIsCurrent) {
    EXPECT_THROW(Renderer::current(), std::logic_error);
    {
        Renderer renderer;
        EXPECT_EQ(&Renderer::current(), &renderer);
        EXPECT_THROW(Renderer(), std::logic_error);
    }
    EXPECT_THROW(Renderer::current(), std::logic_error);
}

} // namespace
