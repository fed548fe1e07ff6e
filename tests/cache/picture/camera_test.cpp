#include "cache/picture/camera.h"

#include "host/render/camera_ray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace vx::cache;

namespace {

Camera plain_camera(int w, int h) {
    Camera c;
    c.width = w;
    c.height = h;
    c.focal = 2;
    c.set_plane(1, 2, 0, 0);
    return c;
}

void expect_near(const Vec& a, const Vec& b, double tolerance = 1e-12) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}

} // namespace

TEST(Camera, PerspectivePositionByHand) {
    // Image plane 1 x 0.5 at distance 2; (1, 0.5, -8) meets it at (0.25, 0.125), which is three
    // quarters of the width and of the height.
    const Camera::Position p = plain_camera(100, 50).project({1, 0.5, -8});
    EXPECT_DOUBLE_EQ(p.x, 75);
    EXPECT_DOUBLE_EQ(p.y, 37.5);
    EXPECT_DOUBLE_EQ(p.depth, 8);
}

TEST(Camera, OrthographicPositionByHand) {
    Camera c = plain_camera(100, 50);
    c.orthographic = true;
    const Camera::Position p = c.project({0.25, -0.125, -8});
    EXPECT_DOUBLE_EQ(p.x, 75);
    EXPECT_DOUBLE_EQ(p.y, 12.5);
}

TEST(Camera, SeesPointsWhereTheRendererSendsItsRays) {
    miCamera scene{};
    scene.focal = 1.5f;
    scene.aperture = 1.25f;
    scene.aspect = 1.5f;
    scene.x_resolution = 321;
    scene.y_resolution = 123;
    scene.x_offset = 7;
    scene.y_offset = -3.5f;
    const vx::trace::Matrix to_world{0.6f, 0, -0.8f, 0, 0,    1,      0,     0,
                                     0.8f, 0, 0.6f,  0, 3.5f, -2.25f, 7.75f, 1};
    for (const bool orthographic : {false, true}) {
        scene.orthographic = orthographic ? miTRUE : miFALSE;
        Camera c;
        c.width = scene.x_resolution;
        c.height = scene.y_resolution;
        c.orthographic = orthographic;
        c.focal = 1.5;
        c.set_plane(1.25, 1.5, 7, -3.5);
        // The inverse of a rotation and a translation: the transpose, and back again.
        c.to_camera = {0.6, 0, 0.8, 0, 0, 1, 0, 0, -0.8, 0, 0.6, 0, 0, 0, 0, 1};
        const Vec back = transform_direction(c.to_camera, {3.5, -2.25, 7.75});
        c.to_camera[3][0] = -back.x;
        c.to_camera[3][1] = -back.y;
        c.to_camera[3][2] = -back.z;
        for (const float x : {0.5f, 100.25f, 320.5f}) {
            for (const float y : {0.5f, 60.0f, 122.5f}) {
                const auto ray = vx::render::CameraRays(scene, to_world).at(x, y);
                for (const double t : {0.5, 20.0}) {
                    const Vec at{static_cast<double>(ray.origin.x) +
                                     t * static_cast<double>(ray.direction.x),
                                 static_cast<double>(ray.origin.y) +
                                     t * static_cast<double>(ray.direction.y),
                                 static_cast<double>(ray.origin.z) +
                                     t * static_cast<double>(ray.direction.z)};
                    const Camera::Position p = c.project(at);
                    EXPECT_NEAR(p.x, static_cast<double>(x), 2e-3) << orthographic << ' ' << t;
                    EXPECT_NEAR(p.y, static_cast<double>(y), 2e-3) << orthographic << ' ' << t;
                }
            }
        }
    }
}

TEST(LookAt, TargetIsOnTheAxis) {
    const Matrix m = look_at({1, 2, 3}, {4, -2, 3}, {0, 1, 0});
    expect_near(transform_point(m, {1, 2, 3}), {0, 0, 0});
    expect_near(transform_point(m, {4, -2, 3}), {0, 0, -5});
    // Straight to the right of somebody who looks along +x with y up is +z.
    expect_near(transform_direction(m, {0, 0, 1}), {1, 0, 0});
    EXPECT_GT(transform_direction(m, {0, 1, 0}).y, 0);
}

