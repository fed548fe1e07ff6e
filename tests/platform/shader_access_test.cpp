// Access to the parts of the interface that the renderer's manual leaves open.
#include "src/platform/shader_access.h"

#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using vx::stub::FunctionSetup;
using vx::stub::Renderer;

TEST(ShaderAccess, ConnectionFlagIsTheWholeByte) {
    Renderer renderer;
    for (const int flag : {0, 1, 2, 255}) {
        FunctionSetup setup;
        setup.flag = static_cast<miCBoolean>(flag);
        EXPECT_EQ(ConnectionFlag(renderer.function(renderer.add_function(setup))), flag);
    }
}

TEST(ShaderAccess, NameOfADeclaration) {
    Renderer renderer;
    const miTag declaration = renderer.add_declaration("adskMayaShadingEngine");
    EXPECT_STREQ(DeclarationName(renderer.record<void>(declaration)), "adskMayaShadingEngine");
    EXPECT_STREQ(DeclarationName(renderer.record<void>(renderer.add_declaration(""))), "");
}

TEST(ShaderAccess, ThreadPointerThroughItsTwoQueries) {
    Renderer renderer;
    miState state = renderer.new_state(renderer.add_function({}));
    EXPECT_EQ(GetThreadPointer(&state), nullptr);
    SetThreadPointer(&state, &state);
    EXPECT_EQ(GetThreadPointer(&state), &state);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(124)", "query(126)", "query(124)"));
}

TEST(ShaderAccess, UserPointerIsTheAddressThatTheRendererAnswers) {
    Renderer renderer;
    miState state = renderer.new_state(renderer.add_function({}));
    EXPECT_EQ(UserPointer(&state), renderer.user_pointer(state.shader));
    EXPECT_EQ(InstanceRecord<int>(&state), nullptr);
    int record = 7;
    *UserPointer(&state) = &record;
    EXPECT_EQ(InstanceRecord<int>(&state), &record);
}

TEST(ShaderAccess, UserPointerIsNullWhenTheRendererAnswersNone) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG); // no shader runs
    EXPECT_EQ(UserPointer(&state), nullptr);
    EXPECT_EQ(InstanceRecord<int>(&state), nullptr);
}

TEST(ShaderAccess, DeclarationOfAFunctionByItsTag) {
    Renderer renderer;
    FunctionSetup setup;
    setup.declaration = renderer.add_declaration("vx_pc_tag");
    EXPECT_EQ(DeclarationOf(renderer.add_function(setup)), setup.declaration);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(54, 2)"));
}

TEST(ShaderAccess, ConnectedShaderLiesBehindTheParameter) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block.resize(12);
    setup.connections = {{4, 77}, {8, static_cast<miTag>(-2)}};
    const miFunction* function = renderer.function(renderer.add_function(setup));
    EXPECT_EQ(ConnectedShader(function, function->parameters), miNULLTAG);
    EXPECT_EQ(ConnectedShader(function, function->parameters + 4), 77u);
    EXPECT_EQ(ConnectedShader(function, function->parameters + 8), miNULLTAG);
}

TEST(ShaderAccess, PublishingHasTheLifetime1) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG);
    int value = 7;
    PublishToShadersBelow(&state, "key", &value, sizeof value);
    EXPECT_THAT(renderer.calls(), ElementsAre("shaderstate_set(key = 7, 4 bytes, lifetime 1)"));
}

} // namespace
