// States of hits and their children, and the visibility of surfaces for types of rays.
#include "run_scene.h"

#include "host/trace/world.h"
#include "tests/scenes/test_shaders.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>

using namespace vx::test;
using vx::render::Outcome;

namespace {

std::string graph(const std::string& members) {
    return "instance \"camI\" \"cam\" end instance\n"
           "instgroup \"world\" \"camI\" " +
           members + " end instgroup\nrender \"world\" \"camI\" \"opt\"\n";
}

// An instance whose object's origin lies at (x, y, z) in the world.
std::string placed(const std::string& name, const std::string& item, const std::string& material,
                   double x, double y, double z, const std::string& more = "") {
    return fmt::format("instance \"{}\" \"{}\" {} {} transform 1 0 0 0 0 1 0 0 0 0 1 0 {} {} {} 1 "
                       "end instance\n",
                       name, item, material, more, -x, -y, -z);
}

std::string constant(const std::string& name, const std::string& color) {
    return "material \"" + name + "\" opaque \"t_constant\" ( \"color\" " + color +
           " ) end material\n";
}

miColor center(const vx::image::Frame& frame) {
    return frame.color(frame.width() / 2, frame.height() / 2);
}

} // namespace

TEST(State, OfAHitHoldsEveryDocumentedField) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        const auto* const state = shader_variable<miState>("test_state");
        ASSERT_NE(state, nullptr);
        EXPECT_EQ(state->type, miRAY_EYE);
        EXPECT_NE(*shader_variable<int>("test_state_parent_null"), 0) << "no lens, no parent";
        EXPECT_FLOAT_EQ(state->point.z, -4.0f);
        EXPECT_FLOAT_EQ(state->normal.z, 1.0f);
        EXPECT_FLOAT_EQ(state->normal_geom.z, 1.0f);
        EXPECT_FALSE(state->inv_normal);
        EXPECT_FLOAT_EQ(state->dot_nd, -1.0f);
        EXPECT_NEAR(state->dist, 4.0, 1e-6);
        EXPECT_FLOAT_EQ(state->dir.z, -1.0f);
        EXPECT_EQ(state->label, 77u);
        EXPECT_EQ(state->camera->x_resolution, 1);
        EXPECT_EQ(state->options->trace_depth, 8);
        EXPECT_FLOAT_EQ(state->raster_x, 0.5f);
        EXPECT_NE(state->shader, nullptr);
        EXPECT_NE(state->pri, nullptr);
        EXPECT_NE(state->instance, 0u);
        EXPECT_NE(state->material, 0u);
        EXPECT_EQ(state->light_instance, 0u);
        EXPECT_FLOAT_EQ(state->bary[0] + state->bary[1] + state->bary[2], 1.0f);
        EXPECT_FLOAT_EQ(state->motion.x, 0.0f);
        EXPECT_EQ(state->version, 2);
        EXPECT_FLOAT_EQ(state->ior, 1.0f);
        EXPECT_EQ(state->user, nullptr);
    };
    s.run(options() + camera(1, 1) + square("plane", 2, "tag 77") +
          "material \"m\" \"t_keep_state\" () end material\n" +
          placed("p", "plane", "material \"m\"", 0.5, 0.25, -4) + graph("\"p\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_EQ(s.renders, 1);
}

TEST(State, NormalsFaceTheRayWhenTheBackIsHit) {
    Scene s;
    s.run(options() + camera(4, 4) + square("plane", 5) +
          "material \"m\" \"t_normal\" () end material\n"
          "instance \"p\" \"plane\" material \"m\" "
          "transform 1 0 0 0 0 -1 0 0 0 0 -1 0 0 0 -4 1 end instance\n" +
          graph("\"p\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_FLOAT_EQ(center(s.frame).b, 1.0f);
    EXPECT_FLOAT_EQ(center(s.frame).a, 1.0f) << "inv_normal";
}

TEST(State, LensShadersAreTheMaterialsParents) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        EXPECT_EQ(*shader_variable<int>("test_state_parent_null"), 0);
    };
    s.run(
        options() +
        camera(1, 1, "lens \"t_pass\" ( \"color\" 0.5 1 1 ) \"t_pass\" ( \"color\" 0.5 0.25 1 )") +
        square("plane", 2) + "material \"m\" \"t_keep_state\" () end material\n" +
        placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_FLOAT_EQ(center(s.frame).r, 0.25f) << "both lens shaders of the list changed the color";
    EXPECT_FLOAT_EQ(center(s.frame).g, 0.25f);
}

TEST(State, LensSwitchLeavesLensShadersOut) {
    Scene s;
    s.run(options("lens off") + camera(1, 1, "lens \"t_pass\" ( \"color\" 0 0 0 )") +
          square("plane", 2) + constant("m", "1 1 1 1") +
          placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
    EXPECT_FLOAT_EQ(center(s.frame).r, 1.0f);
}

TEST(State, LabelChangedByTheMaterialReachesTheLabelBuffer) {
    Scene s;
    s.run(options() + camera(2, 2) + square("plane", 5, "tag 5") +
          "material \"m\" \"t_label\" () end material\n" +
          placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
    EXPECT_FLOAT_EQ(center(s.frame).r, 5.0f);
    EXPECT_EQ(s.frame.label(1, 1), 105u);
    EXPECT_NEAR(s.frame.depth(1, 1, false), 4.0f, 1e-5f);
    EXPECT_FLOAT_EQ(s.frame.normal(1, 1, false).z, 1.0f);
}

namespace {

const std::string kThreeLayers =
    square("plane", 2, "tag 3") + constant("a", "1 0 0 1") + constant("b", "0 1 0 1") +
    constant("c", "0 0 1 1") + placed("one", "plane", "material [ \"a\" ]", 0.5, 0.25, -3) +
    // Seen from behind.
    "instance \"two\" \"plane\" material [ \"b\" ] transform 1 0 0 0 0 -1 0 0 0 0 -1 0 0 0 -4 1 "
    "end instance\n" +
    placed("three", "plane", "material \"c\"", 0, 0, -5.5) + graph("\"one\" \"two\" \"three\"");

} // namespace

TEST(Probe, WalksThroughAllLayersAndReflectionShadesEachOfThem) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        ASSERT_EQ(*shader_variable<int>("test_probe_count"), 4);
        const auto* const t = shader_variable<TestProbe>("test_probes");
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(t[i].hit) << i;
            EXPECT_TRUE(t[i].point_kept) << "a probe leaves the state's point alone";
            EXPECT_TRUE(t[i].others_kept);
            EXPECT_FLOAT_EQ(t[i].normal.z, 1.0f) << "normals face the ray";
            EXPECT_FLOAT_EQ(t[i].normal_geom.z, 1.0f);
            EXPECT_EQ(t[i].inv_normal != 0, i == 1);
            EXPECT_NE(t[i].shader, nullptr);
            EXPECT_EQ(t[i].label, 3u);
            EXPECT_TRUE(t[i].reflected);
        }
        EXPECT_FLOAT_EQ(t[0].point.z, -3.0f);
        EXPECT_FLOAT_EQ(t[1].point.z, -4.0f);
        EXPECT_FLOAT_EQ(t[2].point.z, -5.5f);
        EXPECT_NEAR(t[0].dist, 3.0, 1e-5);
        EXPECT_NEAR(t[1].dist, 0.995, 1e-5) << "starts 0.005 behind the layer before";
        EXPECT_NEAR(t[2].dist, 1.495, 1e-5);
        // The square's corner is at (-1.5, -1.75): the axis hits it at 1.5 / 4 and 1.75 / 4.
        EXPECT_NEAR(t[0].texture.x, 0.375, 1e-6);
        EXPECT_NEAR(t[0].texture.y, 0.4375, 1e-6);
        EXPECT_EQ(t[0].material_list, 1);
        EXPECT_EQ(t[1].material_list, 1);
        EXPECT_EQ(t[2].material_list, 0) << "written without brackets";
        // Shaded by a reflection ray from the camera, from 0.005 behind for the back side.
        EXPECT_FLOAT_EQ(t[0].color.r, 1.0f);
        EXPECT_FLOAT_EQ(t[0].reflected_point.z, -3.0f);
        EXPECT_FLOAT_EQ(t[1].color.g, 1.0f);
        EXPECT_FLOAT_EQ(t[1].reflected_point.z, -4.0f);
        EXPECT_FLOAT_EQ(t[2].color.b, 1.0f);
        EXPECT_FALSE(t[3].hit);
        EXPECT_FALSE(t[3].child_null);
        EXPECT_EQ(t[3].dist, 0.0) << "of the child after a miss";
    };
    s.run(options() + camera(3, 3, "lens \"t_probe_lens\" ( \"n\" 2 )") + kThreeLayers);
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_EQ(s.renders, 1);
    EXPECT_FLOAT_EQ(center(s.frame).r, 1.0f) << "the eye ray itself is as it was";
}

TEST(Probe, TracedRayAfterItsProbeKeepsItsVisibility) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        ASSERT_EQ(*shader_variable<int>("test_probe_count"), 3);
        const auto* const t = shader_variable<TestProbe>("test_probes");
        // The probe hits the first square, which is invisible to reflection rays.
        EXPECT_FLOAT_EQ(t[0].point.z, -3.0f);
        ASSERT_TRUE(t[0].reflected);
        EXPECT_FLOAT_EQ(t[0].reflected_point.z, -5.0f);
        EXPECT_FLOAT_EQ(t[0].color.g, 1.0f);
        EXPECT_FLOAT_EQ(t[1].point.z, -5.0f);
        EXPECT_FLOAT_EQ(t[1].reflected_point.z, -5.0f);
        EXPECT_FLOAT_EQ(t[1].color.g, 1.0f);
        EXPECT_FALSE(t[2].hit);
    };
    s.run(
        options() + camera(1, 1, "lens \"t_probe_lens\" ( \"n\" 1 )") + square("plane", 2) +
        constant("a", "1 0 0 1") + constant("b", "0 1 0 1") +
        "instance \"one\" \"plane\" material \"a\" reflection off transform 1 0 0 0 0 1 0 0 0 0 1 "
        "0 0 0 3 1 end instance\n" +
        placed("two", "plane", "material \"b\"", 0, 0, -5) + graph("\"one\" \"two\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_EQ(s.renders, 1);
}

TEST(Probe, RaysThatStartOrGoElsewhereAreTracedAnew) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        const auto* const ends = shader_variable<miVector>("test_ray_ends");
        EXPECT_FLOAT_EQ(ends[0].x, 1.5f) << "starts beside the probe";
        EXPECT_FLOAT_EQ(ends[1].x, 1.5f) << "the ray has slope 1/2";
        EXPECT_FLOAT_EQ(ends[2].x, 0.0f) << "the probe's own ray";
        for (int i = 0; i < 3; ++i)
            EXPECT_FLOAT_EQ(ends[i].z, -3.0f);
    };
    s.run(options() + camera(1, 1, "lens \"t_other_ray\" ()") + square("plane", 2) +
          constant("m", "1 0 0 1") + placed("p", "plane", "material \"m\"", 0, 0, -3) +
          graph("\"p\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_EQ(s.renders, 1);
}

TEST(Probe, ChildInheritsTheOtherMembers) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        const auto* const c = shader_variable<miState>("test_probe_child");
        EXPECT_FLOAT_EQ(c->importance, 0.25f);
        EXPECT_FLOAT_EQ(c->ior, 1.5f);
        EXPECT_FLOAT_EQ(c->ior_in, 1.25f);
        EXPECT_FLOAT_EQ(c->time, 0.5f);
        EXPECT_NE(c->camera, nullptr);
        EXPECT_EQ(c->type, miRAY_PROBE);
    };
    s.run(options() + camera(1, 1, "lens \"t_other_ray\" ()") + square("plane", 2) +
          constant("m", "1 0 0 1") + placed("p", "plane", "material \"m\"", 0, 0, -3) +
          graph("\"p\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_EQ(s.renders, 1);
}

TEST(Probe, MaterialListOfTheLeafIsAnArrayOfTheMaterials) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest& request) {
        const vx::trace::World world(s.context, request);
        ASSERT_EQ(world.object_count(), 3u);
        const auto& leaf = world.object(0);
        EXPECT_EQ(s.context.database.type(leaf.record->material), miSCENE_TAGS);
        EXPECT_EQ(leaf.record->mtl_array_size, 1);
        const auto* const list =
            static_cast<const miTag*>(s.context.database.find(leaf.record->material));
        EXPECT_EQ(s.context.database.type(list[0]), miSCENE_MATERIAL);
        EXPECT_EQ(s.context.database.type(world.object(2).record->material), miSCENE_MATERIAL);
        EXPECT_EQ(world.object(2).record->mtl_array_size, 0);
    };
    s.run(options() + camera(1, 1) + kThreeLayers);
    EXPECT_EQ(s.renders, 1);
}

