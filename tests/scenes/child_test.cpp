// The child state after each kind of trace call: of a hit, of a miss, and of a ray that is not
// traced.
#include "run_scene.h"

#include "tests/scenes/test_shaders.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace vx::test;
using vx::render::Outcome;

namespace {

const char* const kGraph = "instance \"camI\" \"cam\" end instance\n"
                           "instgroup \"world\" \"camI\" \"near\" \"far\" end instgroup\n"
                           "render \"world\" \"camI\" \"opt\"\n";

std::string child_shader(TestCall call, const std::string& direction, bool before = false) {
    return fmt::format("\"t_child\" ( \"call\" {}, \"direction\" {}, \"before\" {} )",
                       static_cast<int>(call), direction, before ? "on" : "off");
}

std::string placed(const std::string& name, const std::string& material, double z) {
    return fmt::format(
        "instance \"{}\" \"plane\" material \"{}\" transform 1 0 0 0 0 1 0 0 0 0 1 0 "
        "0 0 {} 1 end instance\n",
        name, material, -z);
}

// Two squares in front of the camera, 4 and 6 away. The first one has `shader`.
std::string two_squares(const std::string& shader, const std::string& far = "\"t_mirror\" ()") {
    return square("plane", 3, "tag 7") + "material \"nearM\" opaque " + shader +
           " end material\nmaterial \"farM\" opaque " + far + " end material\n" +
           placed("near", "nearM", -4) + placed("far", "farM", -6) + kGraph;
}

// The two squares, with the lens shaders `lens`.
std::string behind_lens(const std::string& lens) {
    return options() + camera(1, 1, "lens " + lens) +
           two_squares("\"t_constant\" ( \"color\" 0 1 0 1 )");
}

void expect_missed(const miState& child) {
    EXPECT_EQ(child.dist, 0.0);
    EXPECT_EQ(child.instance, 0u);
    EXPECT_EQ(child.light_instance, 0u);
    EXPECT_EQ(child.material, 0u);
    EXPECT_EQ(child.label, 0u);
    EXPECT_EQ(child.refraction_volume, 0u);
    EXPECT_EQ(child.pri, nullptr);
    EXPECT_EQ(child.cache, nullptr);
    EXPECT_EQ(child.dot_nd, 0.0f);
    EXPECT_FALSE(child.inv_normal);
    EXPECT_EQ(child.bary[0], 0.0f);
    EXPECT_EQ(child.shadow_tol, 0.0);
    EXPECT_EQ(child.tex_list, nullptr);
    EXPECT_EQ(child.bump_x_list, nullptr);
    EXPECT_EQ(child.bump_y_list, nullptr);
    for (const miVector& v :
         {child.point, child.normal, child.normal_geom, child.motion, child.tex}) {
        EXPECT_EQ(v.x, 0.0f);
        EXPECT_EQ(v.y, 0.0f);
        EXPECT_EQ(v.z, 0.0f);
    }
    // What every shader call needs.
    EXPECT_NE(child.camera, nullptr);
    EXPECT_NE(child.options, nullptr);
    EXPECT_NE(child.shader, nullptr);
    EXPECT_NE(child.parent, nullptr);
    EXPECT_EQ(child.version, 2);
}

struct Traced {
    bool was_null, is_null;
    miState before, child;
};

Traced trace(const std::string& scene) {
    Scene s;
    Traced traced{};
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        traced = {*shader_variable<int>("test_child_was_null") != 0,
                  *shader_variable<int>("test_child_is_null") != 0,
                  *shader_variable<miState>("test_child_before"),
                  *shader_variable<miState>("test_child")};
    };
    s.run(scene);
    EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_EQ(s.renders, 1);
    return traced;
}

std::string from_surface(const std::string& shader, const std::string& option = "",
                         const std::string& more = "") {
    return options(option) + camera(1, 1, more) + two_squares(shader);
}

} // namespace

TEST(Child, OfEveryRayThatMissesIsThatOfAMiss) {
    for (const TestCall call : {test_reflection, test_refraction, test_environment, test_probe})
        for (const char* const environment : {"", "environment \"t_environment\" ()"}) {
            SCOPED_TRACE(fmt::format("call {} {}", static_cast<int>(call), environment));
            const Traced t = trace(from_surface(child_shader(call, "0 0 1"), "", environment));
            EXPECT_TRUE(t.was_null) << "nothing has been traced yet";
            ASSERT_FALSE(t.is_null);
            expect_missed(t.child);
        }
}

TEST(Child, OfATransparencyRayThatMissesIsThatOfAMiss) {
    const Traced t = trace(options() + camera(1, 1) +
                           two_squares("\"t_transparent\" ( \"tint\" 1 1 1 )",
                                       child_shader(test_transparent, "0 0 0")));
    EXPECT_TRUE(t.was_null);
    ASSERT_FALSE(t.is_null);
    expect_missed(t.child);
    EXPECT_EQ(t.child.type, miRAY_TRANSPARENT);
}

