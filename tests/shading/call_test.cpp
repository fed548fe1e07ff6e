#include "host/shading/call.h"

#include <dlfcn.h>

#include <cstring>
#include <thread>

#include "tests/shading/rig.h"

using namespace vx;
using namespace vx::testing;
using shading::RenderAborted;
using ::testing::HasSubstr;

namespace {

class Call : public ::testing::Test, protected Rig {
  protected:
    void SetUp() override { load(); }
};

std::string chain_name(int i) {
    std::string name = std::to_string(i);
    name.insert(name.begin(), 's');
    return name;
}

using EvalIntegerAt = miInteger (*)(miState*, miFunction*, int);

} // namespace

TEST_F(Call, PlainParametersAreReadWhereTheyLie) {
    EXPECT_THAT(run(shader("c", "test_constant", {set("value", numbers(1, 2, 3, 4))})),
                IsColor(1, 2, 3, 4));
}

TEST_F(Call, NullTagIsFalseAndTagsOfOtherElementsAbort) {
    miColor c{};
    EXPECT_FALSE(shading::call_list(context, miNULLTAG, &c, &state, miSHADER_MATERIAL));
    const miTag string = context.database.create_string("x");
    EXPECT_THROW(shading::call_one(context, string, &c, &state, miSHADER_MATERIAL), RenderAborted);
    EXPECT_THAT(lines, ::testing::ElementsAre(HasSubstr("which is not that of a shader")));
}

TEST_F(Call, ListRunsInOrderOnTheSameResultAndIsTrueWhenAnyShaderIs) {
    const miTag list =
        shader("list", {call("test_add", {set("value", numbers(1, 0, 0, 1))}), call("test_black"),
                        call("test_add", {set("value", numbers(2, 0, 0, 2))})});
    EXPECT_THAT(run(list), IsColor(3, 0, 0, 12));
    miColor c{};
    EXPECT_TRUE(shading::call_list(context, list, &c, &state, miSHADER_MATERIAL));
    EXPECT_FALSE(
        shading::call_list(context, shader("b", "test_black"), &c, &state, miSHADER_MATERIAL));
}

TEST_F(Call, OneCallLeavesTheRestOfTheListToTheShader) {
    const miTag list = shader("list", {call("test_add", {set("value", numbers(1, 0, 0, 1))}),
                                       call("test_add", {set("value", numbers(2, 0, 0, 2))})});
    miColor c{};
    shading::call_one(context, list, &c, &state, miSHADER_LENS);
    EXPECT_THAT(c, IsColor(1, 0, 0, 1));
}

TEST_F(Call, ConnectedParameterIsComputedByItsShader) {
    shader("inner", "test_constant", {set("value", numbers(0.1, 0.2, 0.3, 0.4))});
    shader("middle", "test_constant", {set("value", connection("inner"))});
    EXPECT_THAT(run(shader("outer", "test_constant", {set("value", connection("middle"))})),
                IsColor(0.1f, 0.2f, 0.3f, 0.4f));
}

TEST_F(Call, BothResultsStayReadableDuringTheCall) {
    shader("a", "test_constant", {set("value", numbers(1, 2, 3))});
    shader("b", "test_constant", {set("value", numbers(4, 5, 6))});
    EXPECT_THAT(run(shader("pair", "test_pair",
                           {set("first", connection("a")), set("second", connection("b"))})),
                IsColor(41, 52, 63, 1));
}

TEST_F(Call, SameShaderConnectedTwiceHasTwoResults) {
    shader("a", "test_constant", {set("value", numbers(1, 2, 3))});
    EXPECT_THAT(run(shader("pair", "test_pair",
                           {set("first", connection("a")), set("second", connection("a"))})),
                IsColor(11, 22, 33, 1));
}

