#include "host/shading/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

using namespace vx;

TEST(Records, OptionsKeepTheirValues) {
    scene::Options o;
    o.trace = false;
    o.reflection_depth = 3;
    o.refraction_depth = 4;
    o.trace_depth = 6;
    o.min_samples = -1;
    o.max_samples = 2;
    o.contrast = {0.1f, 0.2f, 0.3f, 0.4f};
    o.filter = {scene::FilterKind::gauss, false, 3, 2};
    o.jitter = 0.5f;
    o.shadow = scene::ShadowMode::segments;
    o.face = scene::Face::front;
    o.lens = false;
    const miOptions r = shading::options_record(o);
    EXPECT_EQ(r.trace, 0);
    EXPECT_EQ(r.scanline, 1);
    EXPECT_EQ(r.reflection_depth, 3);
    EXPECT_EQ(r.refraction_depth, 4);
    EXPECT_EQ(r.trace_depth, 6);
    EXPECT_EQ(r.min_samples, -1);
    EXPECT_EQ(r.max_samples, 2);
    EXPECT_EQ(r.contrast.a, 0.4f);
    EXPECT_EQ(r.filter, 2);
    EXPECT_EQ(r.filter_size_y, 2);
    EXPECT_EQ(r.jitter, 0.5f);
    EXPECT_EQ(r.shadow, 3);
    EXPECT_EQ(r.face, miFACE_FRONT);
    EXPECT_EQ(r.lens, 0);
    EXPECT_EQ(r.output, 1);
}

TEST(Records, CameraWithoutAWindowHasTheWholeImage) {
    scene::Camera c;
    c.focal = 1.4f;
    c.aperture = 1.5f;
    c.aspect = 1.25f;
    c.x_resolution = 64;
    c.y_resolution = 48;
    c.frame = 12;
    c.frame_time = 0.5f;
    c.x_offset = 2;
    miCamera r = shading::camera_record(c);
    EXPECT_EQ(r.focal, 1.4f);
    EXPECT_EQ(r.aperture, 1.5f);
    EXPECT_EQ(r.aspect, 1.25f);
    EXPECT_EQ(r.x_resolution, 64);
    EXPECT_EQ(r.y_resolution, 48);
    EXPECT_EQ(r.frame, 12);
    EXPECT_EQ(r.frame_time, 0.5f);
    EXPECT_EQ(r.x_offset, 2);
    EXPECT_EQ(r.window.xl, 0);
    EXPECT_EQ(r.window.xh, 65535);
    c.window = scene::Window{1, 2, 3, 4};
    c.orthographic = true;
    r = shading::camera_record(c);
    EXPECT_EQ(r.window.yh, 4);
    EXPECT_EQ(r.orthographic, 1);
}

TEST(Records, LightKindFollowsFromOriginDirectionAndSpread) {
    scene::Light l;
    EXPECT_EQ(shading::light_record(l).type, miLIGHT_ORIGIN);
    l.direction = scene::Vec3{0, 0, -1};
    EXPECT_EQ(shading::light_record(l).type, miLIGHT_DIRECTION);
    l.origin = scene::Vec3{1, 2, 3};
    EXPECT_EQ(shading::light_record(l).type, miLIGHT_DIRECTION);
    l.spread = 0.9f;
    const miLight r = shading::light_record(l);
    EXPECT_EQ(r.type, miLIGHT_SPOT);
    EXPECT_EQ(r.origin.y, 2);
    EXPECT_EQ(r.direction.z, -1);
    EXPECT_EQ(r.spread, 0.9f);
}

TEST(Records, InstanceHoldsItsMatrixAndTheInverse) {
    scene::Instance i;
    EXPECT_TRUE(shading::instance_record(i).tf.identity);
    // A quarter turn about z, twice as large, and a translation.
    i.transform = scene::Matrix{0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1};
    const miInstance r = shading::instance_record(i);
    EXPECT_FALSE(r.tf.identity);
    EXPECT_THAT(std::vector<float>(r.tf.global_to_local, r.tf.global_to_local + 16),
                testing::ElementsAre(0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1));
    EXPECT_THAT(
        std::vector<float>(r.tf.local_to_global, r.tf.local_to_global + 16),
        testing::ElementsAre(0, -0.5f, 0, 0, 0.5f, 0, 0, 0, 0, 0, 0.5f, 0, -1, 0.5f, -1.5f, 1));
}

TEST(Records, InverseNeedsNoNonZeroDiagonal) {
    const scene::Matrix permutation = {0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(shading::inverse(permutation),
              (scene::Matrix{0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1}));
}

TEST(Records, SingularMatrixGivesTheIdentity) {
    EXPECT_EQ(shading::inverse(scene::Matrix{}), scene::kIdentityMatrix);
}

TEST(Records, InstanceFlagsAreTheRenderersNumbers) {
    // On the heap: GCC 12 takes the list of lights for uninitialized in a local variable.
    const auto made = std::make_unique<scene::Instance>();
    scene::Instance& i = *made;
    i.flags.visible = scene::Switch::off;
    i.flags.select = scene::Switch::on;
    i.flags.shadow = 6;
    i.flags.reflection = 12;
    i.flags.face = scene::Face::back;
    i.label = 77;
    i.hide = true;
    i.override_material = true;
    i.motion = scene::MotionKind::off;
    i.lights.emplace().exclusive = true;
    const miInstance r = shading::instance_record(i);
    EXPECT_EQ(r.visible, 1);
    EXPECT_EQ(r.select, 2);
    EXPECT_EQ(r.hardware, 0);
    EXPECT_EQ(r.shadow, 6);
    EXPECT_EQ(r.reflection, 12);
    EXPECT_EQ(r.face, miFACE_BACK);
    EXPECT_EQ(r.label, 77u);
    EXPECT_EQ(r.off, 1);
    EXPECT_EQ(r.override_material, 1);
    EXPECT_EQ(r.gen_motion, 2);
    EXPECT_EQ(r.light_exclusive, 1);
}
