// The tag shader: which of its two colors it returns, and which connected shaders it runs.
#include "src/tag/tag.h"

#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::bytes_of;
using vx::stub::FunctionSetup;
using vx::stub::Renderer;

constexpr miTag kColorShader = 70;
constexpr miTag kBakeShader = 71;

// A surface whose two colors are both plain or both connected, hit by a ray of some type.
class Surface {
  public:
    explicit Surface(bool connected = false) {
        FunctionSetup setup;
        setup.block = bytes_of(TagParameters{{1, 2, 3, 4}, {5, 6, 7, 8}, 3});
        if (connected) setup.connections = {{0, kColorShader}, {16, kBakeShader}};
        renderer.connected[kColorShader] = bytes_of(miColor{10, 20, 30, 40});
        renderer.connected[kBakeShader] = bytes_of(miColor{50, 60, 70, 80});
        const miTag function = renderer.add_function(setup);
        lens = renderer.new_state(miNULLTAG);
        state = renderer.new_state(function);
        state.parent = &lens;
        state.type = miRAY_EYE;
    }

    // As a writer does above this state; any value and size.
    template <class T>
    void publish(T value) {
        mi_shaderstate_set(&lens, "vx_pc", &value, sizeof value, 1);
        renderer.clear_calls();
    }

    std::vector<float> color(miRay_type type) {
        state.type = type;
        miColor result = {-1, -1, -1, -1};
        auto* params = reinterpret_cast<TagParameters*>(state.shader->parameters);
        EXPECT_EQ(TagColor(&result, &state, params), miTRUE);
        return {result.r, result.g, result.b, result.a};
    }

    Renderer renderer;
    miState lens = {};
    miState state = {};
};

const auto kIsColor = [] { return ElementsAre(1, 2, 3, 4); };
const auto kIsBakeColor = [] { return ElementsAre(5, 6, 7, 8); };

TEST(Tag, NormalRenderingReturnsColorForEveryRayType) {
    Surface surface;
    for (int type = miRAY_EYE; type <= miRAY_NONE; ++type)
        EXPECT_THAT(surface.color(static_cast<miRay_type>(type)), kIsColor()) << type;
}

TEST(Tag, BakeReturnsBakeColorToReflectionRaysOnly) {
    Surface surface;
    surface.publish(1);
    for (int type = miRAY_EYE; type <= miPHOTON_EMIT_GLOBILLUM; ++type) {
        const auto color = surface.color(static_cast<miRay_type>(type));
        if (type == 2)
            EXPECT_THAT(color, kIsBakeColor());
        else
            EXPECT_THAT(color, kIsColor()) << type;
    }
}

TEST(Tag, FlagOfZeroMeansNoBake) {
    Surface surface;
    surface.publish(0);
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsColor());
}

TEST(Tag, AnyOtherFlagMeansBake) {
    for (const int flag : {2, -1, 256, 1 << 30}) {
        Surface surface;
        surface.publish(flag);
        EXPECT_THAT(surface.color(miRAY_REFLECT), kIsBakeColor()) << flag;
    }
}

TEST(Tag, EntryOfAnotherSizeIsNotRejected) {
    Surface surface;
    surface.publish(std::array<int, 2>{1, 0});
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsBakeColor());
}

TEST(Tag, OnlyTheFirstIntOfALongEntryCounts) {
    Surface surface;
    surface.publish(std::array<int, 2>{0, 1});
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsColor());
}

TEST(Tag, ShortEntryIsNotReadBeyondItsEnd) {
    Surface surface;
    surface.publish(char{1});
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsBakeColor());
    surface.publish(char{0});
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsColor());
}

TEST(Tag, EntryOfSizeZeroMeansNoBake) {
    Surface surface;
    int one = 1;
    mi_shaderstate_set(&surface.lens, "vx_pc", &one, 0, 1);
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsColor());
}

// ---- missing entries ----

TEST(Tag, SizeThatTheRendererLeavesAloneIsZero) {
    Surface surface;
    int one = 1;
    int size_before = -1;
    surface.renderer.on_shaderstate_get = [&](miState*, const int* size) {
        size_before = *size;
        return &one;
    };
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsColor());
    EXPECT_EQ(size_before, 0);
}

TEST(Tag, NullEntryOfAnySizeMeansNoBake) {
    Surface surface;
    surface.renderer.on_shaderstate_get = [](miState*, int* size) {
        *size = 4;
        return nullptr;
    };
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsColor());
    surface.renderer.on_shaderstate_get = [](miState*, int*) { return nullptr; };
    EXPECT_THAT(surface.color(miRAY_REFLECT), kIsColor());
}

// ---- connected colors ----

TEST(Tag, ShaderBehindBakeColorIsNotRunOutsideABake) {
    Surface surface(true);
    EXPECT_THAT(surface.color(miRAY_REFLECT), ElementsAre(10, 20, 30, 40));
    EXPECT_THAT(surface.renderer.calls(), ElementsAre("shaderstate_get(vx_pc)", "phen_eval(1+0)"));
}

TEST(Tag, ShaderBehindColorIsNotRunInABake) {
    Surface surface(true);
    surface.publish(1);
    EXPECT_THAT(surface.color(miRAY_REFLECT), ElementsAre(50, 60, 70, 80));
    EXPECT_THAT(surface.renderer.calls(), ElementsAre("shaderstate_get(vx_pc)", "phen_eval(1+16)"));
}

TEST(Tag, OtherRaysDoNotAskForTheFlag) {
    Surface surface;
    surface.publish(1);
    surface.color(miRAY_SHADOW);
    EXPECT_THAT(surface.renderer.calls(), IsEmpty());
}

TEST(Tag, TheTagItselfIsNeverRead) {
    Surface surface;
    auto* params = reinterpret_cast<TagParameters*>(surface.state.shader->parameters);
    params->tag = -1;
    EXPECT_THAT(surface.color(miRAY_EYE), kIsColor());
    EXPECT_EQ(params->tag, -1);
}

TEST(Tag, ParameterBlockHasNoGaps) {
    EXPECT_EQ(sizeof(TagParameters), 36u);
    EXPECT_EQ(offsetof(TagParameters, tag), 32u);
}

} // namespace
