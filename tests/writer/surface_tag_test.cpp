// The search for the tag of a surface: material lists, wrappers, pins.
#include "src/writer/surface_tag.h"

#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using vx::stub::FunctionSetup;
using vx::test::LensScene;
using vx::test::Surface;

class SurfaceTag : public testing::Test {
  protected:
    // As after a probe: the state has the record of the material shader.
    int find(const Surface& surface) {
        miState hit = scene.renderer.new_state(surface.shader);
        hit.instance = surface.instance;
        scene.renderer.clear_calls();
        return FindSurfaceTag(&hit);
    }
    int find_in(const std::vector<miTag>& materials) {
        miState hit = scene.renderer.new_state(plain_shader());
        hit.instance = scene.renderer.add_instance(materials);
        scene.renderer.clear_calls();
        return FindSurfaceTag(&hit);
    }
    miTag plain_shader() {
        if (m_plain == 0) m_plain = scene.add_shader("mib_lambert");
        return m_plain;
    }
    miTag material(miTag shader) { return scene.renderer.add_material(shader); }
    miTag tagged(int tag) { return material(scene.add_tag_shader(tag)); }

    LensScene scene;

  private:
    miTag m_plain = 0;
};

TEST_F(SurfaceTag, TagShaderAsMaterialShader) {
    const Surface surface = scene.tagged(42);
    EXPECT_EQ(find(surface), 42);
    EXPECT_THAT(scene.renderer.calls(), ElementsAreArray(LensScene::tag_search(surface)));
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, ZeroIsATag) {
    EXPECT_EQ(find(scene.tagged(0)), 0);
}

TEST_F(SurfaceTag, OtherShadersHaveNone) {
    const Surface surface = scene.untagged();
    EXPECT_EQ(find(surface), -1);
    EXPECT_THAT(scene.renderer.calls(), ElementsAreArray(LensScene::tag_search(surface)));
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, NamesAreComparedWhole) {
    for (const char* const name : {"vx_pc_tag2", "vx_pc_ta", "VX_PC_TAG", "", "my_vx_pc_tag"})
        EXPECT_LT(find(scene.surface_of(scene.add_shader(name))), 0) << name;
}

TEST_F(SurfaceTag, ConnectedTagIsEvaluated) {
    FunctionSetup setup;
    setup.declaration = scene.renderer.add_declaration("vx_pc_tag");
    setup.block.resize(36);
    setup.connections[32] = 500;
    scene.renderer.connected[500] = vx::stub::bytes_of(17);
    EXPECT_EQ(find(scene.surface_of(scene.renderer.add_function(setup))), 17);
    EXPECT_THAT(scene.renderer.calls_starting_with("phen_eval"), testing::SizeIs(1));
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, PhenomenaCountAndShadersOfHigherKindsDoNot) {
    const Surface surface = scene.tagged(5);
    miFunction* shader = scene.renderer.function(surface.shader);
    shader->type = miFUNCTION_PHEN;
    EXPECT_EQ(find(surface), 5);
    for (int type = miFUNCTION_C_REQ; type <= miFUNCTION_HARDWARE; ++type) {
        shader->type = static_cast<miFunction_type>(type);
        EXPECT_LT(find(surface), 0) << type;
        EXPECT_THAT(scene.left_over(), IsEmpty());
    }
}

// ---- the list ----