TEST_F(Call, MembersOfAStructResultFeedParametersOfEveryType) {
    shader("s", "test_struct");
    shader("m", "test_transform");
    const miTag inner = shader("inner", "test_constant");
    shader("t", "test_tag", {set("value", text("inner"))});
    const miTag types = shader(
        "types", "test_types",
        {set("boolean", connection("s.outBoolean")), set("integer", connection("s.outInteger")),
         set("scalar", connection("s.outScalar")), set("color", connection("s.outColor")),
         set("vector", connection("s.outVector")), set("transform", connection("m")),
         set("shader", connection("t")), set("texture", connection("t")),
         set("light", connection("t")), set("material", connection("t")),
         set("string", text("plain"))});
    builder.finish();
    ASSERT_THAT(findings, ::testing::IsEmpty());
    TestTypes seen{};
    state.user = &seen;
    run(types);
    EXPECT_EQ(seen.boolean, 1);
    EXPECT_EQ(seen.integer, -42);
    EXPECT_EQ(seen.scalar, 7.5f);
    EXPECT_THAT(seen.color, IsColor(0.25, 0.5, 0.75, 1));
    EXPECT_EQ(seen.vector.z, 3);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(seen.transform[i], static_cast<float>(i));
    EXPECT_EQ(context.database.text(seen.string), "plain");
    EXPECT_EQ(seen.shader, inner);
    EXPECT_EQ(seen.texture, inner);
    EXPECT_EQ(seen.light, inner);
    EXPECT_EQ(seen.material, inner);
}

TEST_F(Call, ResultsOfOtherTypesAreConverted) {
    shader("s", "test_struct");
    const miTag types =
        shader("types", "test_types",
               {set("boolean", connection("s.outScalar")),
                set("integer", connection("s.outScalar")), set("scalar", connection("s.outColor")),
                set("color", connection("s.outInteger")), set("vector", connection("s"))});
    TestTypes seen{};
    state.user = &seen;
    run(types);
    EXPECT_EQ(seen.boolean, 1);
    EXPECT_EQ(seen.integer, 7);
    EXPECT_EQ(seen.scalar, 0.5f);
    EXPECT_THAT(seen.color, IsColor(-42, -42, -42, 1));
    EXPECT_EQ(seen.vector.x, 0.25f);
    EXPECT_EQ(seen.vector.z, 0.75f);
}

TEST_F(Call, ArraysHaveElementsThatAreValuesOrConnections) {
    shader("a", "test_constant", {set("value", numbers(100, 200, 300))});
    EXPECT_THAT(run(shader("array", "test_array",
                           {set("before", numbers(0.25)), set("after", numbers(0.5)),
                            set("values", elements({numbers(1, 2, 3), connection("a"),
                                                    numbers(10, 20, 30)}))})),
                IsColor(111, 222, 333, 0.75));
    EXPECT_THAT(run(shader("one", "test_array", {set("values", elements({connection("a")}))})),
                IsColor(100, 200, 300, 0));
    EXPECT_THAT(run(shader("none", "test_array", {set("values", elements({}))})),
                IsColor(0, 0, 0, 0));
    EXPECT_THAT(run(shader("unset", "test_array")), IsColor(0, 0, 0, 0));
}

TEST_F(Call, UnusedConnectionsAreNeverRun) {
    shader("refused", "test_newer");
    shader("a", "test_constant", {set("value", numbers(1, 2, 3))});
    const miTag pair = shader("pair", "test_pair", {set("first", connection("refused"))});
    inside([&](void*, miState* s, void*) {
        s->shader = function(pair).record;
        mi_eval(s, function(pair).record->parameters + 16);
        return miTRUE;
    });
    EXPECT_FALSE(context.shaders_failed());
}

TEST_F(Call, TheStateNamesTheRunningShaderAndIsRestored) {
    const miTag a = shader("a", "test_run");
    const miTag outer = shader("outer", "test_constant", {set("value", connection("a"))});
    int depth = 0;
    ShaderBody body = [&](void*, miState* s, void* parameters) {
        ++depth;
        EXPECT_EQ(s->shader, function(a).record);
        EXPECT_EQ(parameters, s->shader->parameters);
        return miTRUE;
    };
    state.user = &body;
    miFunction* const before = function(outer).record;
    state.shader = before;
    run(outer);
    EXPECT_EQ(depth, 1);
    EXPECT_EQ(state.shader, before);
}

TEST_F(Call, TheStateIsRestoredWhenTheRenderIsAborted) {
    miFunction* const before = function(shader("x", "test_black")).record;
    state.shader = before;
    const miTag bad = shader("bad", "test_c_access", {set("tag", numbers(123456))});
    EXPECT_THROW(run(bad), RenderAborted);
    EXPECT_EQ(state.shader, before);
    EXPECT_EQ(context.thread().top, nullptr);
}

