// mib_texture_*, mib_color_mix.
#include "base_scene.h"

#include <gtest/gtest.h>

using namespace vx::test;

namespace {

// The colour that the shader "v", of any result, leaves at pixel (i, j) on a plane in z = -5.
// mib_opacity hands its input on.
Scene& render_value(Scene& s, const std::string& shaders) {
    render_base(s,
                shaders +
                    "\nmaterial \"m\" \"mib_opacity\" ( \"input\" = \"v\", \"opacity\" 1 1 1 "
                    "1 ) end material\n" +
                    plane("planeI", "m", -5),
                "\"planeI\"");
    return s;
}

void expect_value(const std::string& shaders, int i, int j, const V& expected,
                  double tolerance = 1e-5) {
    SCOPED_TRACE(shaders);
    Scene s;
    expect_color(render_value(s, shaders), i, j, expected, tolerance);
}

std::string vector_shader(const std::string& parameters) {
    return "shader \"v\" \"mib_texture_vector\" ( " + parameters + " )";
}

// The square is 150 wide, its texture coordinates run from 0 to 1.
V texture_coordinate(int i, int j) {
    const V p = meets(i, j, -5);
    return {(p.x + 75) / 150, (p.y + 75) / 150, 0};
}

TEST(TextureVector, SelectsTheVectorsOfTheHit) {
    const V p = meets(9, 2, -5);
    expect_value(vector_shader("\"select\" 0"), 9, 2, texture_coordinate(9, 2));
    expect_value(vector_shader("\"select\" -11"), 9, 2, texture_coordinate(9, 2));
    expect_value(vector_shader("\"select\" -1"), 9, 2, p);
    expect_value(vector_shader("\"select\" -2"), 9, 2, {0, 0, 1});
    expect_value(vector_shader("\"select\" -4"), 9, 2, view(9, 2));
    expect_value(vector_shader("\"select\" -10"), 9, 2, {9.5 / kWidth, 2.5 / kHeight, 0});
}

TEST(TextureVector, PointsInEverySpace) {
    const V p = meets(9, 2, -5);
    expect_value(vector_shader("\"select\" -1, \"selspace\" 1"), 9, 2, {p.x, p.y, 0});
    expect_value(vector_shader("\"select\" -1, \"selspace\" 2"), 9, 2, p);
    expect_value(vector_shader("\"select\" -1, \"selspace\" 3"), 9, 2, p);
    // Screen: x from -1 to 1, y likewise but for the aspect.
    expect_value(vector_shader("\"select\" -1, \"selspace\" 4"), 9, 2,
                 {2 * 9.5 / kWidth - 1, (2 * 2.5 / kHeight - 1) * kHeight / kWidth, -5});
}

TEST(TextureVector, CornersOfTheTriangle) {
    const auto corner = [](const char* vertex) {
        Scene s;
        return render_value(s, vector_shader(std::string("\"select\" 0, \"vertex\" ") + vertex))
            .frame.color(11, 0);
    };
    const miColor ca = corner("1"), cb = corner("2"), cc = corner("3");
    // Below the diagonal: the corners (0,0), (1,0), (1,1) of the texture.
    EXPECT_EQ(ca.r + cb.r + cc.r, 2);
    EXPECT_EQ(ca.g + cb.g + cc.g, 1);
}

TEST(TextureVector, MissingSpacesAreNull) {
    expect_value(vector_shader("\"select\" 1"), 5, 4, {0, 0, 0});
    expect_value(vector_shader("\"select\" 64"), 5, 4, {0, 0, 0});
    expect_value(vector_shader("\"select\" -5"), 5, 4, {0, 0, 0});
    expect_value(vector_shader("\"select\" -99"), 5, 4, {0, 0, 0});
}

TEST(TextureVector, Projections) {
    const V p = meets(9, 2, -5);
    const double r = std::sqrt(dot(p, p)), around = std::atan2(p.x, p.z) / (2 * M_PI) + 0.5;
    const auto projected = [](const char* n) {
        return vector_shader(std::string("\"select\" -1, \"project\" ") + n);
    };
    expect_value(projected("2"), 9, 2, {p.x, p.y, 0});
    expect_value(projected("3"), 9, 2, {p.x, p.z, 0});
    expect_value(projected("4"), 9, 2, {p.y, p.z, 0});
    expect_value(projected("5"), 9, 2, {around, std::asin(p.y / r) / M_PI + 0.5, 0});
    expect_value(projected("6"), 9, 2, {around, p.y, 0});
    const double d = std::acos(p.y / r) / M_PI;
    expect_value(projected("7"), 9, 2,
                 {0.5 + 0.5 * d * std::sin(2 * M_PI * around),
                  0.5 + 0.5 * d * std::cos(2 * M_PI * around), 0});
}

std::string remap(const std::string& parameters) {
    return "shader \"v\" \"mib_texture_remap\" ( " + parameters + " )";
}

TEST(TextureRemap, EachStepAndTheirOrder) {
    expect_value(remap("\"input\" 0.25 0.5 -3"), 5, 4, {0.25, 0.5, -3});
    expect_value(remap("\"input\" 1 2 3, \"transform\" 0 1 0 0 1 0 0 0 0 0 2 0 10 20 30 1"), 5, 4,
                 {12, 21, 36});
    expect_value(remap("\"input\" 0.75 0.75 0.5, \"repeat\" 3 0 2, \"offset\" 0 0.125 1"), 5, 4,
                 {2.25, 0.875, 2});
    expect_value(remap("\"input\" 0.75 0.6 -0.25, \"repeat\" 3 2 1, \"torus_x\" on, \"torus_y\" "
                       "on, \"torus_z\" on"),
                 5, 4, {0.25, 0.2, 0.75});
    // Tiles 1 and -1 run backwards, tile 2 forwards.
    expect_value(remap("\"input\" 1.25 2.25 -0.25, \"alt_x\" on, \"alt_y\" on, \"alt_z\" on, "
                       "\"torus_x\" on, \"torus_y\" on, \"torus_z\" on"),
                 5, 4, {0.75, 0.25, 0.25});
    expect_value(remap("\"input\" 0.2 0.5 0.9, \"min\" 0.25 0.25 0, \"max\" 0.75 0.75 0"), 5, 4,
                 {-1, 0.5, 0.9});
}

// Two by two pixels: red, green below; blue, white above.
const std::string kTexture =
    "color texture \"t\" [ 2 2 1 ] 'ff0000ff 00ff00ff 0000ffff ffffffff'\n";

std::string lookup(const std::string& coord) {
    return kTexture + "shader \"v\" \"mib_texture_lookup\" ( \"tex\" \"t\", \"coord\" " + coord +
           " )";
}

TEST(TextureLookup, FindsThePixelsFromTheLowerLeft) {
    expect_value(lookup("0.25 0.25 0"), 5, 4, {1, 0, 0});
    expect_value(lookup("0.75 0.25 0"), 5, 4, {0, 1, 0});
    expect_value(lookup("0.25 0.75 0"), 5, 4, {0, 0, 1});
    expect_value(lookup("0.5 0.25 0"), 5, 4, {0.5, 0.5, 0});
}

TEST(TextureLookup, OutsideAndWithoutATextureItIsTransparentBlack) {
    for (const char* const coord : {"1 0.5 0", "-0.1 0.5 0", "0.5 7 0"}) {
        Scene s;
        const miColor c = render_value(s, lookup(coord)).frame.color(5, 4);
        EXPECT_EQ(c.r + c.g + c.b + c.a, 0) << coord;
    }
    expect_value("shader \"v\" \"mib_texture_lookup\" ()", 5, 4, {0, 0, 0});
}

TEST(TextureLookup, ThroughTheWholeChain) {
    // The plane's coordinates, repeated. No pixel lies where two tiles meet.
    const std::string chain =
        kTexture + "shader \"tv\" \"mib_texture_vector\" ( \"select\" 0 )\n"
                   "shader \"tr\" \"mib_texture_remap\" ( \"input\" = \"tv\", \"repeat\" 29 29 1, "
                   "\"torus_x\" on, \"torus_y\" on )\n"
                   "shader \"v\" \"mib_texture_lookup\" ( \"tex\" \"t\", \"coord\" = \"tr\" )";
    const V pixels[2][2] = {{{1, 0, 0}, {0, 1, 0}}, {{0, 0, 1}, {1, 1, 1}}};
    Scene s;
    render_value(s, chain);
    for (int j = 0; j < kHeight; ++j)
        for (int i = 0; i < kWidth; ++i) {
            const V t = texture_coordinate(i, j);
            const double u = std::fmod(t.x * 29, 1.0), v = std::fmod(t.y * 29, 1.0);
            // Bilinear between pixel centres at 0.25 and 0.75, the border going on outside.
            const double x = std::clamp(u * 2 - 0.5, 0.0, 1.0);
            const double y = std::clamp(v * 2 - 0.5, 0.0, 1.0);
            const V low = pixels[0][0] * (1 - x) + pixels[0][1] * x;
            const V high = pixels[1][0] * (1 - x) + pixels[1][1] * x;
            expect_color(s, i, j, low * (1 - y) + high * y, 1e-4);
        }
}

TEST(TextureLookup2, RepeatsTheFirstTextureSpace) {
    const V t = texture_coordinate(10, 1);
    const double u = std::fmod(t.x * 40, 1.0), v = std::fmod(t.y * 40, 1.0);
    const double x = std::clamp(u * 2 - 0.5, 0.0, 1.0), y = std::clamp(v * 2 - 0.5, 0.0, 1.0);
    const V expected = V{1, 0, 0} * ((1 - x) * (1 - y)) + V{0, 1, 0} * (x * (1 - y)) +
                       V{0, 0, 1} * ((1 - x) * y) + V{1, 1, 1} * (x * y);
    expect_value(kTexture + "shader \"v\" \"mib_texture_lookup2\" ( \"tex\" \"t\", \"factor\" 40 )",
                 10, 1, expected, 1e-4);
}

TEST(TextureFilterLookup, LooksUpOnePoint) {
    expect_value(kTexture + "shader \"v\" \"mib_texture_filter_lookup\" ( \"tex\" \"t\", \"coord\" "
                            "0.25 0.75 0, \"eccmax\" 8, \"bilinear\" on )",
                 5, 4, {0, 0, 1});
}

std::string mix(const std::string& parameters) {
    return "shader \"v\" \"mib_color_mix\" ( " + parameters + ", \"color_base\" 0.5 0.25 1 1 )";
}

TEST(ColorMix, EachMode) {
    const std::string one = "\"num\" 1, \"weight_0\" 0.5, \"color_0\" 1 0.5 2 0.5, \"mode_0\" ";
    expect_value(mix(one + "0"), 5, 4, {0.5 * 0.75 + 0.5, 0.25 * 0.75 + 0.25, 0.75 + 1});
    expect_value(mix(one + "1"), 5, 4, {0.75, 0.375, 1.5});
    expect_value(mix(one + "2"), 5, 4, {1, 0.5, 2});
    expect_value(mix(one + "3"), 5, 4, {1, 0.5, 1});
    expect_value(mix(one + "4"), 5, 4, {0.25, 0.0625, 1});
    expect_value(mix("\"num\" 1, \"weight_0\" 2, \"color_0\" 4 1 1 1, \"mode_0\" 5"), 5, 4,
                 {1, 0.5, 1});
    Scene s;
    EXPECT_EQ(render_value(s, mix(one + "6")).frame.color(5, 4).a, 0.25f);
}

TEST(ColorMix, InputsWorkOnTheResultSoFarUpToTheirNumber) {
    expect_value(mix("\"num\" 2, \"mode_0\" 2, \"weight_0\" 1, \"color_0\" 1 1 1 0, \"mode_1\" 4, "
                     "\"weight_1\" 2, \"color_1\" 1 0.5 0.25 1, \"mode_2\" 2, \"weight_2\" 1, "
                     "\"color_2\" 9 9 9 9"),
                 5, 4, {3, 1.25, 1});
    expect_value(mix("\"num\" 0"), 5, 4, {0.5, 0.25, 1});
    expect_value(mix("\"num\" 99"), 5, 4, {0.5, 0.25, 1});
}

} // namespace
