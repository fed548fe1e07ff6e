#include "tests/scene/recorder.h"
#include "tests/scene/sample_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

std::string word(std::uint32_t w) {
    return {static_cast<char>(w >> 24), static_cast<char>(w >> 16), static_cast<char>(w >> 8),
            static_cast<char>(w)};
}
std::string word(float f) {
    return word(std::bit_cast<std::uint32_t>(f));
}

Mesh mesh(const std::string& body, const std::string& flags = "tagged on") {
    Reading r = read("object \"o\" " + flags + "\ntrilist " + body + "\nend trilist end object\n");
    EXPECT_TRUE(r.messages.empty()) << r.message();
    return r.scene.objects.count("o") ? r.scene.objects["o"].mesh.value_or(Mesh{}) : Mesh{};
}

std::string message(const std::string& body, const std::string& flags = "tagged on") {
    return read("object \"o\" " + flags + "\ntrilist " + body + " end trilist end object\n")
        .message();
}

const std::string kSlope = "vertex 3 p n t 2   triangle 1\n"
                           "[ -1 0 1   0 0.70711 0.70711   0 0\n"
                           "   1 0 1   0 0.70711 0.70711   1 0\n"
                           "   0 1 0   0 0.70711 0.70711   0.5 1 ]\n"
                           "[ 0   0 1 2 ]";

TEST(Trilist, TheTentsFrontSlopeIsTheSameInEveryForm) {
    const Mesh text = mesh(kSlope);
    const Mesh polygons = read(kTentObject).scene.objects.at("tent").mesh.value();
    std::string block;
    for (const float f : {-1.f, 0.f, 1.f, 0.f, 0.70711f, 0.70711f, 0.f,  0.f,
                          1.f,  0.f, 1.f, 0.f, 0.70711f, 0.70711f, 1.f,  0.f,
                          0.f,  1.f, 0.f, 0.f, 0.70711f, 0.70711f, 0.5f, 1.f})
        block += word(f);
    const Mesh binary = mesh("vertex 3 p n t 2 triangle 1 scalar `" + block + "` integer `" +
                             word(0u) + word(1u) + word(2u) + "` integer `" + word(0u) + "`");
    const Mesh indexed =
        mesh("vector [6] vertex [3] p n t triangle [1]\n[ -1 0 1 1 0 1 0 1 0 0 "
             "0.70711 0.70711 0 0 0 1 0 0 ]\n[ 0 3 4  1 3 5  2 3 4 ]\n[ 0 0 1 2 ]");
    for (const Mesh* m : {&text, &binary, &indexed}) {
        ASSERT_EQ(m->triangles.size(), 1u);
        for (std::size_t k = 0; k < 3; ++k) {
            const auto i = m->triangles[0][k], j = polygons.triangles[0][k];
            EXPECT_EQ(m->positions[i], polygons.positions[j]);
            EXPECT_EQ(m->normals[i], polygons.normals[j]);
        }
        EXPECT_THAT(m->triangle_material, ElementsAre(0));
    }
    EXPECT_EQ(text.textures.at(0), binary.textures.at(0));
    EXPECT_EQ(text.textures.at(0).at(2), (Vec3{0.5f, 1, 0}));
    EXPECT_EQ(indexed.textures.at(0).at(1), (Vec3{1, 0, 0}));
}

TEST(Trilist, NumbersPerLineFollowTheCodes) {
    // 3 + n 3 + d 6 + d2 9 + m 2*3 + b 2*3 + t 2+3 + u 1 = 39 numbers, here 1 to 39.
    std::string line;
    for (int i = 1; i <= 39; ++i)
        line += ' ' + std::to_string(i);
    const Mesh m =
        mesh("vertex 1 p n d d2 m 2 b 2 t 2 3 u 1 triangle 1 [" + line + " ] [ 5 0 0 0 ]");
    EXPECT_EQ(m.positions.at(0), (Vec3{1, 2, 3}));
    EXPECT_EQ(m.normals.at(0), (Vec3{4, 5, 6}));
    ASSERT_EQ(m.derivatives.size(), 5u);
    EXPECT_EQ(m.derivatives[1].at(0), (Vec3{10, 11, 12}));
    EXPECT_EQ(m.derivatives[4].at(0), (Vec3{19, 20, 21}));
    ASSERT_EQ(m.motion.size(), 2u);
    EXPECT_EQ(m.motion[1].at(0), (Vec3{25, 26, 27}));
    ASSERT_EQ(m.bump_x.size(), 1u);
    EXPECT_EQ(m.bump_x[0].at(0), (Vec3{28, 29, 30}));
    EXPECT_EQ(m.bump_y[0].at(0), (Vec3{31, 32, 33}));
    ASSERT_EQ(m.textures.size(), 2u);
    EXPECT_EQ(m.textures[0].at(0), (Vec3{34, 35, 0}));
    EXPECT_EQ(m.textures[1].at(0), (Vec3{36, 37, 38}));
    EXPECT_EQ(m.user.at(0).at(0), (Vec3{39, 0, 0}));
    EXPECT_THAT(m.triangle_material, ElementsAre(5));
}