TEST_F(Call, ABadTagUnwindsThroughAShaderInCAndNamesIt) {
    const miTag good =
        shader("good", "test_c_access",
               {set("tag", numbers(static_cast<int>(context.database.create_string("A"))))});
    EXPECT_EQ(run(good).r, 65.0f);
    shader("bad", "test_c_access", {set("tag", numbers(123456))});
    const miTag outer = shader("outer", "test_constant", {set("value", connection("bad"))});
    EXPECT_THROW(run(outer), RenderAborted);
    EXPECT_THAT(
        lines,
        ::testing::ElementsAre(
            "RC 0.0 fatal: shader \"test_c_access\" (instance \"bad\"): access of tag 123456, "
            "which names no element"));
    EXPECT_TRUE(context.aborted());
}

TEST_F(Call, ConnectionsThatFormACycleEndTheRenderAndAreNamed) {
    shader("a", "test_constant", {set("value", connection("b"))});
    shader("b", "test_constant", {set("value", connection("c"))});
    shader("c", "test_constant", {set("value", connection("a"))});
    builder.finish();
    EXPECT_THAT(findings, ::testing::IsEmpty());
    EXPECT_THROW(run(builder.find(shading::SceneBuilder::Kind::shader, "a")), RenderAborted);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("connected parameters are nested 200 deep; they form a cycle"));
    EXPECT_THAT(lines[0], ::testing::AnyOf(HasSubstr("\"a\" -> \"b\" -> \"c\" -> \"a\""),
                                           HasSubstr("\"b\" -> \"c\" -> \"a\" -> \"b\""),
                                           HasSubstr("\"c\" -> \"a\" -> \"b\" -> \"c\"")));
}

TEST_F(Call, LongChainOfConnectionsIsNotACycle) {
    shader("s0", "test_constant", {set("value", numbers(1, 2, 3))});
    for (int i = 1; i < 150; ++i)
        shader(chain_name(i), "test_constant", {set("value", connection(chain_name(i - 1)))});
    EXPECT_THAT(run(builder.find(shading::SceneBuilder::Kind::shader, "s149")),
                IsColor(1, 2, 3, 0));
}

TEST_F(Call, ShadersThatCallEachOtherWithoutEndEndTheRender) {
    const miTag self = shader("self", "test_run");
    ShaderBody body = [&](void* result, miState* s, void*) {
        return mi_call_shader(static_cast<miColor*>(result), miSHADER_MATERIAL, s, self);
    };
    state.user = &body;
    EXPECT_THROW(run(self), RenderAborted);
    EXPECT_THAT(lines, ::testing::ElementsAre(HasSubstr("shader calls are nested 500 deep; they "
                                                        "form a cycle: \"self\" -> \"self\"")));
}

TEST_F(Call, EvaluatingAgainAndAgainTakesNoMoreMemory) {
    shader("a", "test_constant", {set("value", numbers(1, 2, 3))});
    const miTag pair = shader("pair", "test_pair", {set("first", connection("a"))});
    inside([&](void*, miState* s, void*) {
        miFunction* const record = function(pair).record;
        s->shader = record;
        const void* const first = mi_eval(s, record->parameters);
        for (int i = 0; i < 100000; ++i)
            EXPECT_EQ(mi_eval(s, record->parameters), first);
        return miTRUE;
    });
}

TEST_F(Call, EvaluationOutsideOfAnyShaderWorksToo) {
    shader("a", "test_constant", {set("value", numbers(1, 2, 3))});
    const miTag pair = shader("pair", "test_pair", {set("first", connection("a"))});
    state.shader = function(pair).record;
    const auto* const c = static_cast<miColor*>(mi_eval(&state, state.shader->parameters));
    EXPECT_THAT(*c, IsColor(1, 2, 3, 0));
}

