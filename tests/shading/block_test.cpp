#include "host/shading/block.h"

#include <cstring>
#include <map>

#include "tests/shading/rig.h"

using namespace vx;
using namespace vx::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

// Tags by name; texts are numbered from 1000 in the order in which they are asked for.
class Names final : public shading::NameResolver {
  public:
    std::optional<miTag> reference(miParam_type, std::string_view name) override {
        const auto found = references.find(std::string(name));
        if (found == references.end()) return std::nullopt;
        return found->second;
    }
    const shading::Function* shader(std::string_view name) override {
        const auto found = shaders.find(std::string(name));
        return found == shaders.end() ? nullptr : &found->second;
    }
    const shading::Function* stand_in(std::string_view, scene::Location) override {
        return nullptr;
    }
    miTag text(std::string_view text) override {
        texts.emplace_back(text);
        return 999 + static_cast<miTag>(texts.size());
    }
    std::map<std::string, miTag> references;
    std::map<std::string, shading::Function> shaders;
    std::vector<std::string> texts;
};

class BlockTest : public ::testing::Test {
  protected:
    shading::ParameterBlock fill(const scene::Declaration& declared,
                                 const std::vector<scene::Parameter>& given,
                                 shading::BlockReport report = {}) {
        layout = shading::lay_out(declared);
        return shading::fill_block(*layout, given, names, diagnostics, report);
    }
    template <class T>
    static T at(const shading::ParameterBlock& block, std::size_t offset) {
        T value;
        EXPECT_LE(offset + sizeof value, block.bytes.size());
        std::memcpy(&value, block.bytes.data() + offset, sizeof value);
        return value;
    }
    void add_shader(const std::string& name, miTag tag, const scene::Declaration& declared) {
        declarations.push_back(shading::lay_out(declared));
        names.shaders[name].tag = tag;
        names.shaders[name].declaration = declarations.back().get();
    }

    Names names;
    std::vector<std::string> findings;
    std::vector<unsigned> lines;
    scene::Diagnostics diagnostics{[this](const scene::Diagnostic& d) {
        findings.push_back(d.text);
        lines.push_back(d.place.line);
    }};
    std::unique_ptr<shading::DeclaredShader> layout;
    std::vector<std::unique_ptr<shading::DeclaredShader>> declarations;

    void SetUp() override { diagnostics.add_file("test.mi"); }
};

} // namespace

TEST_F(BlockTest, ValuesComeByNameInAnyOrder) {
    const auto block =
        fill(declaration("x", Type::color,
                         {parameter("b", Type::boolean), parameter("i", Type::integer),
                          parameter("s", Type::scalar), parameter("c", Type::color),
                          parameter("v", Type::vector)}),
             {set("v", numbers(1, 2.5, 3)), set("c", numbers(0.1, 0.2, 0.3, 0.4)),
              set("s", numbers(7)), set("i", numbers(-3)), set("b", numbers(true))});
    EXPECT_EQ(at<miBoolean>(block, 0), 1);
    EXPECT_EQ(at<miInteger>(block, 4), -3);
    EXPECT_EQ(at<float>(block, 8), 7.0f);
    EXPECT_EQ(at<float>(block, 12), 0.1f);
    EXPECT_EQ(at<float>(block, 24), 0.4f);
    EXPECT_EQ(at<float>(block, 32), 2.5f);
    EXPECT_THAT(findings, IsEmpty());
    EXPECT_TRUE(block.complete);
}

TEST_F(BlockTest, ColorOfThreeNumbersHasAlphaZeroEvenWithADefault) {
    const auto declared =
        declaration("x", Type::color,
                    {parameter("c", Type::color, {number(1), number(1), number(1), number(1)})});
    EXPECT_EQ(at<float>(fill(declared, {}), 12), 1.0f);
    EXPECT_EQ(at<float>(fill(declared, {set("c", numbers(1, 2, 3))}), 12), 0.0f);
    EXPECT_EQ(at<float>(fill(declared, {set("c", numbers(1, 2, 3, 0.5))}), 12), 0.5f);
}