TEST(Child, OfAMissIsClearedAfterAHit) {
    for (const TestCall call : {test_reflection, test_refraction, test_probe}) {
        SCOPED_TRACE(static_cast<int>(call));
        const Traced t = trace(from_surface(child_shader(call, "0 0 1", true)));
        ASSERT_FALSE(t.was_null);
        EXPECT_NEAR(t.before.dist, 2.0, 1e-5);
        EXPECT_NE(t.before.tex_list, nullptr);
        ASSERT_FALSE(t.is_null);
        expect_missed(t.child);
    }
}

TEST(Child, OfAnEyeRayThatMissesIsThatOfAMiss) {
    for (const bool before : {false, true})
        for (const char* const behind : {"", "\"t_pass\" ( \"color\" 1 1 1 1 )"}) {
            SCOPED_TRACE(fmt::format("before {} behind {}", before, behind));
            const Traced t = trace(behind_lens(child_shader(test_eye, "0 0 1", before) + behind));
            EXPECT_EQ(t.was_null, !before);
            EXPECT_NEAR(t.before.dist, before ? 4.0 : 0.0, 1e-5);
            ASSERT_FALSE(t.is_null);
            expect_missed(t.child);
        }
}

TEST(Child, OfALensStateIsNullBeforeTheFirstRay) {
    EXPECT_TRUE(trace(behind_lens(child_shader(test_probe, "0 0 -1"))).was_null);
}

TEST(Child, AfterAMissThePictureHasNoDepth) {
    const auto depth = [](const char* direction) {
        Scene s;
        s.run(behind_lens(child_shader(test_eye, direction)));
        EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
        return s.frame.depth(0, 0, false);
    };
    EXPECT_EQ(depth("0 0 1"), vx::image::kNoDepth);
    EXPECT_EQ(depth("0 0 -1"), 4.0f);
}

TEST(Child, StaysTheSameWhereTheOptionsAllowNoRay) {
    // The child of the probe is kept.
    Traced t = trace(from_surface(child_shader(test_probe, "0 0 -1"), "trace depth 0 0 0"));
    EXPECT_NEAR(t.child.dist, 2.0, 1e-5);
    for (const TestCall call : {test_reflection, test_refraction, test_transparent}) {
        t = trace(from_surface(child_shader(call, "0 0 -1"), "trace depth 0 0 0"));
        EXPECT_TRUE(t.was_null);
        ASSERT_FALSE(t.is_null) << "shaders read it without a test";
        expect_missed(t.child);
    }
}

TEST(Child, OfAHitOnAMaterialWithoutASurfaceShaderHasARecord) {
    for (const TestCall call : {test_reflection, test_refraction, test_transparent, test_probe}) {
        SCOPED_TRACE(static_cast<int>(call));
        const Traced t =
            trace(options() + camera(1, 1) + two_squares(child_shader(call, "0 0 -1"), ""));
        ASSERT_FALSE(t.is_null);
        EXPECT_NEAR(t.child.dist, 2.0, 1e-5);
        ASSERT_NE(t.child.shader, nullptr);
    }
    const Traced t = trace(options() + camera(1, 1, "lens " + child_shader(test_eye, "0 0 -1")) +
                           two_squares(""));
    EXPECT_NEAR(t.child.dist, 4.0, 1e-5);
    ASSERT_NE(t.child.shader, nullptr);
}

TEST(Child, BeyondTheLimitOfNestedRaysIsThatOfAMiss) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        EXPECT_EQ(*shader_variable<int>("test_null_children"), 0);
        EXPECT_EQ(*shader_variable<int>("test_missed_children"), 1);
        expect_missed(*shader_variable<miState>("test_child"));
    };
    // The camera stands between two mirrors.
    s.run(options("trace depth 1000 1000 1000") + camera(1, 1) + square("plane", 3) +
          "material \"m\" opaque \"t_mirrors\" () end material\n" + placed("near", "m", -4) +
          placed("far", "m", 4) + kGraph);
    EXPECT_NE(s.all_messages().find("rays nest too deep"), std::string::npos) << s.all_messages();
    EXPECT_EQ(s.outcome, Outcome::done);
}

TEST(Child, CanBeTheStateOfACallAndGetAnUninitializedChild) {
    Scene s;
    // The material that the lens calls mirrors the background.
    s.run(options() +
          camera(1, 1,
                 "environment \"t_constant\" ( \"color\" 0.25 0.5 0.75 1 ) lens "
                 "\"t_call_child\" ()") +
          two_squares("\"t_mirror\" ()"));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_FLOAT_EQ(s.frame.color(0, 0).g, 0.5f);
}