// The point-cloud writer evaluates the tag parameter of one function through a state that names
// another one: the hit material's shader. The connection word must be found for any sizes of the
// two blocks.
TEST_F(Call, AParameterIsReadThroughTheRecordOfAnotherShaderWhateverTheBlocksSizes) {
    auto* const eval_integer_at =
        reinterpret_cast<EvalIntegerAt>(context.libraries.symbol("test_eval_integer_at"));
    ASSERT_NE(eval_integer_at, nullptr);
    shader("nine", "test_run");
    std::vector<scene::ParameterDeclaration> wide;
    for (int i = 0; i < 500; ++i)
        wide.push_back(parameter(chain_name(i), Type::color));
    wide.push_back(parameter("input", Type::color));
    builder.on_declare(declaration("wide", Type::color, wide));
    builder.on_declare(declaration("narrow", Type::color, {parameter("input", Type::color)}));
    builder.on_declare(
        declaration("pc_tag", Type::color,
                    {parameter("color", Type::color), parameter("bakeColor", Type::color),
                     parameter("tag", Type::integer)}));
    builder.on_declare(declaration("number", Type::integer, {parameter("value", Type::integer)}));

    const miTag plain = shader("plain", "pc_tag", {set("tag", numbers(7))});
    const miTag computed =
        shader("computed", "pc_tag", {set("tag", connection("source.outInteger"))});
    const miTag colored =
        shader("colored", "pc_tag", {set("color", connection("nine")), set("tag", numbers(8))});
    shader("source", "test_struct");
    builder.finish();
    ASSERT_THAT(findings, ::testing::IsEmpty());

    std::vector<miTag> surfaces;
    for (const char* const type : {"wide", "narrow", "pc_tag"}) {
        const std::string input = std::string(type) == "pc_tag" ? "color" : "input";
        surfaces.push_back(shader(std::string(type) + " plain", type));
        for (const char* const to : {"plain", "computed", "colored"})
            surfaces.push_back(
                shader(std::string(type) + " of " + to, type, {set(input, connection(to))}));
    }
    surfaces.insert(surfaces.end(), {plain, computed, colored});
    for (std::size_t i = 0; i < surfaces.size(); ++i) {
        scene::Material material;
        material.name = chain_name(static_cast<int>(i));
        material.surface = {named(context.database.name(surfaces[i]))};
        builder.on_material(material);
    }
    for (const miTag surface : surfaces) {
        state.shader = function(surface).record;
        EXPECT_EQ(eval_integer_at(&state, function(plain).record, 32), 7);
        EXPECT_EQ(eval_integer_at(&state, function(computed).record, 32), -42);
        EXPECT_EQ(eval_integer_at(&state, function(colored).record, 32), 8);
        EXPECT_EQ(state.shader, function(surface).record);
    }
}

TEST_F(Call, TheTagAttachedToAParameterIsInTheGhostBlock) {
    const miTag inner = shader("inner", "test_constant");
    const miTag outer = shader("outer", "test_pair", {set("second", connection("inner"))});
    const miFunction* const record = function(outer).record;
    EXPECT_EQ(record->connected, 1);
    EXPECT_NE(record->ghost_offs, 0);
    miTag ghost[8];
    std::memcpy(ghost, record->parameters + record->ghost_offs, sizeof ghost);
    EXPECT_THAT(ghost, ::testing::ElementsAre(0, 0, 0, 0, inner, 0, 0, 0));
    EXPECT_EQ(function(inner).record->connected, 0);
    EXPECT_NE(function(inner).record->ghost_offs, 0);
}

TEST_F(Call, TheConnectionTagMinusTwoIsReadAsAPlainValue) {
    shader("inner", "test_constant");
    const miTag outer = shader("outer", "test_constant", {set("value", numbers(1, 2, 3))});
    miFunction* const record = function(outer).record;
    record->connected = 1;
    const miTag minus_two = miGHOST_PLAIN;
    std::memcpy(record->parameters + record->ghost_offs, &minus_two, sizeof minus_two);
    EXPECT_THAT(run(outer), IsColor(1, 2, 3, 0));
}

TEST_F(Call, ABlockGivenInPlaceOfTheParametersHasNoConnections) {
    shader("a", "test_constant", {set("value", numbers(9, 9, 9))});
    const miTag outer = shader("outer", "test_constant", {set("value", connection("a"))});
    miColor block = {1, 2, 3, 4};
    miColor result{};
    shading::call_one(context, outer, &result, &state, miSHADER_MATERIAL, &block);
    EXPECT_THAT(result, IsColor(1, 2, 3, 4));
}

TEST_F(Call, ThreadsEvaluateTheSameNetworkAtOnce) {
    shader("a", "test_constant", {set("value", numbers(1, 2, 3))});
    shader("b", "test_constant", {set("value", connection("a"))});
    const miTag pair = shader("pair", "test_pair",
                              {set("first", connection("a")), set("second", connection("b"))});
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            miState mine = fresh_state();
            for (int i = 0; i < 500; ++i) {
                miColor c{};
                shading::call_list(context, pair, &c, &mine, miSHADER_MATERIAL);
                ASSERT_THAT(c, IsColor(11, 22, 33, 1));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}
