// Pictures whose pixels follow from formulas.
#include "run_scene.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>

using namespace vx::test;
using vx::render::Outcome;

namespace {

struct V {
    double x = 0, y = 0, z = 0;
    V operator+(const V& b) const { return {x + b.x, y + b.y, z + b.z}; }
    V operator-(const V& b) const { return {x - b.x, y - b.y, z - b.z}; }
    V operator*(double f) const { return {x * f, y * f, z * f}; }
};
double dot(const V& a, const V& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
V unit(const V& a) {
    return a * (1.0 / std::sqrt(dot(a, a)));
}

// Camera at the origin looking along -z: direction through the center of pixel (i, j).
V pinhole(int i, int j, int w, int h, double aperture, double aspect, double focal) {
    return unit(
        {((i + 0.5) / w - 0.5) * aperture, ((j + 0.5) / h - 0.5) * aperture / aspect, -focal});
}

// Points and colors are single precision numbers of up to 10, computed in a few steps.
constexpr double kSingle = 4e-6;

std::string graph(const std::string& members) {
    return "instance \"camI\" \"cam\" end instance\n"
           "instgroup \"world\" \"camI\" " +
           members + " end instgroup\nrender \"world\" \"camI\" \"opt\"\n";
}

const std::string kWhitePoint = R"(
light "lamp" "t_light" ( "color" 10 10 10, "shadow" on, "falloff" 1 ) origin 0 0 0 end light
instance "lampI" "lamp" transform 1 0 0 0 0 1 0 0 0 0 1 0 -1 -2 3 1 end instance
)"; // at (1, 2, -3)
const std::string kLambert =
    "material \"m\" opaque \"t_lambert\" ( \"color\" 0.5 0.25 1 ) end material\n";

void expect_color(const vx::image::Frame& frame, int i, int j, const V& expected,
                  double tolerance) {
    const miColor c = frame.color(i, j);
    EXPECT_NEAR(c.r, expected.x, tolerance) << "pixel " << i << ", " << j;
    EXPECT_NEAR(c.g, expected.y, tolerance) << "pixel " << i << ", " << j;
    EXPECT_NEAR(c.b, expected.z, tolerance) << "pixel " << i << ", " << j;
}

} // namespace