TEST(Exits, WithoutMemoryForTheirMessagesTheRenderHasFailed) {
    for (const auto& [failure, reported] :
         {std::pair{"exit", "t_fail_exit"}, std::pair{"pin", "was left with"}}) {
        const std::string_view message = reported;
        Scene s;
        int messages = 0;
        s.context.messages.set_sink([&](vx::shading::Level, std::string_view line) {
            if (line.find(message) == std::string_view::npos) return;
            ++messages;
            throw std::bad_alloc();
        });
        ::setenv("T_FAIL", failure, 1);
        s.run(options() + camera(4, 4) + square("plane", 9) +
              "material \"m\" \"t_fail\" ( \"color\" 1 1 1 ) end material\n" +
              placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
        ::unsetenv("T_FAIL");
        EXPECT_EQ(messages, 1);
        EXPECT_EQ(s.outcome, vx::render::Outcome::failed) << failure;
        EXPECT_EQ(center(s.frame).r, 1.0f);
    }
}

TEST(Sample, DependsNeitherOnThreadsNorOnWhereThePictureBegins) {
    std::vector<double> first;
    for (const char* const window : {"", "window 20 20 60 60"})
        for (const int threads : {1, 2, 16}) {
            vx::render::RenderSettings settings;
            settings.threads = threads;
            Scene s(settings);
            std::vector<double> samples;
            s.on_rendered = [&](const vx::shading::RenderRequest&) {
                const auto* const from = shader_variable<double>("test_samples");
                samples.assign(from, from + *shader_variable<int>("test_sample_count"));
            };
            s.run(options() +
                  camera(80, 80, std::string("lens \"t_probe_lens\" ( \"n\" 4 ) ") + window) +
                  kThreeLayers);
            ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
            ASSERT_EQ(samples.size(), 50u * 4 * 2);
            EXPECT_EQ(std::set<double>(samples.begin(), samples.end()).size(), samples.size());
            if (first.empty()) first = samples;
            EXPECT_EQ(first, samples) << threads << " threads, " << window;
        }
    // The four points of a loop are in four quarters.
    for (std::size_t loop = 0; loop < 50; ++loop) {
        std::set<int> quarters;
        for (std::size_t i = 0; i < 4; ++i)
            quarters.insert((first[loop * 8 + i * 2] < 0.5 ? 0 : 1) +
                            (first[loop * 8 + i * 2 + 1] < 0.5 ? 0 : 2));
        EXPECT_EQ(quarters.size(), 4u) << loop;
    }
}

TEST(Sample, PixelsHaveSequencesOfTheirOwn) {
    std::vector<float> values;
    for (const int threads : {1, 16}) {
        vx::render::RenderSettings settings;
        settings.threads = threads;
        Scene s(settings);
        s.run(options() + camera(40, 40) + square("plane", 9) +
              "material \"m\" \"t_mean\" ( \"n\" 1 ) end material\n" +
              placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
        std::vector<float> now;
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 40; ++x)
                now.push_back(s.frame.color(x, y).r);
        EXPECT_GT(std::set<float>(now.begin(), now.end()).size(), 1590u);
        double sum = 0;
        for (const float v : now)
            sum += static_cast<double>(v);
        EXPECT_NEAR(sum / 1600, 0.5, 0.03);
        if (values.empty()) values = now;
        EXPECT_EQ(values, now);
    }
}

TEST(Sample, LoopsInsideALoopLeaveItAlone) {
    std::vector<miColor> without;
    for (const int inner : {0, 1, 256}) {
        Scene s;
        s.run(options() + camera(8, 8) + square("plane", 9) +
              fmt::format("material \"m\" \"t_nested_loops\" ( \"n\" {} ) end material\n", inner) +
              placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
        ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
        std::vector<miColor> now;
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x)
                now.push_back(s.frame.color(x, y));
        if (without.empty()) without = now;
        for (std::size_t i = 0; i < now.size(); ++i) {
            EXPECT_EQ(now[i].r, without[i].r) << inner << ", pixel " << i;
            EXPECT_EQ(now[i].g, without[i].g) << inner << ", pixel " << i;
            // Sixteen stratified points.
            EXPECT_NEAR(now[i].r, 0.5, 1.0 / 16);
        }
    }
}

TEST(Sample, ALensLeavesTheSamplesOfThePictureAlone) {
    // The lens takes samples, and shades surfaces that do, before it casts the first eye ray.
    std::vector<float> without;
    for (const char* const lens : {"", "lens \"t_probe_lens\" ( \"n\" 4 )"})
        for (const int threads : {1, 4}) {
            vx::render::RenderSettings settings;
            settings.threads = threads;
            Scene s(settings);
            s.run(options() + camera(40, 40, lens) + square("plane", 9) +
                  "material \"m\" \"t_mean\" ( \"n\" 1 ) end material\n" +
                  placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
            ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
            std::vector<float> now;
            for (int y = 0; y < 40; ++y)
                for (int x = 0; x < 40; ++x)
                    now.push_back(s.frame.color(x, y).r);
            if (without.empty()) without = now;
            EXPECT_EQ(now, without) << lens << ", " << threads << " threads";
        }
}

TEST(Sample, RaysThatALensSendsOnSampleDifferently) {
    // The mean of two rays through a pixel; with equal samples it would be the value of one.
    const auto render = [](const std::string& lens) {
        Scene s;
        s.run(options() + camera(40, 40, lens) + square("plane", 9) +
              "material \"m\" \"t_mean\" ( \"n\" 1 ) end material\n" +
              placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
        std::vector<double> values;
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 40; ++x)
                values.push_back(static_cast<double>(s.frame.color(x, y).r));
        return values;
    };
    const std::vector<double> one = render(""), two = render("lens \"t_twice\" ()");
    double spread_one = 0, spread_two = 0;
    for (std::size_t i = 0; i < one.size(); ++i) {
        spread_one += (one[i] - 0.5) * (one[i] - 0.5) / static_cast<double>(one.size());
        spread_two += (two[i] - 0.5) * (two[i] - 0.5) / static_cast<double>(two.size());
    }
    // Uniform numbers have a variance of 1/12, means of two independent ones 1/24. Four standard
    // errors of each.
    EXPECT_NEAR(spread_one, 1.0 / 12, 4 * std::sqrt(1.0 / 180 / 1600));
    EXPECT_NEAR(spread_two, 1.0 / 24, 4 * std::sqrt(7.0 / 2880 / 1600));
}

TEST(Depth, ReflectionsEndAtTheLimitOfTheOptions) {
    // Two mirrors face each other; beyond the limit a mirror stays black.
    const std::string scene =
        square("plane", 5) + "material \"m\" \"t_mirror\" () end material\n" +
        placed("a", "plane", "material \"m\"", 0, 0, -4) +
        "instance \"b\" \"plane\" material \"m\" transform 1 0 0 0 0 -1 0 0 0 0 -1 0 0 0 4 1 end "
        "instance\n" +
        graph("\"a\" \"b\"");
    Scene s;
    s.run(options("trace depth 3 3 6") + camera(3, 3) + scene);
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    EXPECT_EQ(center(s.frame).r, 0.0f);
    EXPECT_EQ(s.errors.size(), 0u);
}

TEST(Depth, ExhaustedReflectionFailsAndKeepsTheChildOfTheCallBefore) {
    for (const char* const limits : {"trace depth 0 4 4", "trace off"}) {
        Scene s;
        s.on_rendered = [&](const vx::shading::RenderRequest&) {
            const auto* const t = shader_variable<TestProbe>("test_probes");
            ASSERT_EQ(*shader_variable<int>("test_probe_count"), 4);
            EXPECT_FALSE(t[0].reflected);
            EXPECT_FLOAT_EQ(t[0].reflected_point.z, -3.0f) << "the probe's child";
        };
        s.run(options(limits) + camera(1, 1, "lens \"t_probe_lens\" ( \"n\" 1 )") + kThreeLayers);
        EXPECT_EQ(s.renders, 1) << s.all_messages();
    }
}

TEST(Child, OfATraceStaysCompleteAfterwards) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        EXPECT_EQ(*shader_variable<int>("test_state_parent_null"), 0);
        const auto* const c = shader_variable<miState>("test_state");
        EXPECT_EQ(c->type, miRAY_REFLECT);
        EXPECT_EQ(c->reflection_level, 1);
        EXPECT_FLOAT_EQ(c->point.z, -6.0f);
        EXPECT_NEAR(c->dist, 2.0, 1e-5) << "from the surface that cast it";
        EXPECT_NE(c->material, 0u);
        EXPECT_NE(c->shader, nullptr);
    };
    s.run(options() + camera(1, 1) + square("plane", 3) + constant("far", "1 1 1 1") +
          "material \"near\" \"t_keep_child\" () end material\n" +
          placed("n", "plane", "material \"near\"", 0, 0, -4) +
          placed("f", "plane", "material \"far\"", 0, 0, -6) + graph("\"n\" \"f\""));
    EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
}

