#include "tests/scene/recorder.h"

#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

Light light(const std::string& items) {
    Reading r = read("light \"l\"\n\"s\" ()\n" + items + "\nend light\n");
    EXPECT_TRUE(r.messages.empty()) << items << ": " << r.message();
    return r.scene.lights["l"];
}

TEST(Light, TheSixRowsOfItsKinds) {
    EXPECT_EQ(light("").kind(), LightKind::point);
    EXPECT_EQ(light("spread 0.5").kind(), LightKind::point);
    EXPECT_EQ(light("origin 0 0 0").kind(), LightKind::point);
    EXPECT_EQ(light("origin 0 0 0 spread 0.5").kind(), LightKind::point);
    EXPECT_EQ(light("direction 0 0 -1").kind(), LightKind::directional);
    EXPECT_EQ(light("direction 0 0 -1 spread 0.5").kind(), LightKind::directional);
    EXPECT_EQ(light("origin 0 0 0 direction 0 0 -1").kind(), LightKind::directional);
    EXPECT_EQ(light("origin 0 0 0 direction 0 0 -1 spread 0.5").kind(), LightKind::spot);
}

TEST(Light, TheDirectionIsNormalized) {
    const Light l = light("direction 0 3 4");
    EXPECT_FLOAT_EQ(l.direction->y, 0.6f);
    EXPECT_FLOAT_EQ(l.direction->z, 0.8f);
    EXPECT_EQ(read("light \"l\" direction 0 0 0 end light").message(),
              "error: test.mi:1:21: the direction of a light must not be a null vector");
}

TEST(Light, RepeatedShadersAreAList) {
    EXPECT_EQ(light("\"t\" () = shader \"named\" \"u\" ()").shaders.size(), 3u);
}

TEST(Light, OtherItems) {
    const Light l = light("visible tag 4000000000 energy 1 2 3 exponent 1.5 caustic photons 10 "
                          "globillum photons 1 2 photons only on emitter \"e\" () shadowmap on "
                          "shadowmap resolution 256 shadowmap softness 0.1 shadowmap window 1 2 3 "
                          "4 shadowmap filter gauss 1 shadowmap file \"x\" attribute \"a\" 1");
    EXPECT_TRUE(l.visible);
    EXPECT_EQ(l.label, 4000000000u);
    EXPECT_EQ(l.energy, (Color{1, 2, 3, 1}));
    EXPECT_EQ(l.exponent, 1.5f);
    EXPECT_EQ(l.emitter.size(), 1u);
}

TEST(Light, AreaShapesAreKeptWithAWarning) {
    const Reading r = read("light \"l\" \"s\" () rectangle 1 0 0 0 1 0 4 end light\n"
                           "light \"m\" \"s\" () disc 0 0 1 2.5 4 5 end light\n");
    EXPECT_EQ(r.message(),
              "warning: test.mi:1:28: area lights are not supported; using point lights instead");
    EXPECT_EQ(r.scene.lights.at("l").area.kind, AreaKind::rectangle);
    EXPECT_EQ(r.scene.lights.at("l").area.samples_u, 4);
    EXPECT_EQ(r.scene.lights.at("l").area.samples_v, 1);
    EXPECT_EQ(r.scene.lights.at("m").area.radius, 2.5f);
}

TEST(Light, ABareShapeTurnsItBackIntoAPoint) {
    const Reading r = read("light \"l\" \"s\" () sphere 1 end light\n"
                           "incremental light \"l\" sphere end light\n");
    EXPECT_EQ(r.scene.lights.at("l").area.kind, AreaKind::none);
}

TEST(Light, IncrementalShadersTakeThePlaceOfTheOnesBefore) {
    const Reading r = read("light \"l\" \"a\" () origin 1 2 3 end light\n"
                           "incremental light \"l\" \"b\" () end light\n");
    const Light& l = r.scene.lights.at("l");
    ASSERT_EQ(l.shaders.size(), 1u);
    EXPECT_EQ(std::get<ShaderCall>(l.shaders[0]).declaration, "b");
    EXPECT_EQ(l.origin.value(), (Vec3{1, 2, 3}));
}

} // namespace