TEST(Analytic, PlaneUnderAPointLightSeenInPerspective) {
    Scene s;
    s.run(options() + camera(32, 24) + kWhitePoint + kLambert + square("plane", 50) +
          "instance \"planeI\" \"plane\" material \"m\" "
          "transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 5 1 end instance\n" + // in the plane z = -5
          graph("\"lampI\" \"planeI\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int j = 0; j < 24; ++j)
        for (int i = 0; i < 32; ++i) {
            const V d = pinhole(i, j, 32, 24, 1, 32.0 / 24, 1);
            const V p = d * (-5.0 / d.z);
            const V to_light = V{1, 2, -3} - p;
            const double cosine = unit(to_light).z;
            const double e = 10.0 * cosine / dot(to_light, to_light);
            expect_color(s.frame, i, j, {0.5 * e, 0.25 * e, e}, kSingle);
        }
}

TEST(Analytic, PlaneUnderAnInfiniteLightSeenOrthographically) {
    Scene s;
    s.run(options() + camera(20, 10, "focal infinity aperture 4") +
          "light \"sun\" \"t_light\" ( \"color\" 2 1 3 ) direction 1 -2 -2 end light\n"
          "instance \"sunI\" \"sun\" end instance\n" +
          kLambert + square("plane", 1) +
          "instance \"planeI\" \"plane\" material \"m\" "
          "transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 5 1 end instance\n" +
          graph("\"sunI\" \"planeI\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int j = 0; j < 10; ++j)
        for (int i = 0; i < 20; ++i) {
            // 4 units wide, 2 high: the square fills the middle half of the width.
            const double x = ((i + 0.5) / 20 - 0.5) * 4;
            const bool inside = std::abs(x) < 1;
            const double cosine = 2.0 / 3.0;
            expect_color(s.frame, i, j,
                         inside ? V{2 * 0.5 * cosine, 1 * 0.25 * cosine, 3 * cosine} : V{}, 1e-6);
            EXPECT_EQ(s.frame.color(i, j).a, inside ? 1.0f : 0.0f);
        }
}

namespace {

// A fine sphere about the origin with exact normals.
std::string sphere(const std::string& name, double radius, int n) {
    std::string text = "object \"" + name + "\" " + flags() + "\ngroup\n";
    const int columns = 2 * n;
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= columns; ++i) {
            const double theta = M_PI * j / n;
            const double phi = 2 * M_PI * i / columns;
            const V d{std::sin(theta) * std::cos(phi), std::cos(theta),
                      -std::sin(theta) * std::sin(phi)};
            text += fmt::format("{:.9g} {:.9g} {:.9g} {:.9g} {:.9g} {:.9g}\n", d.x * radius,
                                d.y * radius, d.z * radius, d.x, d.y, d.z);
        }
    const int count = (n + 1) * (columns + 1);
    for (int i = 0; i < count; ++i)
        text += fmt::format("v {} n {}\n", 2 * i, 2 * i + 1);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < columns; ++i) {
            const int a = j * (columns + 1) + i;
            const int b = a + columns + 1;
            if (j > 0) text += fmt::format("c {} {} {}\n", a, b, a + 1);
            if (j < n - 1) text += fmt::format("c {} {} {}\n", a + 1, b, b + 1);
        }
    return text + "end group end object\n";
}

} // namespace

TEST(Analytic, SphereUnderAPointLight) {
    Scene s;
    s.run(options() + camera(40, 30) + kWhitePoint + kLambert + sphere("ball", 1.0, 200) +
          "instance \"ballI\" \"ball\" material \"m\" "
          "transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 4 1 end instance\n" + // about (0, 0, -4)
          graph("\"lampI\" \"ballI\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    int seen = 0;
    for (int j = 0; j < 30; ++j)
        for (int i = 0; i < 40; ++i) {
            const V d = pinhole(i, j, 40, 30, 1, 4.0 / 3, 1);
            const V center{0, 0, -4};
            const double b = dot(d, center);
            const double root = b * b - dot(center, center) + 1.0;
            // Skip the outline, where polygons and sphere differ.
            if (std::abs(root) < 0.01) continue;
            if (root < 0) {
                expect_color(s.frame, i, j, {}, 0.0);
                continue;
            }
            const V p = d * (b - std::sqrt(root));
            const V n = unit(p - center);
            const V to_light = V{1, 2, -3} - p;
            const double cosine = std::max(0.0, dot(n, unit(to_light)));
            const double e = 10.0 * cosine / dot(to_light, to_light);
            // Near the terminator, flat facets are in shadow.
            if (cosine < 0.02) continue;
            ++seen;
            expect_color(s.frame, i, j, {0.5 * e, 0.25 * e, e}, 0.002 * e + 1e-3);
        }
    EXPECT_GT(seen, 100);
}

TEST(Analytic, CubeUnderAPointLightWithShadowOnTheFloor) {
    Scene s;
    s.run(
        options() + camera(48, 36) + R"(
light "lamp" "t_light" ( "color" 1 1 1, "shadow" on ) origin 4 4 -5 end light
instance "lampI" "lamp" end instance
)" + kLambert +
        "object \"cube\" " + flags() +
        R"( group
 -1 -1 -1  1 -1 -1  1 1 -1  -1 1 -1  -1 -1 1  1 -1 1  1 1 1  -1 1 1
 v 0 v 1 v 2 v 3 v 4 v 5 v 6 v 7
 c 0 3 2 1  c 4 5 6 7  c 0 1 5 4  c 2 3 7 6  c 1 2 6 5  c 0 4 7 3
end group end object
)" + square("floor", 100) +
        // The cube about (0, 0, -6); the floor, facing up, at y = -1.
        R"(instance "cubeI" "cube" material "m" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 6 1 end instance
instance "floorI" "floor" material "m" transform 1 0 0 0 0 0 1 0 0 -1 0 0 0 0 1 1 end instance
)" + graph("\"lampI\" \"cubeI\" \"floorI\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    const V light{4, 4, -5};
    // The first intersection of a ray with the cube's slabs.
    const auto cube = [](const V& o, const V& d, double& t, V& n) {
        double enter = -1e30;
        double leave = 1e30;
        const double oo[3] = {o.x, o.y, o.z + 6};
        const double dd[3] = {d.x, d.y, d.z};
        V normal;
        for (int k = 0; k < 3; ++k) {
            const double a = (-1 - oo[k]) / dd[k];
            const double b = (1 - oo[k]) / dd[k];
            if (std::min(a, b) > enter) {
                enter = std::min(a, b);
                normal = {};
                (k == 0 ? normal.x : k == 1 ? normal.y : normal.z) = dd[k] > 0 ? -1 : 1;
            }
            leave = std::min(leave, std::max(a, b));
        }
        t = enter;
        n = normal;
        return enter <= leave && enter > 1e-6;
    };
    int in_shadow = 0;
    for (int j = 0; j < 36; ++j)
        for (int i = 0; i < 48; ++i) {
            const V d = pinhole(i, j, 48, 36, 1, 4.0 / 3, 1);
            double t = 0;
            V n;
            V expected;
            V p;
            bool hit = cube({}, d, t, n);
            if (hit) {
                p = d * t;
            } else if (d.y < 0) {
                p = d * (-1.0 / d.y);
                n = {0, 1, 0};
                hit = std::abs(p.x) < 100 && std::abs(p.z) < 100;
            }
            if (hit) {
                const V to_light = light - p;
                double cosine = std::max(0.0, dot(n, unit(to_light)));
                double ts = 0;
                V ns;
                if (n.y == 1 && p.y < 0 && cube(p, unit(to_light), ts, ns)) {
                    cosine = 0;
                    ++in_shadow;
                }
                expected = V{0.5, 0.25, 1} * cosine;
            }
            expect_color(s.frame, i, j, expected, kSingle);
        }
    EXPECT_GT(in_shadow, 10);
}

TEST(Analytic, OffCenterWindowShowsThatPartOfTheWholePicture) {
    const std::string rest = square("plane", 50) +
                             "material \"m\" \"t_position\" () end material\n"
                             "instance \"planeI\" \"plane\" material \"m\" "
                             "transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 5 1 end instance\n" +
                             graph("\"planeI\"");
    Scene s;
    s.run(options() + camera(40, 20, "window 7 3 21 15") + rest);
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int j = 0; j < 20; ++j)
        for (int i = 0; i < 40; ++i) {
            const bool inside = i >= 7 && i <= 21 && j >= 3 && j <= 15;
            const V d = pinhole(i, j, 40, 20, 1, 2, 1);
            expect_color(s.frame, i, j, inside ? d * (-5.0 / d.z) : V{}, kSingle);
            EXPECT_EQ(s.frame.color(i, j).a, inside ? 1.0f : 0.0f);
        }
}

TEST(Analytic, PixelsNeedNotBeSquareAndOffsetsShiftThePicture) {
    Scene s;
    s.run(options() + camera(40, 20, "aspect 1.25 aperture 0.8 focal 2 offset 4 -2") +
          square("plane", 50) +
          "material \"m\" \"t_position\" () end material\n"
          "instance \"planeI\" \"plane\" material \"m\" "
          "transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 5 1 end instance\n" +
          graph("\"planeI\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int j = 0; j < 20; ++j)
        for (int i = 0; i < 40; ++i) {
            const V p{((i + 0.5 - 4) / 40 - 0.5) * 0.8 * 2.5,
                      ((j + 0.5 + 2) / 20 - 0.5) * 0.8 / 1.25 * 2.5, -5};
            expect_color(s.frame, i, j, p, kSingle);
        }
}

TEST(Analytic, SlabOfGlassShiftsTheRayBySnellsLaw) {
    Scene s;
    // Glass from z = -2 to z = -3, and a wall at z = -6 that shows positions.
    s.run(options() + camera(30, 20) + square("side", 20) + square("wall", 50) + R"(
material "glass" "t_glass" ( "ior" 1.5 ) end material
material "wallM" "t_position" () end material
instance "front" "side" material "glass" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 2 1 end instance
instance "back" "side" material "glass" transform 1 0 0 0 0 -1 0 0 0 0 -1 0 0 0 -3 1 end instance
instance "wallI" "wall" material "wallM" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 6 1 end instance
)" + graph("\"front\" \"back\" \"wallI\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int j = 0; j < 20; ++j)
        for (int i = 0; i < 30; ++i) {
            const V d = pinhole(i, j, 30, 20, 1, 1.5, 1);
            const double sine = std::sqrt(d.x * d.x + d.y * d.y);
            const double inside = sine / 1.5;
            // Sideways: 2 + 3 units of air, 1 of glass.
            const double shift = 5 * sine / -d.z + inside / std::sqrt(1 - inside * inside);
            expect_color(s.frame, i, j, {d.x / sine * shift, d.y / sine * shift, -6}, kSingle);
        }
}

TEST(Analytic, MirrorShowsTheMirroredPoint) {
    Scene s;
    // A mirror in the plane z = -4, a wall behind the camera at z = 3.
    s.run(options() + camera(30, 20) + square("mirror", 20) + square("wall", 80) + R"(
material "mirrorM" "t_mirror" () end material
material "wallM" "t_position" () end material
instance "mirrorI" "mirror" material "mirrorM" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 4 1 end instance
instance "wallI" "wall" material "wallM" transform 1 0 0 0 0 -1 0 0 0 0 -1 0 0 0 3 1 end instance
)" + graph("\"mirrorI\" \"wallI\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int j = 0; j < 20; ++j)
        for (int i = 0; i < 30; ++i) {
            const V d = pinhole(i, j, 30, 20, 1, 1.5, 1);
            // The unreflected ray would hit the wall's mirror image, z = -11.
            const V p = d * (-11.0 / d.z);
            expect_color(s.frame, i, j, {p.x, p.y, 3}, 2e-5);
        }
}

TEST(Analytic, NestedGroupsComposeFromTheOutsideIn) {
    Scene s;
    // p_local = p_world * T_outer * T_inner: the outer moves by -(2, 0, 0), the inner then turns a
    // quarter about z and halves, so a point (x, y) of the object lies at (2 y + 2, -2 x) ... in
    // the world.
    s.run(options() + camera(30, 30, "focal infinity aperture 10") + square("plane", 1) + R"(
material "m" "t_object_position" () end material
instance "inner" "plane" material "m" transform 0 0.5 0 0 -0.5 0 0 0 0 0 1 0 0 0 0 1 end instance
instgroup "g1" "inner" end instgroup
instance "outer" "g1" transform 1 0 0 0 0 1 0 0 0 0 1 0 -2 0 5 1 end instance
)" + graph("\"outer\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    int seen = 0;
    for (int j = 0; j < 30; ++j)
        for (int i = 0; i < 30; ++i) {
            const V w{((i + 0.5) / 30 - 0.5) * 10, ((j + 0.5) / 30 - 0.5) * 10, -5};
            const V moved{w.x - 2, w.y, w.z + 5};
            // Row vector times ((0, .5), (-.5, 0)).
            const V local{-0.5 * moved.y, 0.5 * moved.x, moved.z};
            const bool inside = std::abs(local.x) < 1 && std::abs(local.y) < 1;
            seen += inside;
            expect_color(s.frame, i, j, inside ? local : V{}, kSingle);
        }
    EXPECT_EQ(seen, 144); // a 4 x 4 square of the 10 x 10 picture
}

TEST(Analytic, GroupPlacedTwiceShowsBothCopies) {
    Scene s;
    s.run(options() + camera(40, 20, "focal infinity aperture 8") + square("plane", 0.5) + R"(
material "m" "t_position" () end material
instance "one" "plane" material "m" end instance
instgroup "g" "one" end instgroup
instance "left" "g" transform 1 0 0 0 0 1 0 0 0 0 1 0 2 0 5 1 end instance
instance "right" "g" transform 1 0 0 0 0 1 0 0 0 0 1 0 -2 0 7 1 end instance
)" + graph("\"left\" \"right\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int i = 0; i < 40; ++i) {
        const double x = ((i + 0.5) / 40 - 0.5) * 8;
        const V expected = std::abs(x + 2) < 0.5   ? V{x, 0.1, -5}
                           : std::abs(x - 2) < 0.5 ? V{x, 0.1, -7}
                                                   : V{};
        expect_color(s.frame, i, 10, expected, kSingle);
    }
}

// The light on a plane at z = -5 for each combination of origin, direction and spread.
class LightTable : public testing::Test {
  protected:
    static void check(const std::string& items, const std::function<V(const V&)>& to_light,
                      const std::function<bool(const V&)>& lit) {
        Scene s;
        s.run(options() + camera(24, 24) + "light \"lamp\" \"t_light\" ( \"color\" 1 1 1 ) " +
              items +
              " end light\ninstance \"lampI\" \"lamp\" end instance\n"
              "material \"m\" \"t_lambert\" ( \"color\" 1 1 1 ) end material\n" +
              square("plane", 50) +
              "instance \"planeI\" \"plane\" material \"m\" "
              "transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 5 1 end instance\n" +
              graph("\"lampI\" \"planeI\""));
        ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
        for (int j = 0; j < 24; ++j)
            for (int i = 0; i < 24; ++i) {
                const V d = pinhole(i, j, 24, 24, 1, 1, 1);
                const V p = d * (-5.0 / d.z);
                const V l = unit(to_light(p));
                const double e = lit(p) ? std::max(0.0, l.z) : 0.0;
                expect_color(s.frame, i, j, {e, e, e}, kSingle);
            }
    }
    static bool always(const V&) { return true; }
};

TEST_F(LightTable, NothingIsAPointLightAtItsOrigin) {
    check(
        "", [](const V& p) { return p * -1; }, always);
}
TEST_F(LightTable, SpreadAloneIsAPointLight) {
    check(
        "spread 0.9", [](const V& p) { return p * -1; }, always);
}
TEST_F(LightTable, OriginIsAPointLight) {
    check(
        "origin 1 1 -2",
        [](const V& p) {
            return V{1, 1, -2} - p;
        },
        always);
}
TEST_F(LightTable, OriginAndSpreadIsAPointLight) {
    check(
        "origin 1 1 -2 spread 0.9",
        [](const V& p) {
            return V{1, 1, -2} - p;
        },
        always);
}
TEST_F(LightTable, DirectionIsADirectionalLight) {
    check(
        "direction 3 0 -4",
        [](const V&) {
            return V{-3, 0, 4};
        },
        always);
}
TEST_F(LightTable, DirectionWithSpreadStaysDirectional) {
    check(
        "direction 3 0 -4 spread 0.5",
        [](const V&) {
            return V{-3, 0, 4};
        },
        always);
}
TEST_F(LightTable, OriginAndDirectionIsADirectionalLightWithAnOrigin) {
    check(
        "origin 1 1 -2 direction 3 0 -4",
        [](const V&) {
            return V{-3, 0, 4};
        },
        always);
}
TEST_F(LightTable, OriginDirectionAndSpreadIsASpot) {
    check(
        "origin 0 0 -1 direction 0 0 -2 spread 0.95",
        [](const V& p) {
            return V{0, 0, -1} - p;
        },
        [](const V& p) {
            return -unit(p - V{0, 0, -1}).z > 0.95;
        });
}