TEST_F(BlockTest, MissingParametersTakeTheDeclaredDefaultElseZero) {
    const auto block =
        fill(declaration("x", Type::color,
                         {parameter("r", Type::scalar, {number(0.1)}),
                          parameter("f", Type::integer, {number(1)}), parameter("n", Type::integer),
                          parameter("m", Type::transform)}),
             {});
    EXPECT_EQ(at<float>(block, 0), 0.1f);
    EXPECT_EQ(at<miInteger>(block, 4), 1);
    EXPECT_EQ(at<miInteger>(block, 8), 0);
    EXPECT_EQ(at<float>(block, 12 + 60), 0.0f);
}

TEST_F(BlockTest, UnsetStringIsTheTagOfAnEmptyText) {
    const auto block = fill(declaration("x", Type::color,
                                        {parameter("a", Type::string), parameter("b", Type::string),
                                         parameter("c", Type::string)}),
                            {set("b", text("hello")), set("c", null())});
    EXPECT_EQ(names.texts[at<miTag>(block, 0) - 1000], "");
    EXPECT_EQ(names.texts[at<miTag>(block, 4) - 1000], "hello");
    EXPECT_EQ(names.texts[at<miTag>(block, 8) - 1000], "");
}

TEST_F(BlockTest, NamedElementsBecomeTags) {
    names.references = {{"lampInst", 5}, {"tex", 6}};
    const auto block = fill(
        declaration("x", Type::color,
                    {parameter("l", Type::light), parameter("t", Type::color_texture),
                     parameter("m", Type::material), parameter("s", Type::shader)}),
        {set("l", text("lampInst")), set("t", text("tex")), set("m", text("")), set("s", null())});
    EXPECT_EQ(at<miTag>(block, 0), 5u);
    EXPECT_EQ(at<miTag>(block, 4), 6u);
    EXPECT_EQ(at<miTag>(block, 8), 0u);
    EXPECT_EQ(at<miTag>(block, 12), 0u);
    EXPECT_THAT(findings, IsEmpty());
}

TEST_F(BlockTest, UnknownNamesAreReportedOnRequest) {
    const auto declared =
        declaration("x", Type::color, {parameter("l", Type::light), parameter("c", Type::color)});
    const std::vector<scene::Parameter> given = {set("l", text("nowhere"), 4),
                                                 set("c", connection("nobody"), 5)};
    EXPECT_FALSE(fill(declared, given).complete);
    EXPECT_THAT(findings, IsEmpty());
    EXPECT_FALSE(fill(declared, given, {false, true}).complete);
    EXPECT_THAT(findings,
                ElementsAre("shader \"x\": parameter \"l\": there is no light \"nowhere\"",
                            "shader \"x\": parameter \"c\" is connected to \"nobody\", which is "
                            "not the name of a shader"));
    EXPECT_THAT(lines, ElementsAre(4, 5));
}

TEST_F(BlockTest, EveryErrorIsReportedAtItsPosition) {
    fill(declaration("x", Type::color,
                     {parameter("b", Type::boolean), parameter("i", Type::integer),
                      parameter("s", Type::scalar), parameter("v", Type::vector),
                      parameter("t", Type::string), parameter("l", Type::light),
                      array_of(parameter("a", Type::scalar)),
                      struct_of("st", {parameter("m", Type::scalar)})}),
         {set("b", numbers(0.5), 1), set("i", numbers(1.5), 2), set("s", numbers(1, 2), 3),
          set("v", numbers(1, 2), 4), set("t", numbers(1), 5), set("l", numbers(1), 6),
          set("a", numbers(1), 7), set("st", numbers(1), 8),
          set("st", members({set("zz", numbers(1), 9)}), 10), set("nope", numbers(1), 11),
          set("s", null(), 12), set("s", text("one"), 13), set("i", numbers(true), 14),
          set("a", connection("y"), 15)});
    EXPECT_THAT(
        findings,
        ElementsAre(HasSubstr("\"b\" takes boolean (on or off), found a number with a fraction"),
                    HasSubstr("\"i\" takes integer (a whole number), found a number with"),
                    HasSubstr("\"s\" takes scalar (a number), found 2 numbers"),
                    HasSubstr("\"v\" takes vector (three numbers), found 2 numbers"),
                    HasSubstr("\"t\" takes string in quotes, found a whole number"),
                    HasSubstr("\"l\" takes light (a name in quotes), found a whole number"),
                    HasSubstr("\"a\" takes an array of scalar in brackets, found a whole number"),
                    HasSubstr("\"st\" takes struct in braces, found a whole number"),
                    HasSubstr("there is no parameter \"st.zz\""),
                    HasSubstr("there is no parameter \"nope\""),
                    HasSubstr("\"s\" takes scalar (a number), found null"),
                    HasSubstr("\"s\" takes scalar (a number), found \"one\""),
                    HasSubstr("\"i\" takes integer (a whole number), found a boolean"),
                    HasSubstr("found a connection")));
    EXPECT_THAT(lines, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15));
}

