#include "tests/scene/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

std::vector<Parameter> parameters(const std::string& text) {
    Reading r = read("shader \"s\" \"d\" ( " + text + " )\n");
    EXPECT_TRUE(r.messages.empty()) << text << ": " << r.message();
    if (!r.scene.shaders.count("s")) return {};
    return std::get<ShaderCall>(r.scene.shaders["s"].shaders.at(0)).parameters;
}

template <class T>
T value(const std::string& text) {
    const auto list = parameters("\"p\" " + text);
    EXPECT_EQ(list.size(), 1u);
    if (list.empty() || !std::holds_alternative<T>(list[0].value.content)) {
        ADD_FAILURE() << "another kind of value: " << text;
        return {};
    }
    return std::get<T>(list[0].value.content);
}

std::string message(const std::string& text) {
    return read("shader \"s\" \"d\" ( " + text + " )\n").message();
}

using Numbers = std::vector<Number>;

TEST(Parameters, BooleansIntegersAndRealsAreKeptApart) {
    EXPECT_EQ(value<Numbers>("on"), (Numbers{{1, NumberKind::boolean}}));
    EXPECT_EQ(value<Numbers>("false"), (Numbers{{0, NumberKind::boolean}}));
    EXPECT_EQ(value<Numbers>("-7"), (Numbers{{-7, NumberKind::integer}}));
    EXPECT_EQ(value<Numbers>("1 0.5 2e1"),
              (Numbers{{1, NumberKind::integer}, {0.5, NumberKind::real}, {20, NumberKind::real}}));
    EXPECT_EQ(value<Numbers>("1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1").size(), 16u);
}

TEST(Parameters, TextsNullAndConnections) {
    EXPECT_EQ(value<std::string>("\"a b\""), "a b");
    EXPECT_EQ(value<std::string>("\"\""), "");
    EXPECT_EQ(value<std::string>("\"null\""), "null");
    value<Null>("null");
    EXPECT_EQ(value<Connection>("= \"ramp1.outColor\"").name, "ramp1.outColor");
    EXPECT_EQ(value<Connection>("= plain").name, "plain");
    EXPECT_EQ(value<Interface>("= interface \"x\"").name, "x");
}

TEST(Parameters, StructsAndArraysNest) {
    const auto s = value<StructValue>("{ \"a\" 1, \"b\" { \"c\" \"t\" }, }");
    ASSERT_EQ(s.members.size(), 2u);
    EXPECT_EQ(std::get<StructValue>(s.members[1].value.content).members.at(0).name, "c");
    const auto a = value<ArrayValue>("[ 1 2 3, 4 5 6 ]");
    ASSERT_EQ(a.elements.size(), 2u);
    EXPECT_EQ(std::get<Numbers>(a.elements[1].content).at(2).value, 6);
    EXPECT_EQ(value<ArrayValue>("[ ]").elements.size(), 0u);
    EXPECT_EQ(value<ArrayValue>("[ \"l1\", = \"x\", null ]").elements.size(), 3u);
    EXPECT_EQ(value<ArrayValue>("[ { \"a\" 1 }, { \"a\" [ 1, 2 ] } ]").elements.size(), 2u);
}

TEST(Parameters, ACommaMayFollowTheLastOne) {
    EXPECT_EQ(parameters("\"a\" 1, \"b\" 2,").size(), 2u);
    EXPECT_EQ(parameters("").size(), 0u);
}

TEST(Parameters, OfARepeatedOneTheLastCounts) {
    const auto list = parameters("\"a\" 1, \"b\" 2, \"a\" 3");
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1].name, "a");
    EXPECT_EQ(std::get<Numbers>(list[1].value.content).at(0).value, 3);
}

TEST(Parameters, ManyRepeatedOnesTakeNoLongTime) {
    std::string text = "\"a\" 1";
    for (int i = 0; i < 100000; ++i)
        text += ", \"p" + std::to_string(i % 50000) + "\" 1";
    EXPECT_EQ(parameters(text).size(), 50001u);
}

TEST(Parameters, BinaryVectorsStandForThreeReals) {
    const std::string one = {'\x3f', '\x80', 0, 0}, half = {'\x3f', 0, 0, 0}, zero(4, '\0');
    const auto v = value<Numbers>("`" + one + half + zero + "`");
    EXPECT_EQ(v, (Numbers{{1, NumberKind::real}, {0.5, NumberKind::real}, {0, NumberKind::real}}));
}

TEST(Parameters, PlacesAreThoseOfTheNames) {
    const auto list = parameters("\"a\" 1,\n  \"b\" 2");
    EXPECT_EQ(list.at(1).where, (Location{1, 2, 3}));
}