TEST(LookAt, ViewAlongTheUpDirectionIsValid) {
    for (const Vec& up : {Vec{0, 1, 0}, Vec{0, 0, 1}, Vec{1, 0, 0}}) {
        const Matrix m = look_at(up * 5, Vec(0.0), up);
        expect_near(transform_point(m, Vec(0.0)), {0, 0, -5});
        const Vec right{m[0][0], m[1][0], m[2][0]};
        EXPECT_NEAR(length(right), 1, 1e-12);
        EXPECT_NEAR(right.dot(up), 0, 1e-12);
    }
}

TEST(NamedDirection, SidesFollowTheUpAxis) {
    const Vec y{0, 1, 0};
    expect_near(named_direction("front", y).back, {0, 0, 1});
    expect_near(named_direction("right", y).back, {1, 0, 0});
    expect_near(named_direction("left", y).back, {-1, 0, 0});
    expect_near(named_direction("back", y).back, {0, 0, -1});
    expect_near(named_direction("top", y).back, {0, 1, 0});
    expect_near(named_direction("top", y).up, {0, 0, -1});
    expect_near(named_direction("bottom", y).back, {0, -1, 0});
    const Vec z{0, 0, 1};
    expect_near(named_direction("front", z).back, {0, -1, 0});
    expect_near(named_direction("right", z).back, {1, 0, 0});
    expect_near(named_direction("top", z).up, {0, 1, 0});
}

TEST(Framing, ThePointsFillTheViewAndNoneIsOutside) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> spread(-3, 3);
    std::vector<Vec> points;
    points.reserve(500);
    for (int i = 0; i < 500; ++i)
        points.push_back({spread(random) + 10, spread(random) * 0.2 - 4, spread(random)});
    for (const bool orthographic : {false, true}) {
        const Direction d = named_direction("", {0, 1, 0});
        const double half = 0.4;
        Framing framing(look_at(d.back, Vec(0.0), d.up), orthographic, half, half * 0.75);
        for (const Vec& p : points)
            framing.add(p, 0);
        Camera c;
        c.width = 400;
        c.height = 300;
        c.orthographic = orthographic;
        c.to_camera = look_at(framing.eye(), framing.eye() - d.back, d.up);
        c.set_plane(orthographic ? 2 * framing.half_width() : 2 * half, 400.0 / 300, 0, 0);
        double left = 1e9, right = -1e9, low = 1e9, high = -1e9;
        for (const Vec& p : points) {
            const Camera::Position at = c.project(p);
            ASSERT_GT(at.depth, 0);
            left = std::min(left, at.x);
            right = std::max(right, at.x);
            low = std::min(low, at.y);
            high = std::max(high, at.y);
        }
        // The wider direction touches both of its edges; the other is in the middle, in perspective
        // as nearly as a line between two of eight shares of the view tells.
        EXPECT_NEAR(left, 0, 1e-6);
        EXPECT_NEAR(right, 400, 1e-6);
        EXPECT_GT(low, 0);
        EXPECT_LT(high, 300);
        EXPECT_NEAR(low, 300 - high, orthographic ? 1e-6 : 3.0);
    }
}

TEST(Framing, ASinglePointIsInFrontOfTheCamera) {
    for (const bool orthographic : {false, true}) {
        Framing framing(look_at({0, 0, 1}, Vec(0.0), {0, 1, 0}), orthographic, 0.3, 0.3);
        framing.add({5, 6, 7}, 0);
        EXPECT_NEAR(framing.eye().x, 5, 1e-9);
        EXPECT_NEAR(framing.eye().y, 6, 1e-9);
        EXPECT_GT(framing.eye().z, 7);
        EXPECT_GT(framing.half_width(), 0);
    }
}

TEST(Framing, RadiiCount) {
    // A ball of radius 1 touches the sides of a view of half angle 30 degrees from twice its
    // radius.
    const double tangent = std::tan(std::acos(-1.0) / 6);
    Framing framing(look_at({0, 0, 1}, Vec(0.0), {0, 1, 0}), false, tangent, tangent);
    framing.add({0, 0, 0}, 1);
    EXPECT_NEAR(framing.eye().z, 2, 1e-9);
}