TEST(Child, OfARayThatLeavesTheSceneIsMadeAfterItsEnvironment) {
    Scene s;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        EXPECT_EQ(*shader_variable<int>("test_state_parent_null"), 0);
        EXPECT_EQ(shader_variable<miState>("test_state")->dist, 0.0);
    };
    s.run(options() + camera(1, 1, "environment \"t_environment\" ()") + square("plane", 3) +
          "material \"near\" \"t_keep_child\" () end material\n" +
          placed("n", "plane", "material \"near\"", 0, 0, -4) + graph("\"n\""));
    // The camera's environment is called for the reflection, too.
    EXPECT_FLOAT_EQ(center(s.frame).b, -1.0f);
    EXPECT_FLOAT_EQ(center(s.frame).a, static_cast<float>(miRAY_REFLECT));
}

TEST(Environment, OfTheMaterialComesBeforeThatOfTheCamera) {
    Scene s;
    s.run(options() + camera(3, 3, "environment \"t_constant\" ( \"color\" 0 1 0 1 )") +
          square("plane", 1) +
          "material \"m\" \"t_mirror\" () environment \"t_environment\" () end material\n" +
          placed("n", "plane", "material \"m\"", 0, 0, -4) + graph("\"n\""));
    EXPECT_FLOAT_EQ(center(s.frame).b, 1.0f) << "mirrored straight back";
    EXPECT_FLOAT_EQ(s.frame.color(0, 0).g, 1.0f) << "an eye ray that leaves the scene";
}

