#include "host/render/camera_ray.h"

#include <gtest/gtest.h>

using vx::render::CameraRays;
using vx::render::render_window;
using vx::trace::kIdentity;

namespace {

miCamera camera(int w, int h) {
    miCamera c{};
    c.focal = 2.0f;
    c.aperture = 1.0f;
    c.aspect = 2.0f;
    c.x_resolution = w;
    c.y_resolution = h;
    c.window = {0, 0, 65535, 65535};
    return c;
}

} // namespace

TEST(CameraRay, LooksAlongMinusZWithTheImagesCenterInTheMiddle) {
    const auto ray = CameraRays(camera(100, 50), kIdentity).at(50.0f, 25.0f);
    EXPECT_EQ(ray.origin.z, 0.0f);
    EXPECT_FLOAT_EQ(ray.direction.x, 0.0f);
    EXPECT_FLOAT_EQ(ray.direction.y, 0.0f);
    EXPECT_FLOAT_EQ(ray.direction.z, -1.0f);
}

TEST(CameraRay, CornersFollowApertureAndAspectAtAnyResolution) {
    for (const int w : {100, 33}) {
        const auto ray = CameraRays(camera(w, 50), kIdentity).at(0.0f, 50.0f);
        // Half the aperture to the left, half of aperture / aspect up, focal forward.
        EXPECT_FLOAT_EQ(ray.direction.x / -ray.direction.z, -0.5f / 2.0f);
        EXPECT_FLOAT_EQ(ray.direction.y / -ray.direction.z, 0.25f / 2.0f);
    }
}

TEST(CameraRay, OrthographicRaysAreParallel) {
    miCamera c = camera(100, 50);
    c.orthographic = miTRUE;
    const auto ray = CameraRays(c, kIdentity).at(100.0f, 0.0f);
    EXPECT_FLOAT_EQ(ray.origin.x, 0.5f);
    EXPECT_FLOAT_EQ(ray.origin.y, -0.25f);
    EXPECT_FLOAT_EQ(ray.direction.z, -1.0f);
    EXPECT_FLOAT_EQ(ray.direction.x, 0.0f);
}

TEST(CameraRay, PositiveOffsetMovesTheImageRightAndUp) {
    miCamera c = camera(100, 50);
    const auto before = CameraRays(c, kIdentity).at(30.0f, 20.0f);
    c.x_offset = 5.0f;
    c.y_offset = 3.0f;
    const auto after = CameraRays(c, kIdentity).at(35.0f, 23.0f);
    EXPECT_FLOAT_EQ(before.direction.x, after.direction.x);
    EXPECT_FLOAT_EQ(before.direction.y, after.direction.y);
}

TEST(CameraRay, IsTransformedToWorldSpace) {
    // A quarter turn about y, which maps -z to -x, then a translation by (1, 2, 3).
    const vx::trace::Matrix turn{0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 1, 2, 3, 1};
    const auto ray = CameraRays(camera(100, 50), turn).at(50.0f, 25.0f);
    EXPECT_FLOAT_EQ(ray.origin.x, 1.0f);
    EXPECT_FLOAT_EQ(ray.origin.y, 2.0f);
    EXPECT_FLOAT_EQ(ray.origin.z, 3.0f);
    EXPECT_FLOAT_EQ(ray.direction.x, -1.0f);
}

TEST(RenderWindow, CornersAreInclusive) {
    miCamera c = camera(100, 50);
    c.window = {10, 20, 19, 39};
    const auto w = render_window(c);
    EXPECT_EQ(w.x0, 10);
    EXPECT_EQ(w.width(), 10);
    EXPECT_EQ(w.y0, 20);
    EXPECT_EQ(w.height(), 20);
}

TEST(RenderWindow, IsClippedToTheImage) {
    miCamera c = camera(100, 50);
    const auto whole = render_window(c);
    EXPECT_EQ(whole.width(), 100);
    EXPECT_EQ(whole.height(), 50);
    c.window = {-5, -5, 2147483647, 4};
    EXPECT_EQ(render_window(c).x1, 100);
    EXPECT_EQ(render_window(c).y1, 5);
    c.window = {200, 0, 300, 10};
    EXPECT_TRUE(render_window(c).empty());
}