TEST_F(BlockTest, ErrorsAreNotReportedTwice) {
    const auto declared = declaration("x", Type::color, {});
    fill(declared, {set("nope", numbers(1))}, {false, true});
    EXPECT_THAT(findings, IsEmpty());
}

TEST_F(BlockTest, IntegersStandForScalarsAndForBooleans) {
    const auto block =
        fill(declaration("x", Type::color,
                         {parameter("s", Type::scalar), parameter("b", Type::boolean),
                          parameter("c", Type::boolean)}),
             {set("s", numbers(3)), set("b", numbers(1)), set("c", numbers(5))});
    EXPECT_EQ(at<float>(block, 0), 3.0f);
    EXPECT_EQ(at<miBoolean>(block, 4), 1);
    EXPECT_EQ(at<miBoolean>(block, 8), 1);
    EXPECT_THAT(findings, IsEmpty());
}

TEST_F(BlockTest, ArrayElementsFollowTheFirstIndex) {
    const auto declared =
        declaration("x", Type::color,
                    {parameter("before", Type::scalar), array_of(parameter("a", Type::vector)),
                     parameter("after", Type::scalar)});
    const auto empty = fill(declared, {set("a", elements({}))});
    EXPECT_EQ(at<int>(empty, 8), 0);
    EXPECT_EQ(empty.bytes.size(), 28u);

    const auto one = fill(declared, {set("a", elements({numbers(1, 2, 3)}))});
    EXPECT_EQ(at<int>(one, 4), 0);
    EXPECT_EQ(at<int>(one, 8), 1);
    EXPECT_EQ(at<float>(one, 12), 1.0f);
    EXPECT_EQ(one.bytes.size(), 28u);

    const auto three = fill(
        declared, {set("after", numbers(9)),
                   set("a", elements({numbers(1, 2, 3), numbers(4, 5, 6), numbers(7, 8, 9)}))});
    EXPECT_EQ(at<int>(three, 8), 3);
    EXPECT_EQ(at<float>(three, 24), 9.0f);
    const auto first = static_cast<std::size_t>(at<int>(three, 4));
    EXPECT_EQ(at<float>(three, 12 + 12 * first), 1.0f);
    EXPECT_EQ(at<float>(three, 12 + 12 * (first + 2) + 8), 9.0f);
}