TEST_F(SurfaceTag, InstanceWithoutAListHasNone) {
    EXPECT_LT(find_in({}), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, SingleMaterialIsNotAList) {
    const Surface surface = scene.tagged(5);
    auto* instance = scene.renderer.record<miInstance>(surface.instance);
    instance->material = surface.material;
    instance->mtl_array_size = 0;
    EXPECT_LT(find(surface), 0);
    const std::string tag = std::to_string(surface.instance);
    EXPECT_THAT(scene.renderer.calls(),
                ElementsAre("db_access(" + tag + ")", "db_unpin(" + tag + ")"));
}

TEST_F(SurfaceTag, MissingListIsNotAccessed) {
    const Surface surface = scene.tagged(5);
    scene.renderer.record<miInstance>(surface.instance)->material = miNULLTAG;
    EXPECT_LT(find(surface), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, EntriesAfterTheEndOfTheListAreIgnored) {
    const miTag instance = scene.renderer.add_instance({material(plain_shader()), tagged(5)});
    miState hit = scene.renderer.new_state(plain_shader());
    hit.instance = instance;
    EXPECT_EQ(FindSurfaceTag(&hit), 5);
    scene.renderer.record<miInstance>(instance)->mtl_array_size = 1;
    EXPECT_EQ(FindSurfaceTag(&hit), -1);
}

TEST_F(SurfaceTag, FirstMaterialThatYieldsATagWins) {
    EXPECT_EQ(find_in({material(plain_shader()), tagged(7), tagged(8)}), 7);
    EXPECT_EQ(scene.renderer.calls_starting_with("query(54").size(), 2u);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, ZeroEndsTheSearchAsAnyTagDoes) {
    EXPECT_EQ(find_in({tagged(0), tagged(5)}), 0);
    EXPECT_EQ(scene.renderer.calls_starting_with("query(54").size(), 1u);
    EXPECT_EQ(find_in({tagged(-1), tagged(0), tagged(5)}), 0);
}

TEST_F(SurfaceTag, NegativeTagsAreSkipped) {
    EXPECT_EQ(find_in({tagged(-3), tagged(-1), tagged(9)}), 9);
    EXPECT_LT(find_in({tagged(-3)}), 0);
}

TEST_F(SurfaceTag, EntriesThatAreNoMaterialsAreSkipped) {
    const miTag text = scene.renderer.add_string("not a material");
    EXPECT_EQ(find_in({text, miNULLTAG, scene.add_tag_shader(1), tagged(4)}), 4);
    EXPECT_EQ(scene.renderer.pins(text), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, MaterialsWithoutAFunctionAreSkippedAndGivenBack) {
    const miTag text = scene.renderer.add_string("not a function");
    EXPECT_EQ(find_in({material(miNULLTAG), material(text), tagged(4)}), 4);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(SurfaceTag, HitWithoutAnInstanceHasNone) {
    miState hit = scene.renderer.new_state(plain_shader());
    EXPECT_LT(FindSurfaceTag(&hit), 0);
    EXPECT_THAT(scene.renderer.calls(), IsEmpty());
}

// ---- wrappers ----

struct Wrapper {
    const char* name;
    const char* parameter;
};

class SurfaceTagBehind : public SurfaceTag, public testing::WithParamInterface<Wrapper> {
  protected:
    Surface wrapped(miTag inner) {
        return scene.surface_of(scene.add_wrapper(GetParam().name, GetParam().parameter, inner));
    }
};

TEST_P(SurfaceTagBehind, AttachedTagShaderIsFound) {
    const miTag tag_shader = scene.add_tag_shader(23);
    const miTag declaration = scene.renderer.function(tag_shader)->function_decl;
    const Surface s = wrapped(tag_shader);
    // The wrapper's connection flag determines whether the tag is connected: here it is not.
    scene.renderer.function(s.shader)->connected = 0;
    EXPECT_EQ(find(s), 23);

    const std::string name = GetParam().parameter;
    const auto text = [](miTag tag) { return std::to_string(tag); };
    EXPECT_THAT(
        scene.renderer.calls(),
        ElementsAre("db_access(" + text(s.instance) + ")", "db_access(" + text(s.list) + ")",
                    "db_type(" + text(s.material) + ")", "db_access(" + text(s.material) + ")",
                    "db_type(" + text(s.shader) + ")", "db_access(" + text(s.shader) + ")",
                    "query(54, " + text(s.shader) + ")", "db_access(" + text(s.declaration) + ")",
                    "strdup(" + name + ")",
                    "parameter_lookup(" + text(s.declaration) + ", " + name + ")",
                    "db_type(" + text(tag_shader) + ")", "db_access(" + text(tag_shader) + ")",
                    "query(54, " + text(tag_shader) + ")", "db_access(" + text(declaration) + ")",
                    "db_unpin(" + text(tag_shader) + ")", "db_unpin(" + text(s.declaration) + ")",
                    "db_unpin(" + text(s.shader) + ")", "db_unpin(" + text(s.material) + ")",
                    "db_unpin(" + text(s.list) + ")", "db_unpin(" + text(s.instance) + ")"));
}

TEST_P(SurfaceTagBehind, DeclarationOfTheAttachedShaderStaysPinnedAndNothingElseDoes) {
    const miTag tag_shader = scene.add_tag_shader(23);
    const miTag declaration = scene.renderer.function(tag_shader)->function_decl;
    const Surface surface = wrapped(tag_shader);
    scene.renderer.function(surface.shader)->connected = 0;
    find(surface);
    find(surface);
    EXPECT_EQ(scene.renderer.pins(declaration), 2);
    scene.renderer.pins(declaration) = 0;
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_P(SurfaceTagBehind, AttachedShaderOfAnotherNameHasNone) {
    const Surface surface = wrapped(plain_shader());
    EXPECT_LT(find(surface), 0);
    scene.renderer.pins(scene.renderer.function(plain_shader())->function_decl) = 0;
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_P(SurfaceTagBehind, OnlyOneLevelIsFollowed) {
    const miTag inner =
        scene.add_wrapper(GetParam().name, GetParam().parameter, scene.add_tag_shader(23));
    EXPECT_LT(find(wrapped(inner)), 0);
}

TEST_P(SurfaceTagBehind, NothingAttached) {
    EXPECT_LT(find(wrapped(miNULLTAG)), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
    // "Not connected": mi_db_type would end the render.
    EXPECT_LT(find(wrapped(0xFFFFFFFE)), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

// With an offset of 0 the connection tag would be read from the parameter, whose value may be the
// tag of a shader.
TEST_P(SurfaceTagBehind, WithoutAGhostBlockNothingIsRead) {
    FunctionSetup setup;
    setup.declaration =
        scene.renderer.add_declaration(GetParam().name, {{GetParam().parameter, 0}});
    setup.block = vx::stub::bytes_of(scene.add_tag_shader(23));
    EXPECT_LT(find(scene.surface_of(scene.renderer.add_function(setup))), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_P(SurfaceTagBehind, WrapperWithoutTheParameterHasNone) {
    const Surface surface =
        scene.surface_of(scene.add_wrapper(GetParam().name, "other", scene.add_tag_shader(23)));
    EXPECT_LT(find(surface), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_P(SurfaceTagBehind, AttachedElementThatIsNoFunctionIsNotAccessed) {
    const miTag text = scene.renderer.add_string("a texture, say");
    EXPECT_LT(find(wrapped(text)), 0);
    EXPECT_THAT(scene.renderer.calls(),
                testing::Not(testing::Contains("db_access(" + std::to_string(text) + ")")));
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_P(SurfaceTagBehind, AttachedShaderOfAHigherKindHasNoneAndIsGivenBack) {
    const miTag tag_shader = scene.add_tag_shader(23);
    scene.renderer.function(tag_shader)->type = miFUNCTION_C_REQ;
    EXPECT_LT(find(wrapped(tag_shader)), 0);
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Every, SurfaceTagBehind,
                         testing::Values(Wrapper{"sib_setnormal", "input"},
                                         Wrapper{"adskMayaShadingEngine", "surfaceShader"}),
                         [](const auto& wrapper) { return std::string(wrapper.param.name); });

TEST_F(SurfaceTag, EachWrapperHasItsOwnParameter) {
    const miTag shader = scene.add_tag_shader(23);
    EXPECT_LT(find(scene.surface_of(scene.add_wrapper("sib_setnormal", "surfaceShader", shader))),
              0);
    EXPECT_LT(find(scene.surface_of(scene.add_wrapper("adskMayaShadingEngine", "input", shader))),
              0);
    EXPECT_LT(find(scene.surface_of(scene.add_wrapper("sib_setnormal2", "input", shader))), 0);
}

// ---- the record that determines connections ----

// The state has the wrapper's record. Its flag and offset apply to the block of the attached
// shader: the connection tag is read at that offset from the tag parameter.
TEST_F(SurfaceTag, ConnectionOfAnAttachedShaderFollowsTheRecordOfTheHit) {
    FunctionSetup setup;
    setup.declaration = scene.renderer.add_declaration("vx_pc_tag");
    setup.block.resize(36);
    setup.connections[32] = 500;
    setup.ghost_offset = 40; // the wrapper's
    scene.renderer.connected[500] = vx::stub::bytes_of(17);
    const miTag tag_shader = scene.renderer.add_function(setup);
    const Surface surface =
        scene.surface_of(scene.add_wrapper("sib_setnormal", "input", tag_shader));
    EXPECT_EQ(find(surface), 17);
    scene.renderer.function(surface.shader)->connected = 0;
    EXPECT_EQ(find(surface), 0);
}

} // namespace
