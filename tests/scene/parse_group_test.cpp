#include "tests/scene/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

Mesh mesh(const std::string& body, const std::string& flags = "") {
    Reading r = read("object \"o\" " + flags + " group\n" + body + "\nend group end object\n");
    EXPECT_TRUE(r.messages.empty()) << body << ": " << r.message();
    return r.scene.objects.count("o") ? r.scene.objects["o"].mesh.value_or(Mesh{}) : Mesh{};
}

std::string message(const std::string& body, const std::string& flags = "") {
    return read("object \"o\" " + flags + "\ngroup " + body + " end group end object\n").message();
}

const std::string kFour = "0 0 0 1 0 0 1 1 0 0 1 0 v 0 v 1 v 2 v 3 ";

TEST(Group, VerticesPickTheirVectorsByLetter) {
    const Mesh m =
        mesh("0 0 0  1 0 0  0 1 0  0 0 1  0.25 0.75 0  9 9 9  7 7 7\n"
             "v 0 n 3 d 1 2 t 4 1 2 t 5 m 6 u 5 u 6  v 1 n 3 d 1 2 t 4 1 2 t 5 m 6 u 5 u "
             "6  v 2 n 3 d 1 2 t 4 1 2 t 5 m 6 u 5 u 6 p 0 1 2");
    EXPECT_EQ(m.positions.at(1), (Vec3{1, 0, 0}));
    EXPECT_EQ(m.normals.at(2), (Vec3{0, 0, 1}));
    ASSERT_EQ(m.textures.size(), 2u);
    EXPECT_EQ(m.textures[0].at(0), (Vec3{0.25f, 0.75f, 0}));
    EXPECT_EQ(m.textures[1].at(0), (Vec3{9, 9, 9}));
    ASSERT_EQ(m.bump_x.size(), 1u);
    EXPECT_EQ(m.bump_x[0].at(0), (Vec3{1, 0, 0}));
    EXPECT_EQ(m.bump_y[0].at(0), (Vec3{0, 1, 0}));
    EXPECT_EQ(m.motion.at(0).at(0), (Vec3{7, 7, 7}));
    ASSERT_EQ(m.user.size(), 2u);
    ASSERT_EQ(m.derivatives.size(), 2u);
    EXPECT_EQ(m.derivatives[1].at(0), (Vec3{0, 1, 0}));
}

TEST(Group, VerticesThatLackALetterGetNullVectors) {
    const Mesh m = mesh("0 0 0 0 0 1 v 0 v 0 n 1 v 0 p 0 1 2");
    ASSERT_EQ(m.normals.size(), 3u);
    EXPECT_EQ(m.normals[0], (Vec3{}));
    EXPECT_EQ(m.normals[1], (Vec3{0, 0, 1}));
    EXPECT_EQ(m.normals[2], (Vec3{}));
}

TEST(Group, ConvexPolygonsAreFans) {
    const Mesh m = mesh(kFour + "c 0 1 2 3");
    EXPECT_THAT(m.triangles, ElementsAre(ElementsAre(0u, 1u, 2u), ElementsAre(0u, 2u, 3u)));
    EXPECT_EQ(mesh(kFour + "cp 0 1 2 3").triangles, m.triangles);
    EXPECT_EQ(mesh(kFour + "fan 0 1 2 3").triangles, m.triangles);
}

TEST(Group, StripsTurnEverySecondTriangle) {
    EXPECT_THAT(mesh(kFour + "strip 0 1 3 2").triangles,
                ElementsAre(ElementsAre(0u, 1u, 3u), ElementsAre(3u, 1u, 2u)));
}

TEST(Group, HolesAreCutOut) {
    const Mesh m = mesh("0 0 0 9 0 0 9 9 0 0 9 0 3 3 0 6 3 0 6 6 0 3 6 0 v 0 v 1 v 2 v 3 v 4 v 5 v "
                        "6 v 7 p 0 1 2 3 hole 4 5 6 7");
    EXPECT_EQ(m.source_polygons, 1u);
    double area = 0;
    for (const auto& t : m.triangles) {
        const Vec3 a = m.positions[t[0]], b = m.positions[t[1]], c = m.positions[t[2]];
        const double part = ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x)) / 2;
        EXPECT_GE(part, 0);
        area += part;
    }
    EXPECT_NEAR(area, 72, 1e-4);
}

TEST(Group, MaterialNamesCarryOverToPolygonsWithout) {
    const Mesh m =
        mesh(kFour + "c 0 1 2 c \"a\" 0 1 2 c 1 2 3 p \"b\" 0 1 2 3 p plain 0 1 2 p \"a\" "
                     "0 1 2");
    EXPECT_THAT(m.triangle_material, ElementsAre(-1, 0, 0, 1, 1, 2, 0));
    EXPECT_THAT(m.material_names, ElementsAre("a", "b", "plain"));
}