TEST_F(BlockTest, StructsInArraysHaveDefaultsArraysAndConnectionsOfTheirOwn) {
    add_shader("src", 77, declaration("s", Type::scalar, {}));
    const auto declared =
        declaration("x", Type::color,
                    {array_of(struct_of("list", {parameter("w", Type::scalar, {number(0.5)}),
                                                 array_of(parameter("n", Type::integer)),
                                                 parameter("t", Type::string)}))});
    const auto block =
        fill(declared,
             {set("list", elements({members({set("n", elements({numbers(1), numbers(2)}))}),
                                    members({set("w", connection("src")),
                                             set("n", elements({numbers(3), numbers(4)}))})}))});
    const std::size_t size = 4 + 12 + 4;
    const std::size_t base = 8 + size * static_cast<std::size_t>(at<int>(block, 0));
    EXPECT_EQ(at<int>(block, 4), 2);
    EXPECT_EQ(at<float>(block, base), 0.5f);
    for (std::size_t i = 0; i < 2; ++i) {
        const std::size_t n = base + i * size + 4;
        ASSERT_EQ(at<int>(block, n + 4), 2);
        const std::size_t values = n + 8 + 4 * static_cast<std::size_t>(at<int>(block, n));
        EXPECT_EQ(at<int>(block, values), static_cast<int>(2 * i + 1));
        EXPECT_EQ(at<int>(block, values + 4), static_cast<int>(2 * i + 2));
        EXPECT_GE(at<miTag>(block, base + i * size + 16), 1000u);
    }
    ASSERT_EQ(block.connections.size(), 1u);
    EXPECT_EQ(block.connections[0].offset, static_cast<int>(base + size));
    EXPECT_EQ(block.connections[0].source, 77u);
    EXPECT_THAT(findings, IsEmpty());
}

TEST_F(BlockTest, ConnectionLeadsToAShaderOrToAMemberOfItsResult) {
    scene::Declaration ramp = declaration("ramp", Type::structure, {});
    ramp.result_fields = {parameter("outColor", Type::color), parameter("outAlpha", Type::scalar)};
    add_shader("ramp1", 5, ramp);
    add_shader("ramp1.odd", 6, declaration("plain", Type::color, {}));
    const auto declared = declaration("x", Type::color,
                                      {parameter("a", Type::color), parameter("b", Type::scalar),
                                       parameter("c", Type::color), parameter("d", Type::color)});
    const auto block = fill(
        declared, {set("a", connection("ramp1.outColor")), set("b", connection("ramp1.outAlpha")),
                   set("c", connection("ramp1.odd")), set("d", connection("ramp1"))});
    ASSERT_EQ(block.connections.size(), 4u);
    EXPECT_EQ(block.connections[0].source, 5u);
    EXPECT_EQ(block.connections[0].source_offset, 0);
    EXPECT_EQ(block.connections[1].source_offset, 16);
    EXPECT_EQ(block.connections[1].source_type, miTYPE_SCALAR);
    EXPECT_EQ(block.connections[2].source, 6u);
    EXPECT_EQ(block.connections[3].source, 5u);
    EXPECT_EQ(block.connections[3].source_type, miTYPE_COLOR);
    EXPECT_THAT(findings, IsEmpty());
}

TEST_F(BlockTest, ImpossibleConversionOfAConnectionIsAnError) {
    add_shader("s", 5, declaration("plain", Type::color, {}));
    const auto block = fill(declaration("x", Type::color, {parameter("t", Type::string)}),
                            {set("t", connection("s"), 3)});
    EXPECT_THAT(block.connections, IsEmpty());
    EXPECT_THAT(findings, ElementsAre("shader \"x\": parameter \"t\" is a string and cannot take "
                                      "the color of \"s\""));
    EXPECT_GE(at<miTag>(block, 0), 1000u);
}

TEST_F(BlockTest, UnknownMemberOfAResultIsAnError) {
    scene::Declaration ramp = declaration("ramp", Type::structure, {});
    ramp.result_fields = {parameter("outColor", Type::color)};
    add_shader("ramp1", 5, ramp);
    fill(declaration("x", Type::color, {parameter("a", Type::color)}),
         {set("a", connection("ramp1.outAlpha"))}, {true, true});
    EXPECT_THAT(findings, ElementsAre(HasSubstr("the result of shader \"ramp1\" has no member "
                                                "\"outAlpha\"")));
}

TEST_F(BlockTest, InterfaceValueOutsideOfAPhenomenonIsAMistake) {
    fill(declaration("x", Type::color, {parameter("a", Type::color)}),
         {set("a", scene::Value{scene::Interface{"p"}})});
    EXPECT_THAT(findings, ElementsAre(HasSubstr("found an interface parameter")));
}
