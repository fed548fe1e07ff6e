#include "tests/scene/recorder.h"

#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

Declaration declaration(const std::string& text, const std::string& name) {
    Reading r = read(text);
    EXPECT_TRUE(r.messages.empty()) << r.message();
    return r.scene.declarations[name];
}

std::string message(const std::string& text) {
    return read("declare shader " + text + " end declare").message();
}

TEST(Declare, AShaderWithDefaultsVersionAndApply) {
    const Declaration d = declaration(R"(declare shader
        color "vx_pc_write" (
            boolean "disable", integer "samples" default 1, scalar "radius" default 0.1,
            string "labels", #: shortname "lb"
            color "scale" default 1 1 1 1, color "tint" default 1 2 3,
            boolean "use" default on, scalar "whole" default 3
        )
        version 1
        apply lens, material
        end declare)",
                                      "vx_pc_write");
    EXPECT_EQ(d.kind, DeclarationKind::shader);
    EXPECT_EQ(d.result, Type::color);
    EXPECT_EQ(d.version, 1);
    EXPECT_EQ(d.apply, apply_lens | apply_material);
    ASSERT_EQ(d.parameters.size(), 8u);
    EXPECT_EQ(d.parameters[0].type, Type::boolean);
    EXPECT_TRUE(d.parameters[0].defaults.empty());
    EXPECT_EQ(d.parameters[1].defaults, (std::vector<Number>{{1, NumberKind::integer}}));
    EXPECT_EQ(d.parameters[2].defaults, (std::vector<Number>{{0.1, NumberKind::real}}));
    EXPECT_EQ(d.parameters[4].defaults.size(), 4u);
    EXPECT_EQ(d.parameters[5].defaults.size(), 3u);
    EXPECT_EQ(d.parameters[6].defaults, (std::vector<Number>{{1, NumberKind::boolean}}));
}

TEST(Declare, AStructResult) {
    const Declaration d =
        declaration("declare shader struct { color \"outColor\", integer \"pointCount\" } \"r\" ( "
                    "string \"fileName\", ) version 1 end declare",
                    "r");
    EXPECT_EQ(d.result, Type::structure);
    ASSERT_EQ(d.result_fields.size(), 2u);
    EXPECT_EQ(d.result_fields[1].name, "pointCount");
    EXPECT_EQ(d.result_fields[1].type, Type::integer);
    EXPECT_EQ(d.parameters.size(), 1u);
}

TEST(Declare, EveryType) {
    const Declaration d = declaration(
        "declare shader vector \"x\" ( boolean \"a\", integer \"b\", scalar \"c\", string \"d\", "
        "color \"e\", vector \"f\", transform \"g\", color texture \"h\", scalar texture \"i\", "
        "vector texture \"j\", light \"k\", material \"l\", geometry \"m\", lightprofile \"n\", "
        "spectrum \"o\", shader \"p\", data \"q\" ) end declare",
        "x");
    const Type types[] = {Type::boolean,        Type::integer,       Type::scalar,
                          Type::string,         Type::color,         Type::vector,
                          Type::transform,      Type::color_texture, Type::scalar_texture,
                          Type::vector_texture, Type::light,         Type::material,
                          Type::geometry,       Type::lightprofile,  Type::spectrum,
                          Type::shader,         Type::data};
    ASSERT_EQ(d.parameters.size(), std::size(types));
    for (std::size_t i = 0; i < std::size(types); ++i)
        EXPECT_EQ(d.parameters[i].type, types[i]);
    EXPECT_EQ(d.result, Type::vector);
}

TEST(Declare, ArraysAndStructsNest) {
    const Declaration d =
        declaration("declare shader \"x\" ( array light \"lights\", array struct \"s\" { color "
                    "\"c\" default 1 1 1, array integer \"i\" }, struct \"t\" { struct \"u\" { "
                    "scalar \"v\" } } ) end declare",
                    "x");
    EXPECT_EQ(d.result, Type::color);
    ASSERT_EQ(d.parameters.size(), 3u);
    EXPECT_EQ(d.parameters[0].type, Type::array);
    EXPECT_EQ(d.parameters[0].name, "lights");
    EXPECT_EQ(d.parameters[0].members.at(0).type, Type::light);
    const auto& element = d.parameters[1].members.at(0);
    EXPECT_EQ(element.type, Type::structure);
    EXPECT_EQ(element.members.at(0).defaults.size(), 3u);
    EXPECT_EQ(element.members.at(1).type, Type::array);
    EXPECT_EQ(d.parameters[2].members.at(0).members.at(0).name, "v");
}