namespace {

// A wall behind a half-size plate with these flags, both seen directly.
miColor through_plate(const std::string& object_flags, const std::string& instance_flags,
                      const std::string& options_text = "") {
    Scene s;
    s.run(options(options_text) + camera(1, 1) + "object \"plate\" " + object_flags +
          " group -1 -1 0 1 -1 0 1 1 0 -1 1 0 v 0 v 1 v 2 v 3 p 0 1 2 3 end group end object\n" +
          square("wall", 9) + constant("red", "1 0 0 1") + constant("blue", "0 0 1 1") +
          placed("p", "plate", "material \"red\"", 0, 0, -2, instance_flags) +
          placed("w", "wall", "material \"blue\"", 0, 0, -4) + graph("\"p\" \"w\""));
    EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
    return center(s.frame);
}

} // namespace

TEST(Flags, InvisibleObjectsAreNotSeenByEyeRays) {
    EXPECT_EQ(through_plate("visible on", "").r, 1.0f);
    EXPECT_EQ(through_plate("visible off", "").b, 1.0f);
    EXPECT_EQ(through_plate("", "").b, 1.0f) << "a flag that is not given is off";
    EXPECT_EQ(through_plate("visible on", "visible off").b, 1.0f);
    EXPECT_EQ(through_plate("visible off", "visible on").r, 1.0f) << "the instance decides";
    EXPECT_EQ(through_plate("visible on", "hide on").b, 1.0f);
}