TEST(Parameters, Errors) {
    EXPECT_EQ(message("\"a\""), "error: test.mi:1:22: expected a value, found ')'");
    EXPECT_EQ(message("\"a\" 1 \"b\" 2"), "error: test.mi:1:24: expected ',' or ')', found \"b\"");
    EXPECT_EQ(message("\"a\" [ 1, 2 "), "error: test.mi:1:30: expected ',' or ']', found ')'");
    EXPECT_EQ(message("\"a\" [ [ 1 ] ]"), "error: test.mi:1:24: expected a value, found '['");
    EXPECT_EQ(message("\"a\" { \"b\" }"), "error: test.mi:1:28: expected a value, found '}'");
    EXPECT_EQ(message("1"),
              "error: test.mi:1:18: expected the name of a parameter or ')', found '1'");
    EXPECT_EQ(message("\"a\" ="), "error: test.mi:1:24: expected the name of a shader, found ')'");
    EXPECT_EQ(message("\"a\" 1e999"), "error: test.mi:1:22: the number is too large");
    EXPECT_EQ(read("shader \"s\" \"d\" ( \"a\" 1").message(),
              "error: test.mi:1:23: expected ',' or ')', found the end of the file");
}

TEST(Parameters, DeepNestingIsAnErrorAndNoCrash) {
    std::string text = "\"p\" ";
    for (int i = 0; i < 100000; ++i)
        text += "{ \"p\" ";
    EXPECT_THAT(message(text), testing::HasSubstr("parameters are nested too deeply"));
}

TEST(ShaderLists, AnonymousNamedAndDefinedInPlace) {
    const Reading r = read("shader \"a\" \"d\" ()\nmaterial \"m\" \"e\" ( \"x\" 1 ) = \"a\" = "
                           "shader \"b\" \"f\" () end material\n");
    EXPECT_TRUE(r.good) << r.message();
    const ShaderList& list = r.scene.materials.at("m").surface;
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(std::get<ShaderCall>(list[0]).declaration, "e");
    EXPECT_EQ(std::get<ShaderReference>(list[1]).name, "a");
    EXPECT_EQ(std::get<ShaderReference>(list[2]).name, "b");
    // Defined before the element that uses it.
    EXPECT_THAT(r.scene.events, testing::ElementsAre("shader a", "shader b", "material m"));
}

TEST(ShaderLists, ANamedShaderMayBeAList) {
    const Reading r = read("shader \"a\" \"d\" () \"e\" () \"f\" ()\n");
    EXPECT_EQ(r.scene.shaders.at("a").shaders.size(), 3u);
}

TEST(NamedShaders, IncrementalCallChangesTheNamedParameters) {
    const Reading r = read("shader \"a\" \"d\" ( \"x\" 1, \"y\" 2 )\nincremental shader \"a\" "
                           "\"d\" ( \"y\" 3, \"z\" 4 )\n");
    EXPECT_TRUE(r.good) << r.message();
    const auto& call = std::get<ShaderCall>(r.scene.shaders.at("a").shaders.at(0));
    ASSERT_EQ(call.parameters.size(), 3u);
    EXPECT_EQ(call.parameters[0].name, "x");
    EXPECT_EQ(call.parameters[1].name, "y");
    EXPECT_EQ(std::get<Numbers>(call.parameters[1].value.content).at(0).value, 3);
}

TEST(NamedShaders, AnIncrementalCallOfAnotherShaderStartsAnew) {
    const Reading r = read("shader \"a\" \"d\" ( \"x\" 1 )\nincremental shader \"a\" \"e\" ( \"y\" "
                           "3 )\n");
    const auto& call = std::get<ShaderCall>(r.scene.shaders.at("a").shaders.at(0));
    EXPECT_EQ(call.declaration, "e");
    EXPECT_EQ(call.parameters.size(), 1u);
}

TEST(ShaderLists, AnUnknownNameIsACallWithoutParameters) {
    const Reading r = read("material \"m\" = \"unknown\" end material\n");
    EXPECT_TRUE(r.good) << r.message();
    const auto& call = std::get<ShaderCall>(r.scene.materials.at("m").surface.at(0));
    EXPECT_EQ(call.declaration, "unknown");
    EXPECT_EQ(call.where.column, 16u);
    EXPECT_TRUE(call.parameters.empty());
}

TEST(ShaderLists, NamesOfDeclarationsAndOfOtherElementsAreErrors) {
    EXPECT_EQ(read("declare shader color \"d\" () end declare\nmaterial \"m\" = \"d\" end "
                   "material\n")
                  .message(),
              "error: test.mi:2:16: there is no shader 'd'");
    EXPECT_EQ(read("material \"n\" end material\nmaterial \"m\" = \"n\" end material\n").message(),
              "error: test.mi:2:16: there is no shader 'n'");
}

TEST(NamedShaders, Errors) {
    EXPECT_EQ(read("shader \"a\"\n").message(), "error: test.mi:2:1: expected a shader: \"name\" ( "
                                                "… ) or = \"name\", found the end of the file");
    EXPECT_EQ(read("shader \"a\" \"d\"\n").message(),
              "error: test.mi:2:1: expected '(', found the end of the file");
    EXPECT_EQ(read("incremental shader \"a\" \"d\" ()\n").message(),
              "error: test.mi:1:20: there is no shader 'a' to change");
}

} // namespace