TEST(Declare, TheOldFormHasNoEnd) {
    const Reading r = read("declare color \"x\" ( scalar \"a\" )\ndeclare \"y\" ()\necho \"z\"\n");
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_EQ(r.scene.declarations.at("x").parameters.size(), 1u);
    EXPECT_EQ(r.scene.declarations.at("y").result, Type::color);
    EXPECT_EQ(r.scene.echoes.size(), 1u);
}

TEST(Declare, DataAndRequirements) {
    const Reading r = read("declare data \"d\" ( integer \"a\" ) version 2 apply material gui "
                           "\"g\" { control \"c\" { } } end declare\n"
                           "declare shader color \"x\" () scanline on trace on shadow sort face "
                           "front texture 1 bump 0 derivative 1 2 object space parallel volume "
                           "level 1 hardware (\"a\" 1) end declare\n");
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_EQ(r.scene.declarations.at("d").kind, DeclarationKind::data);
    EXPECT_EQ(r.scene.declarations.at("d").version, 2);
    EXPECT_EQ(r.scene.declarations.at("x").wants_trace, true);
}

TEST(Declare, PhenomenaAreNamedAndSkipped) {
    const Reading r = read(R"(declare phenomenon color "p" ( color "c" )
            shader "s" "mib" ( "x" = interface "c" )
            material "m" = "s" end material
            root = "s"
            version 1
        end declare
        echo "on")");
    EXPECT_EQ(r.message(), "warning: test.mi:1:1: phenomena are not supported: 'p' is skipped");
    EXPECT_EQ(r.scene.declarations.at("p").kind, DeclarationKind::phenomenon);
    EXPECT_EQ(r.scene.declarations.at("p").parameters.size(), 1u);
    EXPECT_EQ(r.scene.echoes.size(), 1u);
    EXPECT_EQ(r.scene.materials.size(), 0u);
}

TEST(Declare, MapsAreSkipped) {
    const Reading r = read("declare map \"m\" ( dim 3, color \"c\" ) end declare echo \"on\"");
    EXPECT_EQ(r.message(), "warning: test.mi:1:1: map declarations are not supported; ignored");
    EXPECT_EQ(r.scene.echoes.size(), 1u);
}

TEST(Declare, AnEqualRedeclarationIsSilentAnotherOneIsNot) {
    const std::string one = "declare shader color \"x\" ( scalar \"a\" ) end declare\n";
    const std::string other = "declare shader color \"x\" ( scalar \"b\" ) end declare\n";
    const Reading same = read(one + one);
    EXPECT_TRUE(same.messages.empty());
    EXPECT_EQ(same.scene.events.size(), 1u);
    const Reading differs = read(one + other);
    EXPECT_EQ(differs.message(), "warning: test.mi:2:22: 'x' is already declared differently");
    EXPECT_EQ(differs.scene.declarations.at("x").parameters.at(0).name, "b");
}

TEST(Declare, Errors) {
    EXPECT_EQ(message("color \"x\" ( number \"a\" )"),
              "error: test.mi:1:28: expected the type of a parameter, found 'number'");
    EXPECT_EQ(message("color \"x\" ( integer \"a\" default 1.5 )"),
              "error: test.mi:1:48: expected an integer, found '1.5'");
    EXPECT_EQ(message("color \"x\" ( vector \"a\" default 1 2 )"),
              "error: test.mi:1:47: the default of 'a' requires 3 numbers, found 2");
    EXPECT_EQ(message("color \"x\" ( string \"a\" default 1 )"),
              "error: test.mi:1:47: type 'string' has no default");
    EXPECT_EQ(message("color \"x\" ( scalar \"a\", color \"a\" )"),
              "error: test.mi:1:40: parameter 'a' is declared twice");
    EXPECT_EQ(message("color \"x\" ( array array integer \"a\" )"),
              "error: test.mi:1:34: expected a type other than an array, found 'array'");
    EXPECT_EQ(message("color \"x\" ( ) apply nothing"),
              "error: test.mi:1:36: expected a shader type such as 'material', found "
              "'nothing'");
    EXPECT_EQ(message("color \"x\" ( ) wants x"),
              "error: test.mi:1:30: expected a requirement such as 'version' or 'apply', or 'end "
              "declare', found 'wants'");
    EXPECT_EQ(message("struct { } \"x\" ( )"),
              "error: test.mi:1:27: a result structure must have at least one field");
}

} // namespace
