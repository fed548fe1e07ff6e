#include "tests/api/api_test.h"

#include <cstring>

using namespace vx;
using namespace vx::testing;

using ApiParameter = ApiTest;

TEST_F(ApiParameter, EveryTypeIsReadAsItWasGiven) {
    const miTag other = shader("other", "test_black");
    scene::Texture t;
    t.name = "tex";
    t.file = "a.png";
    builder.on_texture(t);
    scene::Material m;
    m.name = "mtl";
    builder.on_material(m);
    scene::Light l;
    l.name = "lamp";
    builder.on_light(l);
    const miTag types =
        shader("t", "test_types",
               {set("boolean", numbers(true)), set("integer", numbers(-7)),
                set("scalar", numbers(2.5)), set("string", text("hello")),
                set("color", numbers(0.1, 0.2, 0.3, 0.4)), set("vector", numbers(1, 2, 3)),
                set("transform", numbers(1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3, 0, 4, 5, 6, 1)),
                set("shader", text("other")), set("texture", text("tex")),
                set("light", text("lamp")), set("material", text("mtl"))});
    using Kind = shading::SceneBuilder::Kind;
    TestTypes seen{};
    state.user = &seen;
    run(types);
    EXPECT_EQ(seen.boolean, 1);
    EXPECT_EQ(seen.integer, -7);
    EXPECT_EQ(seen.scalar, 2.5f);
    EXPECT_EQ(context.database.text(seen.string), "hello");
    EXPECT_THAT(seen.color, IsColor(0.1f, 0.2f, 0.3f, 0.4f));
    EXPECT_EQ(seen.vector.y, 2);
    EXPECT_EQ(seen.transform[10], 3);
    EXPECT_EQ(seen.transform[14], 6);
    EXPECT_EQ(seen.shader, other);
    EXPECT_EQ(seen.texture, builder.find(Kind::texture, "tex"));
    EXPECT_EQ(seen.light, builder.find(Kind::light, "lamp"));
    EXPECT_EQ(seen.material, builder.find(Kind::material, "mtl"));
    EXPECT_TRUE(findings.empty());
}

TEST_F(ApiParameter, PlainParameterIsItsOwnPlace) {
    const miTag s = shader("s", "test_constant", {set("value", numbers(1, 2, 3))});
    inside([&](void*, miState* st, void*) {
        st->shader = function(s).record;
        EXPECT_EQ(mi_eval(st, st->shader->parameters), st->shader->parameters);
        return miTRUE;
    });
}

TEST_F(ApiParameter, MemoryOutsideParametersIsReturnedUnchanged) {
    shader("a", "test_constant");
    const miTag s = shader("s", "test_constant", {set("value", connection("a"))});
    inside([&](void*, miState* st, void*) {
        st->shader = function(s).record;
        miColor local{};
        EXPECT_EQ(mi_eval(st, &local), &local);
        EXPECT_EQ(mi_phen_eval(st, &local), &local);
        st->shader = nullptr;
        EXPECT_EQ(mi_eval(st, &local), &local);
        return miTRUE;
    });
}

TEST_F(ApiParameter, LookupFindsTypeOffsetAndWhetherItIsAnArray) {
    builder.on_declare(declaration(
        "looked_at", Type::color,
        {parameter("input", Type::color), array_of(parameter("lights", Type::light)),
         struct_of("s", {parameter("a", Type::scalar), parameter("b", Type::string)})}));
    const miTag decl = context.functions.declaration("looked_at")->tag;
    inside([&](void*, miState*, void*) {
        miParam_type type = miTYPE_BOOLEAN;
        miBoolean array = miTRUE;
        int offset = -1;
        EXPECT_TRUE(
            mi_api_parameter_lookup(&type, &array, &offset, decl, miFALSE, mi_mem_strdup("input")));
        EXPECT_EQ(type, miTYPE_COLOR);
        EXPECT_EQ(array, miFALSE);
        EXPECT_EQ(offset, 0);
        EXPECT_TRUE(mi_api_parameter_lookup(&type, &array, &offset, decl, miFALSE,
                                            mi_mem_strdup("lights")));
        EXPECT_EQ(type, miTYPE_LIGHT);
        EXPECT_EQ(array, miTRUE);
        EXPECT_EQ(offset, 16);
        EXPECT_TRUE(
            mi_api_parameter_lookup(&type, &array, &offset, decl, miFALSE, mi_mem_strdup("s.b")));
        EXPECT_EQ(type, miTYPE_STRING);
        EXPECT_EQ(offset, 16 + 12 + 4);
        EXPECT_TRUE(
            mi_api_parameter_lookup(nullptr, nullptr, nullptr, decl, miFALSE, mi_mem_strdup("s")));
        return miTRUE;
    });
}

TEST_F(ApiParameter, LookupReachesTheResultWhenAsked) {
    const miTag decl = context.functions.declaration("test_struct")->tag;
    inside([&](void*, miState*, void*) {
        miParam_type type = miTYPE_BOOLEAN;
        int offset = -1;
        EXPECT_TRUE(mi_api_parameter_lookup(&type, nullptr, &offset, decl, miTRUE,
                                            mi_mem_strdup("outVector")));
        EXPECT_EQ(type, miTYPE_VECTOR);
        EXPECT_EQ(offset, 20);
        EXPECT_FALSE(mi_api_parameter_lookup(&type, nullptr, &offset, decl, miFALSE,
                                             mi_mem_strdup("outVector")));
        return miTRUE;
    });
}

// The memory of the name is released in every case; the address sanitizer would report a leak.
TEST_F(ApiParameter, LookupTakesTheNameOverAlsoWhenItFails) {
    const miTag decl = context.functions.declaration("test_constant")->tag;
    inside([&](void*, miState*, void*) {
        EXPECT_FALSE(mi_api_parameter_lookup(nullptr, nullptr, nullptr, decl, miFALSE,
                                             mi_mem_strdup("valu")));
        EXPECT_FALSE(mi_api_parameter_lookup(nullptr, nullptr, nullptr, 99999, miFALSE,
                                             mi_mem_strdup("value")));
        EXPECT_FALSE(mi_api_parameter_lookup(nullptr, nullptr, nullptr, decl, miFALSE, nullptr));
        return miTRUE;
    });
}
