#include "tests/scene/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

const std::string kTriangle = "group 0 0 0 1 0 0 0 1 0 v 0 v 1 v 2 p 0 1 2 end group ";

ObjectFlags flags(const std::string& text) {
    Reading r = read("object \"o\" " + text + " " + kTriangle + "end object\n");
    EXPECT_TRUE(r.messages.empty()) << text << ": " << r.message();
    return r.scene.objects["o"].flags;
}

TEST(Object, FlagsThatAreMissingAreOff) {
    const ObjectFlags f = flags("");
    EXPECT_FALSE(f.visible);
    EXPECT_EQ(f.shadow, 0);
    EXPECT_EQ(f.reflection, 0);
    EXPECT_EQ(f.transparency, 3);
    EXPECT_EQ(f.face, Face::both);
    EXPECT_TRUE(f.select);
    EXPECT_FALSE(f.tagged);
}

TEST(Object, BareFlagsBooleansAndBits) {
    EXPECT_TRUE(flags("visible").visible);
    EXPECT_FALSE(flags("visible off").visible);
    EXPECT_EQ(flags("shadow").shadow, 3);
    EXPECT_EQ(flags("shadow on").shadow, 3);
    EXPECT_EQ(flags("shadow off").shadow, 2);
    EXPECT_EQ(flags("shadow 1").shadow, 1);
    const ObjectFlags traced = flags("trace on");
    EXPECT_EQ(traced.reflection, 3);
    EXPECT_EQ(traced.refraction, 3);
    EXPECT_EQ(traced.finalgather, 3);
    EXPECT_EQ(flags("trace off").refraction, 2);
    EXPECT_EQ(flags("transparency 1").transparency, 1);
    EXPECT_EQ(flags("face front").face, Face::front);
}

TEST(Object, OtherFlagsAreReadAndLeftOut) {
    const Reading r = read("object \"o\" visible box 0 0 0 1 1 1 motion box max displace 1 ray "
                           "offset 0.1 samples 0 1 shading samples 2 volume group 1 hardware on "
                           "caustic 3 globillum on finalgather file \"x\" photonmap file \"y\" "
                           "select on tag 9 attribute \"a\" 1 transform 1 0 0 0 0 1 0 0 0 0 1 0 0 "
                           "0 0 1 " +
                           kTriangle + "end object\n");
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_EQ(r.scene.objects.at("o").label, 9u);
    EXPECT_TRUE(r.scene.objects.at("o").transform.has_value());
}

TEST(Object, AnUnsupportedBodyBetweenTwoOthersLeavesThemIntact) {
    // NOLINTBEGIN(bugprone-suspicious-missing-comma): one string on two lines
    const std::string hair = "hair material \"m\" radius 0.1 degree 1 hair n scalar [ 3 ] 1 2 3 "
                             "hair [ 2 ] 0 3 end hair";
    const std::vector<std::string> bodies{
        "basis \"b\" bezier 3 group 0 0 0 v 0 curve \"c\" \"b\" 0.0 1.0 0 end group",
        hair,
        "particle spheres radius 1 map \"x\" ( ) end map",
        "file \"elsewhere.mi\"",
        "intersection \"sh\" ( \"a\" 1 )",
        "group 0 0 0 v 0 subdivision surface \"s\" p 0 0 0 end subdivision surface end group",
        "group 0 0 0 v 0 ccmesh \"s\" polygon 1 vertex 1 p \"m\" 0 0 0 end ccmesh end "
        "group"};
    // NOLINTEND(bugprone-suspicious-missing-comma)
    for (const std::string& body : bodies) {
        const Reading r = read("object \"a\" " + kTriangle + "end object\nobject \"b\" " + body +
                               " end object\nobject \"c\" " + kTriangle + "end object\n");
        EXPECT_EQ(r.errors, 0u) << body << r.message();
        EXPECT_EQ(r.warnings, 1u) << body;
        EXPECT_EQ(r.scene.objects.at("c").mesh->triangles.size(), 1u) << body;
        EXPECT_TRUE(r.scene.objects.at("b").mesh.has_value());
    }
}

TEST(Object, BinaryHairIsSkippedByItsCounts) {
    // 3 floats, some bytes of which look like text that would end the object.
    const std::string bytes = "`\nend object\n`";
    const Reading r = read("object \"a\" hair degree 1 scalar [ 3 ] " + bytes +
                           " hair [ 1 ] 0 end hair end object\necho \"on\"\n");
    EXPECT_EQ(r.message(), "warning: test.mi:1:12: geometry 'hair' is not supported; ignored");
    EXPECT_THAT(r.scene.echoes, ElementsAre("on"));
}

TEST(Object, OneWarningPerKindOfBody) {
    std::string text;
    for (int i = 0; i < 5; ++i)
        text += "object \"h" + std::to_string(i) + "\" hair degree 1 end hair end object\n";
    EXPECT_EQ(read(text).warnings, 1u);
}

TEST(Object, AnIncrementalOneWithoutBodyKeepsItsGeometry) {
    const Reading r = read("object \"o\" visible on shadow 3 " + kTriangle +
                           "end object\nincremental object \"o\" visible off end object\n");
    EXPECT_TRUE(r.good) << r.message();
    const Object& o = r.scene.objects.at("o");
    EXPECT_FALSE(o.mesh.has_value());
    EXPECT_FALSE(o.flags.visible);
    EXPECT_EQ(o.flags.shadow, 3);
    const Reading moved =
        read("object \"o\" visible on " + kTriangle + "end object\nincremental object \"o\" " +
             kTriangle + "end object\n");
    EXPECT_TRUE(moved.scene.objects.at("o").mesh.has_value());
    EXPECT_TRUE(moved.scene.objects.at("o").flags.visible);
}

TEST(Object, ANonIncrementalOneWithoutBodyIsEmpty) {
    const Reading r = read("object \"o\" visible on end object\n");
    EXPECT_TRUE(r.scene.objects.at("o").mesh.has_value());
}

TEST(Object, SeveralGroupsAreOneMesh) {
    const Reading r = read("object \"o\" group 0 0 0 1 0 0 0 1 0 0 0 1 v 0 v 1 v 2 p 0 1 2 end "
                           "group group \"g\" merge 0.1 5 5 5 6 5 5 5 6 5 0 0 1 v 0 n 3 t 1 v 1 n "
                           "3 t 1 v 2 n 3 t 1 p 2 1 0 end group end object");
    EXPECT_TRUE(r.good) << r.message();
    const Mesh& mesh = r.scene.objects.at("o").mesh.value();
    EXPECT_EQ(mesh.positions.size(), 6u);
    ASSERT_EQ(mesh.normals.size(), 6u);
    EXPECT_EQ(mesh.normals[2], (Vec3{}));
    EXPECT_EQ(mesh.normals[3], (Vec3{0, 0, 1}));
    EXPECT_EQ(mesh.textures.at(0).size(), 6u);
    EXPECT_THAT(mesh.triangles.at(1), ElementsAre(5u, 4u, 3u));
}

TEST(Object, WithoutANameItIsAWarning) {
    const Reading r = read("object visible on " + kTriangle + "end object\n");
    EXPECT_EQ(r.message(), "warning: test.mi:1:1: ignoring an object without a name");
}

TEST(Object, Errors) {
    EXPECT_EQ(read("object \"o\" sphere 1 end object").message(),
              "error: test.mi:1:12: expected a body of the object or 'end object', found 'sphere'");
    EXPECT_EQ(read("object \"o\" hair ").messages.back(),
              "error: test.mi:1:17: expected 'end object', found the end of the file");
}

} // namespace
