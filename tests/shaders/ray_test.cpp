// Shaders that send rays, and wrappers of materials.
#include "base_scene.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace vx::test;

namespace {

std::string constant(const std::string& name, const std::string& color) {
    return "material \"" + name + "\" \"t_constant\" ( \"color\" " + color + " ) end material\n";
}

// A wall behind the camera in the plane z = 4 (seen by rays that come back from a mirror).
std::string wall(const std::string& material) {
    return "instance \"wallI\" \"plane\" material \"" + material +
           "\" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -4 1 end instance\n";
}

TEST(Reflect, MixesTheMirroredRayChannelByChannel) {
    Scene s;
    render_base(s,
                constant("green", "0.5 1 0 1") +
                    "material \"m\" \"mib_reflect\" ( \"input\" 1 0 0.25 1, \"reflect\" 0.5 0.25 1 "
                    "0.5 ) end material\n" +
                    plane("mirrorI", "m", -5) + wall("green"),
                "\"mirrorI\" \"wallI\"");
    for (const int i : {0, 5, 11})
        expect_color(s, i, 4, {0.75, 0.25, 0});
}

TEST(Reflect, SeesTheMirroredPoint) {
    Scene s;
    render_base(s,
                "material \"p\" \"t_position\" () end material\n"
                "material \"m\" \"mib_reflect\" ( \"reflect\" 1 1 1 1 ) end material\n" +
                    plane("mirrorI", "m", -5) + wall("p"),
                "\"mirrorI\" \"wallI\"");
    for (int j = 0; j < kHeight; ++j)
        for (int i = 0; i < kWidth; ++i) {
            const V d = view(i, j);
            const V hit = meets(i, j, -5);
            const V back = {d.x, d.y, -d.z};
            expect_color(s, i, j, hit + back * (9 / back.z), 4e-5);
        }
}

TEST(Reflect, TransparentBlackCastsNoRayAndNotraceAsksTheEnvironment) {
    const std::string environment = "environment \"t_constant\" ( \"color\" 0 0 1 1 )";
    {
        Scene dull;
        render_base(dull,
                    constant("green", "0 1 0 1") +
                        "material \"m\" \"mib_reflect\" ( \"input\" 1 0.5 0.25 1 ) end material\n" +
                        plane("mirrorI", "m", -5) + wall("green"),
                    "\"mirrorI\" \"wallI\"");
        expect_color(dull, 5, 4, {1, 0.5, 0.25});
    }
    Scene sky;
    render_base(sky,
                constant("green", "0 1 0 1") +
                    "material \"m\" \"mib_reflect\" ( \"reflect\" 1 1 1 1, \"notrace\" on ) end "
                    "material\n" +
                    plane("mirrorI", "m", -5) + wall("green"),
                "\"mirrorI\" \"wallI\"", environment);
    expect_color(sky, 5, 4, {0, 0, 1});
}

TEST(Refract, BendsBySnellsLaw) {
    constexpr double kIor = 1.5;
    Scene s;
    render_base(s,
                "material \"p\" \"t_position\" () end material\n"
                "material \"m\" \"mib_refract\" ( \"refract\" 1 1 1 1, \"ior\" 1.5 ) end "
                "material\n" +
                    plane("glassI", "m", -5) + plane("floorI", "p", -8),
                "\"glassI\" \"floorI\"");
    for (int j = 0; j < kHeight; ++j)
        for (int i = 0; i < kWidth; ++i) {
            const V d = view(i, j);
            const V in = meets(i, j, -5);
            // The part along the surface shrinks by the index.
            const V bent = {d.x / kIor, d.y / kIor,
                            -std::sqrt(1 - (d.x * d.x + d.y * d.y) / (kIor * kIor))};
            expect_color(s, i, j, in + bent * (-3 / bent.z), 4e-5);
        }
}

// The camera is inside the glass: the surface shows its back, and flat angles are mirrored.
TEST(Refract, LeavesTheMediumBackwardsAndMirrorsTotally) {
    constexpr double kIor = 1.5;
    Scene s;
    render_base(s,
                "material \"p\" \"t_position\" () end material\n"
                "material \"m\" \"mib_refract\" ( \"refract\" 1 1 1 1, \"ior\" 1.5 ) end "
                "material\n"
                // turned about y by half a turn: its front looks away from the camera
                "instance \"glassI\" \"plane\" material \"m\" transform -1 0 0 0 0 1 0 0 0 0 -1 0 "
                "0 0 -5 1 end instance\n" +
                    plane("floorI", "p", -8) + wall("p"),
                "\"glassI\" \"floorI\" \"wallI\"");
    int bent_rays = 0, mirrored_rays = 0;
    for (int j = 0; j < kHeight; ++j)
        for (int i = 0; i < kWidth; ++i) {
            const V d = view(i, j);
            const V in = meets(i, j, -5);
            const double along2 = (d.x * d.x + d.y * d.y) * kIor * kIor;
            if (along2 < 0.95) {
                const V bent = {d.x * kIor, d.y * kIor, -std::sqrt(1 - along2)};
                expect_color(s, i, j, in + bent * (-3 / bent.z), 2e-4);
                ++bent_rays;
            } else if (along2 > 1.0) {
                expect_color(s, i, j, in + V{d.x, d.y, -d.z} * (9 / -d.z), 4e-5);
                ++mirrored_rays;
            }
        }
    EXPECT_GT(bent_rays, 10);
    EXPECT_GT(mirrored_rays, 10);
}

TEST(Refract, AnIndexOfOneOrNoneDoesNotBend) {
    for (const char* const ior : {"", ", \"ior\" 1", ", \"ior\" -2"}) {
        Scene s;
        render_base(s,
                    "material \"p\" \"t_position\" () end material\nmaterial \"m\" "
                    "\"mib_refract\" ( \"refract\" 1 1 1 1" +
                        std::string(ior) + " ) end material\n" + plane("glassI", "m", -5) +
                        plane("floorI", "p", -8),
                    "\"glassI\" \"floorI\"");
        expect_color(s, 2, 3, meets(2, 3, -8), 2e-5);
    }
}

TEST(TransparencyAndOpacity, AreComplements) {
    for (const bool opacity : {false, true}) {
        Scene s;
        render_base(s,
                    constant("green", "0 1 0.5 1") +
                        (opacity ? "material \"m\" \"mib_opacity\" ( \"input\" 1 0 0.5 1, "
                                   "\"opacity\" 0.75 0.5 0 0.25 ) end material\n"
                                 : "material \"m\" \"mib_transparency\" ( \"input\" 1 0 0.5 1, "
                                   "\"transp\" 0.25 0.5 1 0.75 ) end material\n") +
                        plane("paneI", "m", -5) + plane("floorI", "green", -8),
                    "\"paneI\" \"floorI\"");
        expect_color(s, 5, 4, {0.75, 0.5, 0.5});
    }
}

TEST(TransparencyAndOpacity, RaysThatFailSeeTheEnvironment) {
    Scene s;
    render_base(s,
                "material \"m\" \"mib_transparency\" ( \"transp\" 1 1 1 1 ) end material\n" +
                    plane("paneI", "m", -5),
                "\"paneI\"", "environment \"t_constant\" ( \"color\" 0.25 0.5 1 1 )");
    expect_color(s, 5, 4, {0.25, 0.5, 1});
}

TEST(SetNormal, ItsInputSeesTheOtherNormal) {
    // A light at the camera, the normal tilted; one that points away is turned to the ray.
    for (const char* const normal : {"0.6 0 0.8", "-1.2 0 -1.6"}) {
        Scene s;
        render_base(s,
                    point_light("lamp", {0, 0, 0}, {1, 1, 1}) +
                        "shader \"l\" \"mib_illum_lambert\" ( \"diffuse\" 1 1 1 )\nmaterial \"m\" "
                        "\"sib_setnormal\" ( \"input\" = \"l\", \"normal\" " +
                        normal + " ) end material\n" + plane("planeI", "m", -5),
                    "\"lampI\" \"planeI\"");
        for (const int i : {3, 6, 8}) {
            const double cosine = -dot(view(i, 4), {0.6, 0, 0.8});
            expect_color(s, i, 4, {cosine, cosine, cosine});
        }
    }
}

TEST(SetNormal, ANullVectorLeavesTheNormalAlone) {
    Scene s;
    render_base(s,
                point_light("lamp", {0, 0, 0}, {1, 1, 1}) +
                    "shader \"l\" \"mib_illum_lambert\" ( \"diffuse\" 1 1 1 )\nmaterial \"m\" "
                    "\"sib_setnormal\" ( \"input\" = \"l\" ) end material\n" +
                    plane("planeI", "m", -5),
                "\"lampI\" \"planeI\"");
    const double cosine = -view(2, 2).z;
    expect_color(s, 2, 2, {cosine, cosine, cosine});
}

TEST(ShadingEngine, BothNamesReturnTheSurfaceShader) {
    for (const char* const name : {"adskMayaShadingEngine", "maya_shadingengine"}) {
        Scene s;
        render_base(s,
                    "shader \"c\" \"t_constant\" ( \"color\" 0.5 0.25 1 0.5 )\nmaterial \"m\" \"" +
                        std::string(name) + "\" ( \"surfaceShader\" = \"c\" ) end material\n" +
                        plane("p", "m", -5),
                    "\"p\"");
        expect_color(s, 5, 4, {0.5, 0.25, 1});
        EXPECT_EQ(s.frame.color(5, 4).a, 0.5f);
    }
}

TEST(ShadingEngine, SurfacesBelowTheCutAwayOpacityAreHoles) {
    for (const float cut : {0.4f, 0.6f}) {
        Scene s;
        render_base(s,
                    constant("green", "0 1 0 1") +
                        fmt::format("shader \"c\" \"t_constant\" ( \"color\" 1 0 0 0.5 )\nmaterial "
                                    "\"m\" \"adskMayaShadingEngine\" ( \"surfaceShader\" = \"c\", "
                                    "\"cutAwayOpacity\" {} ) end material\n",
                                    cut) +
                        plane("p", "m", -5) + plane("q", "green", -8),
                    "\"p\" \"q\"");
        expect_color(s, 5, 4, cut < 0.5f ? V{1, 0, 0} : V{0, 1, 0});
    }
}

TEST(RaySwitch, EachKindOfRaySeesItsColor) {
    const std::string switching =
        "material \"s\" \"mip_rayswitch\" ( \"eye\" 1 0 0 1, \"transparent\" 0 1 0 1, "
        "\"reflection\" 0 0 1 1, \"refraction\" 1 1 0 1, \"environment\" 0 1 1 1, \"default\" 1 1 "
        "1 "
        "1 ) end material\n";
    const auto seen = [&](const std::string& material, const V& expected) {
        SCOPED_TRACE(material);
        Scene s;
        render_base(s,
                    switching + "material \"m\" " + material + " end material\n" +
                        plane("p", "m", -5) + plane("q", "s", -8) + wall("s"),
                    "\"p\" \"q\" \"wallI\"");
        expect_color(s, 5, 4, expected);
    };
    seen("\"mip_rayswitch\" ( \"eye\" 1 0 0 1 )", {1, 0, 0});
    seen("\"mib_transparency\" ( \"transp\" 1 1 1 1 )", {0, 1, 0});
    seen("\"mib_reflect\" ( \"reflect\" 1 1 1 1 )", {0, 0, 1});
    seen("\"mib_refract\" ( \"refract\" 1 1 1 1, \"ior\" 1.2 )", {1, 1, 0});
    Scene sky;
    render_base(sky, "", "",
                "environment \"mip_rayswitch\" ( \"environment\" 0 1 1 1, \"eye\" 1 0 "
                "0 1 )");
    // An eye ray that leaves the scene is an eye ray still.
    expect_color(sky, 5, 4, {1, 0, 0});
}

} // namespace