TEST(Trilist, MissingNamesRepeatTheLastOne) {
    const Mesh m = mesh("vertex 3 p triangle 4 [ 0 0 0 1 0 0 0 1 0 ] [ 0 1 2 \"a\" 0 1 2 0 1 2 b 0 "
                        "1 2 ]",
                        "");
    EXPECT_THAT(m.triangle_material, ElementsAre(-1, 0, 0, 1));
    EXPECT_THAT(m.material_names, ElementsAre("a", "b"));
}

TEST(Trilist, BordersTopologyAndApproximationsAreSkipped) {
    const Reading r =
        read("object \"o\" tagged on trilist vertex 3 p triangle 1 border 1 data 0 0 "
             "[ 0 0 0 1 0 0 0 1 0 ] [ 0 0 1 2 ] border [ 0 0 1 2 ] topology [ 1 2 3 ] "
             "end trilist approximate trilist length 0.5 end object echo \"on\"");
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_EQ(r.scene.objects.at("o").mesh->triangles.size(), 1u);
    EXPECT_EQ(r.scene.echoes.size(), 1u);
}

TEST(Trilist, CountsThatPromiseTooMuchAllocateNothing) {
    EXPECT_EQ(message("vertex 2000000000 p triangle 1 [ 0 0 0 ] [ 0 0 0 0 ]"),
              "error: test.mi:2:48: expected a number, found ']'");
    EXPECT_EQ(message("vertex 2000000000 p triangle 2000000000 scalar `abcd`"),
              "error: test.mi:2:57: the binary block is too short for its count");
    EXPECT_EQ(message("vertex 1 p t 1000 1000000 triangle 1 [ 0 0 0 ]"),
              "error: test.mi:2:27: expected a count of at most 1024, found '1000000'");
}

TEST(Trilist, Errors) {
    EXPECT_EQ(message("vertex 3 p triangle 1 [ 0 0 0 1 0 0 0 1 0 9 ] [ 0 0 1 2 ]"),
              "error: test.mi:2:51: expected ']' after the last vertex, found '9'");
    EXPECT_EQ(message("vertex 3 p triangle 1 [ 0 0 0 1 0 0 0 1 0 ] [ 0 0 1 3 ]"),
              "error: test.mi:2:61: there is no vertex 3: the group has 3");
    EXPECT_EQ(message("vertex 1 p triangle 1 [ 0 0 0 ] [ \"m\" 0 0 0 ]"),
              "error: test.mi:2:43: expected the label of a polygon (the object is tagged), found "
              "\"m\"");
    EXPECT_EQ(message("vertex 1 p triangle 1 scalar `" + std::string(12, 'a') + "` integer `" +
                          std::string(12, '\0') + "` integer `" + std::string(4, '\0') + "`",
                      ""),
              "error: test.mi:2:53: only tagged objects may have binary triangles");
    EXPECT_EQ(message("vertex 1 p triangle 1 scalar `" + std::string(12, 'a') + "` integer `" +
                      word(0u) + word(0u) + word(7u) + "` integer `" + word(0u) + "`"),
              "error: test.mi:2:53: triangle 0 uses vertex 7 of 1");
    EXPECT_EQ(message("vector [1] vertex [1] p triangle [1] [ 0 0 0 ] [ 1 ] [ 0 0 0 0 ]"),
              "error: test.mi:2:58: there is no vector 1: the list has 1");
}

} // namespace