TEST(Flags, FaceSelectsTheSideThatEyeRaysSee) {
    EXPECT_EQ(through_plate("visible on face front", "").r, 1.0f);
    EXPECT_EQ(through_plate("visible on face back", "").b, 1.0f);
    EXPECT_EQ(through_plate("visible on face both", "", "face front").r, 1.0f);
}

TEST(Flags, OptionsFaceHoldsForEveryObject) {
    EXPECT_EQ(through_plate("visible on", "", "face back").r, 0.0f) << "both fronts are gone";
    EXPECT_EQ(through_plate("visible on", "", "face back").b, 0.0f);
}

namespace {

// A plate with these flags behind the camera, seen in a mirror.
float in_mirror(const std::string& mirror_flags, const std::string& plate_flags,
                const std::string& plate_instance = "") {
    Scene s;
    s.run(options() + camera(1, 1) + "object \"mirror\" visible on " + mirror_flags +
          " group -9 -9 0 9 -9 0 9 9 0 -9 9 0 v 0 v 1 v 2 v 3 p 0 1 2 3 end group end object\n"
          "object \"plate\" visible on " +
          plate_flags +
          " group -9 -9 0 9 -9 0 9 9 0 -9 9 0 v 0 v 1 v 2 v 3 p 0 1 2 3 end group end object\n"
          "material \"mm\" \"t_mirror\" () end material\n" +
          constant("red", "1 0 0 1") + placed("m", "mirror", "material \"mm\"", 0, 0, -2) +
          placed("p", "plate", "material \"red\"", 0, 0, 3, plate_instance) + graph("\"m\" \"p\""));
    EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
    return center(s.frame).r;
}

} // namespace

TEST(Flags, ReflectionBitsCastAndReceive) {
    EXPECT_EQ(in_mirror("reflection 3", "reflection 3"), 1.0f);
    EXPECT_EQ(in_mirror("reflection 2", "reflection 1"), 1.0f);
    EXPECT_EQ(in_mirror("reflection 1", "reflection 3"), 0.0f) << "the mirror may not send rays";
    EXPECT_EQ(in_mirror("reflection 3", "reflection 2"), 0.0f) << "the plate shows in no mirror";
    EXPECT_EQ(in_mirror("reflection 3", "reflection 3", "reflection 4"), 0.0f)
        << "bit 4 of the instance switches casting off";
    EXPECT_EQ(in_mirror("reflection 3", "", "reflection 1"), 1.0f);
    EXPECT_EQ(in_mirror("trace on", "trace on"), 1.0f);
}

