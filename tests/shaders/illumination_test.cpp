// mib_illum_* and their light lists.
#include "base_scene.h"

#include <gtest/gtest.h>

using namespace vx::test;

namespace {

const V kLampPlace = {1, 2, -2}, kLampColor = {2, 1, 0.5};

// Light and cosine at p on a plane that faces the camera.
struct Lit {
    V to_light;
    double cosine;
};
Lit lit(const V& p, const V& place = kLampPlace) {
    const V to_light = unit(place - p);
    return {to_light, to_light.z};
}

template <class Expected>
void expect_picture(const std::string& material, const std::string& lights,
                    const std::string& members, Expected&& expected, double tolerance = 4e-6) {
    Scene s;
    render_base(s,
                lights + "material \"m\" opaque " + material + " end material\n" +
                    plane("planeI", "m", -5),
                members + " \"planeI\"");
    for (int j = 0; j < kHeight; ++j)
        for (int i = 0; i < kWidth; ++i) {
            expect_color(s, i, j, expected(view(i, j), meets(i, j, -5)), tolerance);
            EXPECT_EQ(s.frame.color(i, j).a, 1.0f);
        }
}

const std::string kLamp = point_light("lamp", kLampPlace, kLampColor);

TEST(Lambert, FollowsItsFormula) {
    expect_picture("\"mib_illum_lambert\" ( \"ambience\" 0.5 1 2, \"ambient\" 0.1 0.2 0.3, "
                   "\"diffuse\" 0.7 0.3 0.2 )",
                   kLamp, "\"lampI\"", [](const V&, const V& p) {
                       return V{0.05, 0.2, 0.6} + kLampColor * V{0.7, 0.3, 0.2} * lit(p).cosine;
                   });
}

TEST(Lambert, LightsAddUp) {
    const V other = {-3, 0, -4};
    expect_picture("\"mib_illum_lambert\" ( \"diffuse\" 1 1 1 )",
                   kLamp + point_light("two", other, {0, 0, 3}), "\"lampI\" \"twoI\"",
                   [&](const V&, const V& p) {
                       return kLampColor * lit(p).cosine + V{0, 0, 3} * lit(p, other).cosine;
                   });
}

TEST(Phong, FollowsItsFormula) {
    expect_picture(
        "\"mib_illum_phong\" ( \"ambience\" 1 1 1, \"ambient\" 0.1 0 0, \"diffuse\" 0.5 "
        "0.5 0.5, \"specular\" 0.25 0.5 1, \"exponent\" 8.5 )",
        kLamp, "\"lampI\"",
        [](const V& d, const V& p) {
            const Lit l = lit(p);
            const V mirror = {d.x, d.y, -d.z};
            const double shine = std::pow(std::max(0.0, dot(mirror, l.to_light)), 8.5);
            return V{0.1, 0, 0} +
                   kLampColor * (V{0.5, 0.5, 0.5} * l.cosine + V{0.25, 0.5, 1} * shine);
        },
        2e-5);
}

TEST(Blinn, FollowsItsFormula) {
    constexpr double kM = 0.4, kIor = 1.6;
    expect_picture(
        "\"mib_illum_blinn\" ( \"diffuse\" 0.5 0.5 0.5, \"specular\" 3 2 1, \"roughness\" 0.4, "
        "\"ior\" 1.6 )",
        kLamp, "\"lampI\"",
        [](const V& d, const V& p) {
            const Lit l = lit(p);
            const V v = d * -1;
            const V h = unit(l.to_light + v);
            const double nh = h.z, nv = v.z, vh = dot(v, h);
            const double distribution = std::pow(kM * kM / (nh * nh * (kM * kM - 1) + 1), 2);
            const double shadowing = std::min({1.0, 2 * nh * nv / vh, 2 * nh * l.cosine / vh});
            const double inside = std::sqrt(1 - (1 - vh * vh) / (kIor * kIor));
            const double s = (vh - kIor * inside) / (vh + kIor * inside);
            const double t = (inside - kIor * vh) / (inside + kIor * vh);
            const double shine = distribution * shadowing * (s * s + t * t) / 2 / nv;
            return kLampColor * (V{0.5, 0.5, 0.5} * l.cosine + V{3, 2, 1} * shine);
        },
        2e-5);
}

// Three lights of red, green and blue, the last two in a group; which of them count?
TEST(LightLists, EachModeTakesItsLights) {
    const V place = {0, 0, 0};
    const std::string lights = point_light("r", place, {1, 0, 0}) +
                               point_light("g", place, {0, 1, 0}) +
                               point_light("b", place, {0, 0, 1}) +
                               "instgroup \"gb\" \"gI\" \"bI\" end instgroup\n"
                               "instance \"gbI\" \"gb\" end instance\n";
    struct Row {
        const char* list;
        const char* items; // of the instance
        V seen;
    };
    const Row rows[] = {{"\"mode\" 0, \"lights\" [ \"rI\" ]", "", {1, 0, 0}},
                        {"\"mode\" 0, \"lights\" [ ]", "", {1, 1, 1}},
                        {"\"mode\" 0", "light [ \"bI\" ]", {0, 0, 1}},
                        {"\"mode\" 0, \"lights\" [ \"rI\" ]", "light [ \"bI\" ]", {1, 0, 0}},
                        {"\"mode\" 1, \"lights\" [ \"gbI\" ]", "", {0, 1, 1}},
                        {"\"mode\" 1, \"lights\" [ \"rI\", \"bI\" ]", "", {1, 0, 1}},
                        {"\"mode\" 1, \"lights\" [ ]", "", {0, 0, 0}},
                        {"\"mode\" 2, \"lights\" [ \"rI\" ]", "", {0, 1, 1}},
                        {"\"mode\" 2, \"lights\" [ \"gbI\" ]", "", {1, 0, 0}},
                        {"\"mode\" 2, \"lights\" [ ]", "", {1, 1, 1}},
                        {"\"mode\" 4, \"lights\" [ \"rI\" ]", "", {1, 1, 1}},
                        {"\"mode\" 4, \"lights\" [ \"rI\" ]", "light [ \"bI\" ]", {0, 0, 1}},
                        {"\"mode\" 4", "light \"exclusive\" [ \"bI\" ]", {1, 1, 0}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.list) + ' ' + row.items);
        Scene s;
        render_base(s,
                    lights + "material \"m\" \"mib_illum_lambert\" ( \"diffuse\" 1 1 1, " +
                        row.list + " ) end material\n" + plane("planeI", "m", -5, row.items),
                    "\"rI\" \"gbI\" \"planeI\"");
        for (const int i : {0, 7}) {
            const V p = meets(i, 4, -5);
            expect_color(s, i, 4, row.seen * unit(place - p).z);
        }
    }
}

} // namespace
