#include "tests/api/api_test.h"

using namespace vx;
using namespace vx::testing;
using ::testing::HasSubstr;

namespace {

class ApiCall : public ApiTest {
  protected:
    miTag list() {
        return shader("list", {call("test_add", {set("value", numbers(1, 0, 0, 1))}),
                               call("test_add", {set("value", numbers(2, 0, 0, 2))})});
    }
};

} // namespace

TEST_F(ApiCall, CalledShaderRunsOnTheSameStateAndSeesItsRole) {
    const miTag called = shader("called", "test_queries");
    TestQueries q{};
    inside([&](void* result, miState* s, void*) {
        void* const user = s->user;
        s->user = &q;
        miFunction* const mine = s->shader;
        EXPECT_TRUE(mi_call_shader(static_cast<miColor*>(result), miSHADER_TEXTURE, s, called));
        EXPECT_EQ(s->shader, mine);
        s->user = user;
        return miTRUE;
    });
    EXPECT_EQ(q.call_type, miSHADER_TEXTURE);
    EXPECT_EQ(q.parameters, function(called).record->parameters);
}

TEST_F(ApiCall, ListsRunWholeExceptForLensShaders) {
    const miTag l = list();
    inside([&](void*, miState* s, void*) {
        miColor c{};
        mi_call_shader(&c, miSHADER_MATERIAL, s, l);
        EXPECT_THAT(c, IsColor(3, 0, 0, 12));
        c = {};
        mi_call_shader(&c, miSHADER_LENS, s, l);
        EXPECT_THAT(c, IsColor(1, 0, 0, 1));
        EXPECT_FALSE(mi_call_shader(&c, miSHADER_MATERIAL, s, miNULLTAG));
        return miTRUE;
    });
}

TEST_F(ApiCall, AnArgumentStandsInForTheParameters) {
    const miTag s = shader("s", "test_constant", {set("value", numbers(1, 2, 3))});
    inside([&](void*, miState* st, void*) {
        miColor block = {7, 8, 9, 1}, c{};
        EXPECT_TRUE(mi_call_shader_x(&c, miSHADER_TEXTURE, st, s, &block));
        EXPECT_THAT(c, IsColor(7, 8, 9, 1));
        return miTRUE;
    });
}

TEST_F(ApiCall, MaterialOfTheHitHasFourLists) {
    const auto constant = [](int value) {
        return scene::ShaderList{call("test_constant", {set("value", numbers(value, 0, 0))})};
    };
    scene::Material m;
    m.name = "m";
    m.surface = constant(1);
    m.shadow = constant(2);
    m.environment = constant(3);
    m.volume = constant(4);
    builder.on_material(m);
    m = {};
    m.name = "empty";
    builder.on_material(m);
    using Kind = shading::SceneBuilder::Kind;
    inside([&](void*, miState* s, void*) {
        miColor c{};
        s->material = builder.find(Kind::material, "m");
        EXPECT_TRUE(mi_call_material(&c, s));
        EXPECT_EQ(c.r, 1);
        EXPECT_TRUE(mi_call_shadow_material(&c, s));
        EXPECT_EQ(c.r, 2);
        EXPECT_TRUE(mi_call_environment_material(&c, s));
        EXPECT_EQ(c.r, 3);
        EXPECT_TRUE(mi_call_volume_material(&c, s));
        EXPECT_EQ(c.r, 4);
        s->material = builder.find(Kind::material, "empty");
        EXPECT_FALSE(mi_call_material(&c, s));
        EXPECT_FALSE(mi_call_shadow_material(&c, s));
        s->material = miNULLTAG;
        EXPECT_FALSE(mi_call_material(&c, s));
        return miTRUE;
    });
}

TEST_F(ApiCall, MaterialThatIsNoneEndsTheRender) {
    const miTag string = context.database.create_string("x");
    EXPECT_THAT(fatal([&](void* result, miState* s, void*) {
                    s->material = string;
                    return mi_call_material(static_cast<miColor*>(result), s);
                }),
                HasSubstr("is not a material"));
}