namespace {

// Light from above that passes a plate and falls on a floor, seen from the side.
miColor under_plate(const std::string& plate_material, const std::string& plate_flags,
                    const std::string& options_text = "", int plates = 1,
                    const std::string& floor_flags = "shadow 3") {
    std::string plates_text;
    std::string names;
    for (int i = 0; i < plates; ++i) {
        // In the plane y = 1 + i / 2, above what the camera sees.
        plates_text +=
            fmt::format("instance \"p{}\" \"plate\" material \"pm\" transform 1 0 0 0 0 0 1 0 "
                        "0 -1 0 0 0 0 {} 1 end instance\n",
                        i, -(1.0 + 0.5 * i));
        names += fmt::format("\"p{}\" ", i);
    }
    Scene s;
    s.run(
        options(options_text) + camera(1, 1) +
        "light \"sun\" \"t_light\" ( \"color\" 1 1 1, \"shadow\" on ) direction 0 -1 0 end light\n"
        "instance \"sunI\" \"sun\" end instance\n"
        "object \"plate\" visible on " +
        plate_flags +
        " group -9 -9 0 9 -9 0 9 9 0 -9 9 0 v 0 v 1 v 2 v 3 p 0 1 2 3 end group end object\n"
        "object \"floor\" visible on " +
        floor_flags +
        " group -9 -1 0 9 -1 0 9 1 -9 -9 1 -9 v 0 v 1 v 2 v 3 p 0 1 2 3 end group end object\n" +
        plate_material + "material \"fm\" \"t_lambert\" ( \"color\" 1 1 1 ) end material\n" +
        plates_text + "instance \"f\" \"floor\" material \"fm\" end instance\n" +
        graph("\"sunI\" \"f\" " + names));
    EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
    return center(s.frame);
}

const std::string kOpaquePlate = constant("pm", "1 0 0 1");
// The floor slopes: normal (0, 9, 2) / sqrt(85).
const float kLit = 9.0f / std::sqrt(85.0f);

} // namespace

TEST(Shadow, OpaqueSurfacesBlockAndFlagsDecideWhich) {
    EXPECT_EQ(under_plate(kOpaquePlate, "shadow 3").r, 0.0f);
    EXPECT_EQ(under_plate(kOpaquePlate, "shadow 1").r, 0.0f);
    EXPECT_NEAR(under_plate(kOpaquePlate, "shadow 2").r, kLit, 1e-6) << "casts none";
    EXPECT_NEAR(under_plate(kOpaquePlate, "").r, kLit, 1e-6);
    EXPECT_NEAR(under_plate(kOpaquePlate, "shadow 3", "shadow off").r, kLit, 1e-6);
    EXPECT_NEAR(under_plate(kOpaquePlate, "shadow 3", "", 1, "shadow 1").r, kLit, 1e-6)
        << "the floor receives none";
}

TEST(Shadow, ShadersOfOccludersTintTheLight) {
    const std::string tinted = "material \"pm\" \"t_constant\" ( \"color\" 1 1 1 ) shadow "
                               "\"t_shadow\" ( \"color\" 0.5 0.25 1 ) end material\n";
    for (const char* const mode : {"shadow on", "shadow sort"}) {
        const miColor one = under_plate(tinted, "shadow 3", mode);
        EXPECT_NEAR(one.r, 0.5f * kLit, 1e-6);
        EXPECT_NEAR(one.g, 0.25f * kLit, 1e-6);
        EXPECT_NEAR(one.b, kLit, 1e-6);
        const miColor three = under_plate(tinted, "shadow 3", mode, 3);
        EXPECT_NEAR(three.r, 0.125f * kLit, 1e-6);
        EXPECT_NEAR(three.g, 0.015625f * kLit, 1e-6);
    }
}

TEST(Shadow, SegmentsGoFromOccluderToOccluder) {
    const std::string tinted = "material \"pm\" \"t_constant\" ( \"color\" 1 1 1 ) shadow "
                               "\"t_shadow_seg\" ( \"color\" 0.5 0.25 1 ) end material\n";
    const miColor three = under_plate(tinted, "shadow 3", "shadow segments", 3);
    EXPECT_NEAR(three.r, 0.125f * kLit, 1e-6);
    EXPECT_NEAR(three.b, kLit, 1e-6);
}

TEST(Lights, InstanceListsIncludeAndExclude) {
    const auto lit_by = [](const std::string& list) {
        Scene s;
        s.run(options() + camera(1, 1) + R"(
light "r" "t_light" ( "color" 1 0 0 ) direction 0 0 -1 end light
light "g" "t_light" ( "color" 0 1 0 ) direction 0 0 -1 end light
light "b" "t_light" ( "color" 0 0 1 ) direction 0 0 -1 end light
instance "rI" "r" end instance instance "gI" "g" end instance instance "bI" "b" end instance
instgroup "gb" "gI" "bI" end instgroup
instance "gbI" "gb" end instance
material "m" "t_lambert" ( "color" 1 1 1 ) end material
)" + square("plane", 2) +
              placed("p", "plane", "material \"m\"", 0, 0, -4, list) +
              graph("\"rI\" \"gbI\" \"p\""));
        EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
        const miColor c = center(s.frame);
        return fmt::format("{:.0f}{:.0f}{:.0f}", c.r, c.g, c.b);
    };
    EXPECT_EQ(lit_by(""), "111");
    EXPECT_EQ(lit_by("light [ \"rI\" ]"), "100");
    EXPECT_EQ(lit_by("light \"exclusive\" [ \"rI\" ]"), "011");
    EXPECT_EQ(lit_by("light [ \"gbI\" ]"), "011") << "a group counts with all its members";
    EXPECT_EQ(lit_by("light [ ]"), "000");
}

