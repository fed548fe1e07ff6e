// Evaluation of a parameter with every combination of connection flag, ghost offset and connection
// tag.
#include "src/tag/eval.h"

#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::bytes_of;
using vx::stub::FunctionSetup;
using vx::stub::Renderer;

struct Block {
    float colors[8];
    int tag;
};

const Block kPlainBlock = {{0, 1, 2, 3, 4, 5, 6, 7}, 42};
constexpr int kTagPlace = 32;
constexpr miTag kConnectedShader = 77;
constexpr miTag kPlainConnection = 0xFFFFFFFE;

enum class Ghost { at_parameter_itself, behind_the_block, far_behind };

using Combination = std::tuple<int, Ghost, miTag>;

std::string named(const testing::TestParamInfo<Combination>& info) {
    const auto [flag, ghost, tag] = info.param;
    const char* const ghosts[] = {"NoOffset", "OffsetBehindTheBlock", "FarOffset"};
    std::string tag_name = "OtherTag";
    if (tag == miNULLTAG) tag_name = "NullTag";
    if (tag == kPlainConnection) tag_name = "MinusTwo";
    return "Flag" + std::to_string(flag) + ghosts[static_cast<int>(ghost)] + tag_name;
}

class EvalCombination : public testing::TestWithParam<Combination> {};

TEST_P(EvalCombination, RunsTheConnectedShaderOnlyWithFlag1AndARealTag) {
    const auto [flag, ghost, connection] = GetParam();
    const int offset = ghost == Ghost::at_parameter_itself ? 0
                       : ghost == Ghost::behind_the_block  ? 40
                                                           : 120;
    Renderer renderer;
    renderer.connected[kConnectedShader] = bytes_of(7);
    FunctionSetup setup;
    Block block = kPlainBlock;
    // With an offset of 0 the connection tag would be read from the parameter.
    if (offset == 0) block.tag = static_cast<int>(connection);
    setup.block = bytes_of(block);
    setup.ghost = offset != 0;
    setup.flag = static_cast<miCBoolean>(flag);
    if (offset != 0) {
        setup.ghost_offset = offset;
        setup.connections[kTagPlace] = connection;
    }
    const miTag function = renderer.add_function(setup);
    miState state = renderer.new_state(function);
    char* const param = state.shader->parameters + kTagPlace;

    void* const value = eval(&state, param);

    const bool runs = flag == 1 && connection == kConnectedShader;
    if (runs) {
        EXPECT_NE(value, param);
        EXPECT_EQ(*static_cast<int*>(value), 7);
        EXPECT_THAT(renderer.calls(), ElementsAre("phen_eval(1+32)"));
    } else {
        EXPECT_EQ(value, param);
        EXPECT_THAT(renderer.calls(), IsEmpty());
    }
    EXPECT_EQ(evalInt(&state, state.shader), runs ? 7 : block.tag);
}

INSTANTIATE_TEST_SUITE_P(
    Every, EvalCombination,
    testing::Combine(testing::Values(0, 1, 2, 255),
                     testing::Values(Ghost::at_parameter_itself, Ghost::behind_the_block,
                                     Ghost::far_behind),
                     testing::Values(miNULLTAG, kPlainConnection, kConnectedShader)),
    named);

TEST(Eval, ConnectionTagMinusTwoReadsAsAPlainValue) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block = bytes_of(kPlainBlock);
    setup.connections[kTagPlace] = kPlainConnection;
    miState state = renderer.new_state(renderer.add_function(setup));
    EXPECT_EQ(evalInt(&state, state.shader), 42);
    EXPECT_THAT(renderer.calls(), IsEmpty());
}

TEST(Eval, WithoutTheFlagNothingBesideTheParameterIsRead) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block =
        bytes_of(kPlainBlock); // without a ghost block, a read after it would leave the record
    const miTag function = renderer.add_function(setup);
    renderer.function(function)->ghost_offs = 4096;
    miState state = renderer.new_state(function);
    EXPECT_EQ(evalInt(&state, state.shader), 42);
}

TEST(Eval, ReadsEveryTypeByValue) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block = bytes_of(kPlainBlock);
    miState state = renderer.new_state(renderer.add_function(setup));
    auto* block = reinterpret_cast<Block*>(state.shader->parameters);
    EXPECT_EQ(evalValue(&state, &block->colors[3]), 3.0f);
    EXPECT_EQ(evalValue(&state, &block->tag), 42);
}

// Flag and offset come from the record that the state runs, even for the block of another shader.
TEST(EvalInt, ConnectionIsThatOfTheStatesOwnRecord) {
    Renderer renderer;
    FunctionSetup plain;
    plain.block = bytes_of(kPlainBlock);
    const miTag prober = renderer.add_function(plain);
    FunctionSetup connected = plain;
    connected.connections[kTagPlace] = kConnectedShader;
    const miTag surface = renderer.add_function(connected);
    renderer.connected[kConnectedShader] = bytes_of(9);

    miState probers_state = renderer.new_state(prober);
    EXPECT_EQ(evalInt(&probers_state, renderer.function(surface)), 42);
    EXPECT_THAT(renderer.calls(), IsEmpty());

    miState surfaces_state = renderer.new_state(surface);
    EXPECT_EQ(evalInt(&surfaces_state, renderer.function(surface)), 9);
    EXPECT_THAT(renderer.calls(), ElementsAre("phen_eval(2+32)"));
}

TEST(EvalInt, NegativeTagsAreReturnedAsTheyAre) {
    Renderer renderer;
    FunctionSetup setup;
    Block block = kPlainBlock;
    block.tag = -5;
    setup.block = bytes_of(block);
    miState state = renderer.new_state(renderer.add_function(setup));
    EXPECT_EQ(evalInt(&state, state.shader), -5);
}

} // namespace
