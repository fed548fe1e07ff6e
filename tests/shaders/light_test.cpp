// mib_light_* and shadows.
#include "base_scene.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace vx::test;

namespace {

const std::string kWhite =
    "material \"m\" \"mib_illum_lambert\" ( \"diffuse\" 1 1 1 ) end material\n";

// A light at `place`, not turned.
std::string light(const std::string& items, const V& place) {
    return fmt::format("light \"lamp\" {} end light\ninstance \"lampI\" \"lamp\" transform 1 0 0 0 "
                       "0 1 0 0 0 0 1 0 {} {} {} 1 end instance\n",
                       items, -place.x, -place.y, -place.z);
}

template <class Expected>
void expect_picture(const std::string& text, Expected&& expected, const std::string& members = "") {
    Scene s;
    render_base(s, kWhite + plane("planeI", "m", -5) + text, "\"lampI\" \"planeI\" " + members);
    for (int j = 0; j < kHeight; ++j)
        for (int i = 0; i < kWidth; ++i) {
            const double e = expected(meets(i, j, -5));
            expect_color(s, i, j, {e, e, e}, 2e-5);
        }
}

double length(const V& a) {
    return std::sqrt(dot(a, a));
}

TEST(PointLight, DoesNotFallOffUnlessAsked) {
    const V place = {1, 1, -2};
    expect_picture(light("\"mib_light_point\" ( \"color\" 2 2 2 ) origin 0 0 0", place),
                   [&](const V& p) { return 2 * unit(place - p).z; });
}

TEST(PointLight, FallsOffLinearlyFromStartToStop) {
    const V place = {1, 1, -2};
    expect_picture(light("\"mib_light_point\" ( \"color\" 2 2 2, \"atten\" on, \"start\" 3.5, "
                         "\"stop\" 6 ) origin 0 0 0",
                         place),
                   [&](const V& p) {
                       const double d = length(place - p);
                       const double f = std::clamp((6 - d) / 2.5, 0.0, 1.0);
                       return 2 * f * unit(place - p).z;
                   });
}

// A square of 1 by 1 in the plane z = -3 shades the plane behind from a light at the origin.
std::string blocker(const std::string& material) {
    return square("small", 0.5) + "instance \"smallI\" \"small\" material \"" + material +
           "\" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 3 1 visible off end instance\n";
}
bool shaded(const V& p) {
    const double x = p.x * 3 / 5, y = p.y * 3 / 5;
    return std::abs(x) < 0.5 && std::abs(y) < 0.5;
}

TEST(PointLight, ShadowsAreOffBlackOrLightenedByTheFactor) {
    struct Row {
        const char* parameters;
        double left;
    };
    const Row rows[] = {{"\"shadow\" off", 1},
                        {"\"shadow\" on", 0},
                        {"\"shadow\" on, \"factor\" 0.25", 0.25},
                        {"\"shadow\" on, \"factor\" 1", 1}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.parameters);
        expect_picture(
            light(std::string("\"mib_light_point\" ( \"color\" 1 1 1, ") + row.parameters +
                      " ) origin 0 0 0",
                  {0, 0, 0}) +
                blocker("m"),
            [&](const V& p) { return (shaded(p) ? row.left : 1) * unit(p * -1).z; }, "\"smallI\"");
    }
}

TEST(ShadowTransparency, FiltersByTheCoverage) {
    Scene s;
    render_base(s,
                kWhite + plane("planeI", "m", -5) +
                    light("\"mib_light_point\" ( \"color\" 1 1 1, \"shadow\" on ) origin 0 0 0",
                          {0, 0, 0}) +
                    "material \"pane\" \"mib_illum_lambert\" () shadow "
                    "\"mib_shadow_transparency\" ( \"color\" 1 0.5 0.5 0.8, \"transp\" 0.5 0.5 0 0 "
                    ") end material\n" +
                    blocker("pane"),
                "\"lampI\" \"planeI\" \"smallI\"");
    // (1 - a) + a * transp * color with a = 0.8
    const V through = {0.2 + 0.8 * 0.5, 0.2 + 0.8 * 0.25, 0.2};
    for (int j = 0; j < kHeight; ++j)
        for (int i = 0; i < kWidth; ++i) {
            const V p = meets(i, j, -5);
            expect_color(s, i, j, (shaded(p) ? through : V{1, 1, 1}) * unit(p * -1).z);
        }
}

TEST(ShadowTransparency, LightsOutsideOfItsListPass) {
    for (const bool listed : {true, false}) {
        Scene s;
        render_base(s,
                    kWhite + plane("planeI", "m", -5) +
                        light("\"mib_light_point\" ( \"color\" 1 1 1, \"shadow\" on ) origin 0 0 "
                              "0",
                              {0, 0, 0}) +
                        point_light("other", {0, 0, 0}, {0, 0, 0}) +
                        "material \"pane\" \"mib_illum_lambert\" () shadow "
                        "\"mib_shadow_transparency\" ( \"color\" 0 0 0 1, \"mode\" 1, \"lights\" [ "
                        "\"" +
                        (listed ? "lampI" : "otherI") + "\" ] ) end material\n" + blocker("pane"),
                    "\"lampI\" \"otherI\" \"planeI\" \"smallI\"");
        const V p = meets(6, 4, -5);
        ASSERT_TRUE(shaded(p));
        const double left = listed ? 0 : unit(p * -1).z;
        expect_color(s, 6, 4, {left, left, left});
    }
}

TEST(InfiniteLight, IsTheSameEverywhere) {
    expect_picture("light \"lamp\" \"mib_light_infinite\" ( \"color\" 3 3 3, \"shadow\" on ) "
                   "direction 1 -2 -2 end light\ninstance \"lampI\" \"lamp\" end instance\n",
                   [](const V&) { return 3 * 2.0 / 3; });
}

TEST(InfiniteLight, CastsShadowsAlongItsDirection) {
    expect_picture(
        "light \"lamp\" \"mib_light_infinite\" ( \"color\" 1 1 1, \"shadow\" on ) "
        "direction 0 0 -1 end light\ninstance \"lampI\" \"lamp\" end instance\n" +
            blocker("m"),
        [](const V& p) { return std::abs(p.x) < 0.5 && std::abs(p.y) < 0.5 ? 0.0 : 1.0; },
        "\"smallI\"");
}

// The axis (0.6, 0, -0.8) comes from the light's direction (0, 0, -1) and two nested instances that
// turn it; the light stands at (0, 1, -1).
TEST(SpotLight, ShinesInItsConeWhereverItsInstancesTurnIt) {
    const V place = {0, 1, -1}, axis = {0.6, 0, -0.8};
    constexpr double kInner = 0.95, kOuter = 0.8;
    const std::string text =
        "light \"lamp\" \"mib_light_spot\" ( \"color\" 1 1 1, \"cone\" 0.95 ) origin 0 0 0 "
        "direction 0 0 -2 spread 0.8 end light\n"
        // world to local: p - place, then the turn whose inverse takes -z to the axis
        "instance \"turned\" \"lamp\" transform 0.8 0 -0.6 0  0 1 0 0  0.6 0 0.8 0  0 0 0 1 end "
        "instance\ninstgroup \"inner\" \"turned\" end instgroup\n"
        "instance \"lampI\" \"inner\" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 -1 1 1 end instance\n";
    expect_picture(text, [&](const V& p) {
        const V to_light = unit(place - p);
        const double cosine = -dot(to_light, axis);
        const double t = std::clamp((cosine - kOuter) / (kInner - kOuter), 0.0, 1.0);
        return t * t * (3 - 2 * t) * to_light.z;
    });
}

} // namespace