TEST(Materials, TaggedObjectsPickFromTheInstancesList) {
    Scene s;
    s.run(options() + camera(3, 1) + "object \"o\" visible on tagged on group\n" +
          "-3 -1 0 -1 -1 0 1 -1 0 3 -1 0 -3 1 0 -1 1 0 1 1 0 3 1 0\n"
          "v 0 v 1 v 2 v 3 v 4 v 5 v 6 v 7\n"
          "p 1 0 1 5 4  p 0 1 2 6 5  p 9 2 3 7 6 end group end object\n" +
          constant("a", "1 0 0 1") + constant("b", "0 1 0 1") +
          placed("i", "o", "material [ \"a\", \"b\" ]", 0, 0, -6) + graph("\"i\""));
    EXPECT_EQ(s.frame.color(0, 0).g, 1.0f);
    EXPECT_EQ(s.frame.color(1, 0).r, 1.0f) << "label 0 is the first entry";
    EXPECT_EQ(s.frame.color(2, 0).g, 1.0f) << "a label beyond the list takes the last";
    EXPECT_NE(s.all_messages().find("label 9"), std::string::npos) << s.all_messages();
}

namespace {

float with_materials(const std::string& object_material, const std::string& inner,
                     const std::string& outer) {
    Scene s;
    s.run(options() + camera(1, 1) + constant("a", "1 1 1") + constant("b", "2 2 2") +
          constant("c", "3 3 3") +
          "object \"o\" visible on group -1 -1 0 1 -1 0 1 1 0 -1 1 0 v 0 v 1 v 2 v 3 p " +
          object_material + " 0 1 2 3 end group end object\n" + placed("i", "o", inner, 0, 0, -4) +
          "instgroup \"g\" \"i\" end instgroup\ninstance \"gI\" \"g\" " + outer +
          " end instance\n" + graph("\"gI\""));
    EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
    return center(s.frame).r;
}

} // namespace

TEST(Materials, ThePolygonsOwnThenTheNearestInstancesUnlessOverridden) {
    EXPECT_EQ(with_materials("\"a\"", "material \"b\"", "material \"c\""), 1.0f);
    EXPECT_EQ(with_materials("", "material \"b\"", "material \"c\""), 2.0f);
    EXPECT_EQ(with_materials("", "", "material \"c\""), 3.0f);
    EXPECT_EQ(with_materials("\"a\"", "override material \"b\"", "material \"c\""), 2.0f);
    EXPECT_EQ(with_materials("\"a\"", "material \"b\"", "override material \"c\""), 3.0f);
}

TEST(Materials, SurfacesWithoutOneStayBlackWithAWarning) {
    EXPECT_EQ(with_materials("", "", ""), 0.0f);
}

TEST(World, GroupThatContainsItselfEndsTheRenderWithAMessage) {
    Scene s;
    s.run(options() + camera(2, 2) + square("plane", 2) + constant("m", "1 1 1") +
          "instgroup \"g\" end instgroup\ninstance \"gI\" \"g\" end instance\n"
          "incremental instgroup \"g\" \"gI\" end instgroup\n" +
          graph("\"gI\""));
    EXPECT_NE(s.outcome, Outcome::done);
    EXPECT_NE(s.all_messages().find("contains itself"), std::string::npos) << s.all_messages();
}

TEST(World, LeavesGoWithTheFrameAndTheirTagsStayBad) {
    Scene s;
    s.run(options() + camera(2, 2) + kThreeLayers);
    int instances = 0;
    s.context.database.for_each(miSCENE_INSTANCE, [&](miTag, void*) { ++instances; });
    EXPECT_EQ(instances, 4) << "those of the scene";
    EXPECT_TRUE(s.context.database.left_over_pins(false).empty());
}

TEST(World, InstanceMovedBetweenTwoRendersMovesInThePicture) {
    Scene s;
    std::vector<float> depths;
    s.on_rendered = [&](const vx::shading::RenderRequest&) {
        depths.push_back(s.frame.depth(0, 0, false));
    };
    s.run(options() + camera(1, 1) + square("plane", 2) + constant("m", "1 1 1") +
          placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\"") + "incremental " +
          placed("p", "plane", "", 0, 0, -7) + "render \"world\" \"camI\" \"opt\"\n");
    ASSERT_EQ(depths.size(), 2u) << s.all_messages();
    EXPECT_NEAR(depths[0], 4.0f, 1e-5f);
    EXPECT_NEAR(depths[1], 7.0f, 1e-5f);
}

namespace {

// A closed ball of facets, smooth by its normals.
std::string ball(double radius, int n) {
    std::string text = "object \"ball\" " + flags() + "\ngroup\n";
    const int columns = 2 * n;
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= columns; ++i) {
            const double theta = M_PI * j / n;
            const double phi = 2 * M_PI * i / columns;
            const double x = std::sin(theta) * std::cos(phi);
            const double y = std::cos(theta);
            const double z = -std::sin(theta) * std::sin(phi);
            text += fmt::format("{:.9g} {:.9g} {:.9g} {:.9g} {:.9g} {:.9g}\n", x * radius,
                                y * radius, z * radius, x, y, z);
        }
    for (int i = 0; i < (n + 1) * (columns + 1); ++i)
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

// Pixels that are darker than a light at the camera would make them.
int dark_pixels(double offset, int n, bool twice) {
    Scene s;
    const std::string o = fmt::format("{:.9g}", -offset);
    std::string text =
        options() + camera(64, 64) + ball(1.0, n) +
        "light \"lamp\" \"t_light\" ( \"color\" 1 1 1, \"shadow\" on ) origin 0 0 0 end light\n"
        "instance \"lampI\" \"lamp\" transform 1 0 0 0 0 1 0 0 0 0 1 0 " +
        o +
        " 0 0 1 end instance\n"
        "material \"m\" \"t_lambert\" ( \"color\" 1 1 1 ) end material\n"
        "instance \"camI\" \"cam\" transform 1 0 0 0 0 1 0 0 0 0 1 0 " +
        o + " 0 0 1 end instance\n" + placed("b", "ball", "material \"m\"", offset, 0, -2.5) +
        placed("far", "ball", "material \"m\"", offset + 500, 0, -2.5);
    text += std::string("instgroup \"world\" \"camI\" \"lampI\" \"b\" ") +
            (twice ? "\"far\"" : "") + " end instgroup\nrender \"world\" \"camI\" \"opt\"\n";
    s.run(text);
    EXPECT_EQ(s.outcome, Outcome::done) << s.all_messages();
    int dark = 0;
    int seen = 0;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) {
            if (s.frame.depth(x, y, false) > 100) continue;
            const miVector n_at = s.frame.normal(x, y, false);
            const miVector d{(static_cast<float>(x) + 0.5f) / 64 - 0.5f,
                             (static_cast<float>(y) + 0.5f) / 64 - 0.5f, -1.0f};
            // The light is at the camera, so it reaches everything visible.
            const float cosine = -mi_vector_dot(&n_at, &d) / mi_vector_norm(&d);
            if (cosine < 0.1f) continue;
            ++seen;
            if (s.frame.color(x, y).r < 0.9f * cosine) ++dark;
        }
    EXPECT_GT(seen, 1000);
    return dark;
}

} // namespace