TEST(Group, TaggedObjectsTakeTheFirstIntegerAsLabel) {
    const Mesh m = mesh(kFour + "c 7 0 1 2 p -1 0 1 2 3", "tagged on");
    EXPECT_THAT(m.triangle_material, ElementsAre(7, -1, -1));
    EXPECT_TRUE(m.material_names.empty());
}

TEST(Group, TaggedAndNamedVersionsHaveTheSameTriangles) {
    const Mesh tagged = mesh(kFour + "c 0 0 1 2 c 1 0 2 3", "tagged");
    const Mesh named = mesh(kFour + "c \"m0\" 0 1 2 c \"m1\" 0 2 3");
    EXPECT_EQ(tagged.triangles, named.triangles);
    EXPECT_EQ(tagged.positions, named.positions);
    EXPECT_EQ(tagged.triangle_material, named.triangle_material);
}

TEST(Group, BinaryVectorsMixWithText) {
    const auto word = [](std::uint32_t w) {
        return std::string{static_cast<char>(w >> 24), static_cast<char>(w >> 16),
                           static_cast<char>(w >> 8), static_cast<char>(w)};
    };
    // 1.0, about -2.5 and 0.1 as big-endian words; the second one contains a line feed.
    const std::string block = '`' + word(0x3f800000) + word(0xc020000a) + word(0x3dcccccd) + '`';
    const Mesh m =
        mesh("0 0 0 " + block + " 1 1 0\n" + block + block + " v 0 v 1 v 2 v 3 v 4 p 0 1 2");
    ASSERT_EQ(m.positions.size(), 5u);
    EXPECT_EQ(m.positions[1].x, 1);
    EXPECT_EQ(m.positions[1].y, -2.5f - 10 * 0x1p-22f);
    EXPECT_EQ(m.positions[1].z, 0.1f);
    EXPECT_EQ(m.positions[4], m.positions[1]);
}

TEST(Group, NumbersInAnySpelling) {
    const Mesh m = mesh("1 +2 -3  1. .5 -.5  1e1 1E-1 +1.5e+1 v 0 v 1 v 2 p 0 1 2");
    EXPECT_EQ(m.positions[0], (Vec3{1, 2, -3}));
    EXPECT_EQ(m.positions[1], (Vec3{1, 0.5f, -0.5f}));
    EXPECT_EQ(m.positions[2], (Vec3{10, 0.1f, 15}));
}

TEST(Group, ApproximationsAndVertexFlagsAreSkipped) {
    const Mesh m = mesh("0 0 0 v 0 cusp level 2 v 0 dart v 0 corner v 0 conic level 1\n"
                        "p 0 1 2 approximate length 0.5 0 3 visible approximate displace fine view "
                        "sharp 0.2 1 2 p 1 2 3");
    EXPECT_EQ(m.source_polygons, 2u);
    EXPECT_EQ(m.source_vertices, 4u);
}

TEST(Group, SmallPolygonsAreLeftOutWithOneWarning) {
    const Reading r =
        read("object \"o\" group " + kFour + "p 0 1 c 2 p 0 1 2 end group end object");
    EXPECT_EQ(r.message(),
              "warning: test.mi:1:58: polygons with fewer than three corners are ignored");
    EXPECT_EQ(r.scene.objects.at("o").mesh->triangles.size(), 1u);
}

TEST(Group, Errors) {
    EXPECT_EQ(message("0 0 0 v 1"), "error: test.mi:2:15: there is no vector 1: the group has 1");
    EXPECT_EQ(message("0 0 0 v -1"), "error: test.mi:2:15: there is no vector -1: the group has 1");
    EXPECT_EQ(message("0 0 0 v 0 v 0 v 0 p 0 1 3"),
              "error: test.mi:2:31: there is no vertex 3: the group has 3");
    EXPECT_EQ(message("0 0 v 0"), "error: test.mi:2:11: expected a number, found 'v'");
    EXPECT_EQ(message("0 0 0 v x"), "error: test.mi:2:15: expected an integer, found 'x'");
    EXPECT_EQ(message("0 0 0 v 0.5"), "error: test.mi:2:15: expected an integer, found '0.5'");
    EXPECT_EQ(message("0 0 0 v 0 n 0 n 0"),
              "error: test.mi:2:23: the vertex already has a vector of this kind");
    EXPECT_EQ(message("0 0 0 v 0 d 0"),
              "error: test.mi:2:21: expected two, three or five derivatives, found 'end'");
    EXPECT_EQ(message("0 0 0 v 0 c \"m\" 0 0 0", "tagged on"),
              "error: test.mi:2:19: expected the label of a polygon (the object is tagged), found "
              "\"m\"");
    EXPECT_EQ(message("0 0 0 v 0 mesh"),
              "error: test.mi:2:17: expected a vector, a vertex, a polygon or 'end group', found "
              "'mesh'");
    EXPECT_EQ(message("`short"), "error: test.mi:2:8: the binary block is not 12 bytes long");
    EXPECT_EQ(message("0 0 1e99"), "error: test.mi:2:11: the number is too large");
}

} // namespace
