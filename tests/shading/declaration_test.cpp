#include "host/shading/declaration.h"

#include <cstddef>

#include "tests/shading/rig.h"

using namespace vx;
using namespace vx::testing;
using shading::find_member;
using shading::lay_out;

TEST(Declaration, ParametersLieLikeAStructWithoutGaps) {
    struct Expected {
        miBoolean b;
        miInteger i;
        miScalar s;
        miTag t;
        miColor c;
        miVector v;
        miMatrix m;
        miTag shader;
    };
    const auto d = lay_out(declaration(
        "x", Type::color,
        {parameter("b", Type::boolean), parameter("i", Type::integer), parameter("s", Type::scalar),
         parameter("t", Type::string), parameter("c", Type::color), parameter("v", Type::vector),
         parameter("m", Type::transform), parameter("shader", Type::shader)}));
    EXPECT_EQ(d->fixed_size, static_cast<int>(sizeof(Expected)));
    EXPECT_EQ(find_member(d->parameters, "c")->offset, static_cast<int>(offsetof(Expected, c)));
    EXPECT_EQ(find_member(d->parameters, "v")->offset, static_cast<int>(offsetof(Expected, v)));
    EXPECT_EQ(find_member(d->parameters, "m")->offset, static_cast<int>(offsetof(Expected, m)));
    EXPECT_EQ(find_member(d->parameters, "shader")->offset,
              static_cast<int>(offsetof(Expected, shader)));
}

TEST(Declaration, TagShaderHasItsTagThirtyTwoBytesIn) {
    const auto d =
        lay_out(declaration("vx_pc_tag", Type::color,
                            {parameter("color", Type::color), parameter("bakeColor", Type::color),
                             parameter("tag", Type::integer)}));
    EXPECT_EQ(find_member(d->parameters, "tag")->offset, 32);
    EXPECT_EQ(d->fixed_size, 36);
}

TEST(Declaration, ArrayIsFirstIndexCountAndOneElement) {
    struct Expected {
        miScalar before;
        int i_x;
        int n_x;
        miVector x[1];
        miScalar after;
    };
    const auto d = lay_out(
        declaration("x", Type::color,
                    {parameter("before", Type::scalar), array_of(parameter("x", Type::vector)),
                     parameter("after", Type::scalar)}));
    const auto x = find_member(d->parameters, "x");
    EXPECT_TRUE(x->member->array);
    EXPECT_EQ(x->member->type, miTYPE_VECTOR);
    EXPECT_EQ(x->offset, static_cast<int>(offsetof(Expected, i_x)));
    EXPECT_EQ(find_member(d->parameters, "after")->offset,
              static_cast<int>(offsetof(Expected, after)));
    EXPECT_EQ(d->fixed_size, static_cast<int>(sizeof(Expected)));
}

TEST(Declaration, DottedNamesReachIntoStructsOfStructs) {
    const auto d = lay_out(
        declaration("x", Type::color,
                    {parameter("first", Type::color),
                     struct_of("outer", {parameter("a", Type::scalar),
                                         struct_of("inner", {parameter("b", Type::vector),
                                                             parameter("c", Type::integer)})})}));
    EXPECT_EQ(find_member(d->parameters, "outer")->offset, 16);
    EXPECT_EQ(find_member(d->parameters, "outer")->member->type, miTYPE_STRUCT);
    EXPECT_EQ(find_member(d->parameters, "outer.inner.c")->offset, 16 + 4 + 12);
    EXPECT_EQ(find_member(d->parameters, "outer.inner.c")->member->type, miTYPE_INTEGER);
    EXPECT_FALSE(find_member(d->parameters, "outer.c"));
    EXPECT_FALSE(find_member(d->parameters, "first.r"));
    EXPECT_FALSE(find_member(d->parameters, ""));
    EXPECT_FALSE(find_member(d->parameters, "outer."));
}

TEST(Declaration, NamesDoNotReachIntoArrays) {
    const auto d = lay_out(declaration(
        "x", Type::color, {array_of(struct_of("list", {parameter("a", Type::scalar)}))}));
    EXPECT_TRUE(find_member(d->parameters, "list"));
    EXPECT_FALSE(find_member(d->parameters, "list.a"));
}

TEST(Declaration, StructResultHasMembersAndSize) {
    scene::Declaration source = declaration("reader", Type::structure, {});
    source.result_fields = {parameter("outColor", Type::color),
                            parameter("pointCount", Type::integer)};
    const auto d = lay_out(source);
    EXPECT_EQ(d->result_type, miTYPE_STRUCT);
    EXPECT_EQ(d->result_size, 20);
    EXPECT_EQ(find_member(d->result_members, "pointCount")->offset, 16);
}

TEST(Declaration, SimpleResultsHaveTheSizeOfTheirType) {
    EXPECT_EQ(lay_out(declaration("x", Type::color, {}))->result_size, 16);
    EXPECT_EQ(lay_out(declaration("x", Type::vector, {}))->result_size, 12);
    EXPECT_EQ(lay_out(declaration("x", Type::scalar, {}))->result_size, 4);
    EXPECT_EQ(lay_out(declaration("x", Type::transform, {}))->result_size, 64);
    EXPECT_EQ(lay_out(declaration("x", Type::shader, {}))->result_size, 4);
}

TEST(Declaration, EveryTypeOfASceneHasItsCode) {
    using enum scene::Type;
    const std::vector<std::pair<scene::Type, miParam_type>> codes = {
        {boolean, miTYPE_BOOLEAN},
        {integer, miTYPE_INTEGER},
        {scalar, miTYPE_SCALAR},
        {string, miTYPE_STRING},
        {color, miTYPE_COLOR},
        {vector, miTYPE_VECTOR},
        {transform, miTYPE_TRANSFORM},
        {scalar_texture, miTYPE_SCALAR_TEX},
        {vector_texture, miTYPE_VECTOR_TEX},
        {color_texture, miTYPE_COLOR_TEX},
        {light, miTYPE_LIGHT},
        {material, miTYPE_MATERIAL},
        {geometry, miTYPE_GEOMETRY},
        {lightprofile, miTYPE_LIGHTPROFILE},
        {spectrum, miTYPE_SPECTRUM},
        {shader, miTYPE_SHADER},
        {data, miTYPE_DATA},
        {structure, miTYPE_STRUCT},
        {array, miTYPE_ARRAY}};
    for (const auto& [type, code] : codes)
        EXPECT_EQ(shading::param_type(type), code);
    EXPECT_EQ(shading::param_type_name(miTYPE_COLOR_TEX), "color texture");
}