TEST(Speckle, SurfacesDoNotShadeThemselves) {
    for (const double offset : {0.0, 100.0, 1000.0, 10000.0})
        for (const int n : {8, 64, 300})
            for (const bool twice : {false, true})
                EXPECT_EQ(dark_pixels(offset, n, twice), 0)
                    << "at " << offset << ", " << n << " rows" << (twice ? ", instanced" : "");
}

TEST(Texture, LookupIsBilinearAndUpsideUp) {
    Scene s;
    // 2 x 2 pixels of one byte: 0 51 / 102 255, the lowest row first.
    s.run(options() + camera(8, 8, "focal infinity aperture 2") + square("plane", 1) +
          "scalar texture \"t\" [ 2 2 1 ] '003366ff'\n"
          "material \"m\" \"t_texture\" ( \"texture\" \"t\" ) end material\n" +
          placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\""));
    ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
    for (int j = 0; j < 8; ++j)
        for (int i = 0; i < 8; ++i) {
            const double x = std::clamp((i + 0.5) / 8 * 2 - 0.5, 0.0, 1.0);
            const double y = std::clamp((j + 0.5) / 8 * 2 - 0.5, 0.0, 1.0);
            const double expected =
                (1 - y) * (x * 51 / 255) + y * ((1 - x) * 102 / 255 + x * 255 / 255);
            EXPECT_NEAR(s.frame.color(i, j).r, expected, 1e-5) << i << ", " << j;
        }
}

TEST(Texture, MissingFileIsAWarningOrEndsTheRender) {
    const std::string scene = options() + camera(2, 2) + square("plane", 9) +
                              "color texture \"t\" \"no_such_picture.png\"\n"
                              "material \"m\" \"t_texture\" ( \"texture\" \"t\" ) end material\n" +
                              placed("p", "plane", "material \"m\"", 0, 0, -4) + graph("\"p\"");
    {
        Scene on;
        on.run(scene);
        EXPECT_EQ(on.outcome, Outcome::done);
        EXPECT_EQ(on.frame.color(0, 0).r, 9.0f) << "the lookup failed";
        EXPECT_NE(on.all_messages().find("no_such_picture.png"), std::string::npos);
    }
    vx::render::RenderSettings settings;
    settings.texture_continue = false;
    Scene off(settings);
    off.run(scene);
    EXPECT_EQ(off.outcome, Outcome::failed);
    EXPECT_FALSE(off.errors.empty());
}

TEST(Threads, SamePictureWithOneTwoAndSixteen) {
    std::vector<float> first;
    for (const int threads : {1, 2, 16}) {
        vx::render::RenderSettings settings;
        settings.threads = threads;
        Scene s(settings);
        s.run(options("samples 0 2 jitter 1 filter mitchell 4 4") + camera(96, 64) + ball(1, 40) +
              "light \"lamp\" \"t_light\" ( \"color\" 9 9 9, \"shadow\" on, \"falloff\" 1 ) origin "
              "2 3 0 end "
              "light instance \"lampI\" \"lamp\" end instance\n"
              "material \"m\" \"t_lambert\" ( \"color\" 1 0.5 0.2 ) end material\n"
              "material \"mm\" \"t_mirror\" () end material\n" +
              square("floor", 9) + placed("b", "ball", "material \"m\"", -0.5, 0, -3) +
              placed("c", "ball", "material \"mm\"", 1, 0.2, -4) +
              placed("w", "floor", "material \"m\"", 0, 0, -6) +
              graph("\"lampI\" \"b\" \"c\" \"w\""));
        ASSERT_EQ(s.outcome, Outcome::done) << s.all_messages();
        std::vector<float> now;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 96; ++x) {
                const miColor c = s.frame.color(x, y);
                now.insert(now.end(), {c.r, c.g, c.b, c.a, s.frame.depth(x, y, false)});
            }
        if (first.empty()) first = now;
        EXPECT_EQ(first, now) << threads << " threads";
    }
}

TEST(Interrupt, EndsAFrameBeforeItsTexturesAreRead) {
    Scene s;
    s.interrupt = true;
    s.run("color texture \"absent\" \"there_is_no_such_picture.png\"\n" + options() + camera(1, 1) +
          square("plane", 3) + constant("m", "1 1 1 1") +
          placed("n", "plane", "material \"m\"", 0, 0, -4) + graph("\"n\""));
    EXPECT_EQ(s.renders, 1);
    EXPECT_EQ(s.outcome, Outcome::interrupted);
    EXPECT_TRUE(s.errors.empty()) << s.all_messages();
}
