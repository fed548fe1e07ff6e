#include "cache/picture/raster.h"
#include "cache/verbs/view_points.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <random>

namespace vx::cache {
namespace {

constexpr std::int64_t kPoints = 300000; // more than are projected at once

// Points of few places, so that many discs lie at the same depth: the first of them is seen.
void fill_densely(MemoryCloud& cloud) {
    std::mt19937 random(6);
    std::vector<double> position;
    std::vector<double> normal;
    std::vector<double> color;
    std::vector<std::int32_t> tag;
    for (std::int64_t i = 0; i < cloud.count; ++i) {
        const auto x = static_cast<double>(random() % 60) / 60;
        const auto y = static_cast<double>(random() % 60) / 60;
        position.insert(position.end(), {x, y, x * y / 4});
        normal.insert(normal.end(), {0, 0, 1});
        for (int k = 0; k < 3; ++k)
            color.push_back(static_cast<double>(random() % 256) / 255);
        tag.push_back(static_cast<std::int32_t>(random() % 5));
    }
    position[30] = std::numeric_limits<double>::infinity();
    color[60] = std::numeric_limits<double>::quiet_NaN();
    cloud.add("position", 3, position).add("normalPP", 3, normal).add("rgbPP", 3, color);
    cloud.add("tag", 1, tag);
}

Camera camera_over_the_cloud() {
    Camera camera;
    camera.width = 50;
    camera.height = 40;
    camera.to_camera.makeIdentity();
    camera.to_camera[3][0] = -0.5;
    camera.to_camera[3][1] = -0.5;
    camera.to_camera[3][2] = -1.5;
    camera.set_plane(0.8, 1.25, 0, 0);
    return camera;
}

ViewStyle style_of_the_test() {
    ViewStyle style;
    style.radius = 0.01;
    style.samples = 2;
    style.lit = false;
    return style;
}

// One disc after the other.
Picture drawn_in_order(ViewCloud& cloud, const ViewStyle& style, const Camera& camera,
                       std::int64_t& points) {
    Picture picture(camera.width, camera.height, style.background);
    DiscRaster raster(camera, style.samples, 0, camera.height);
    cloud.each([&](const ViewCloud::Point& p, ColorReader& colors) {
        const Vec center = transform_point(camera.to_camera, p.position);
        if (raster.draw({center, p.normal, p.radius, colors.color(p.index, {})})) ++points;
    });
    raster.resolve(picture, style.background);
    return picture;
}

TEST(DrawCloud, ThreadsDrawWhatOneDiscAfterTheOtherDoes) {
    MemoryCloud cloud(kPoints);
    fill_densely(cloud);
    ViewStyle style = style_of_the_test();
    const Camera camera = camera_over_the_cloud();
    for (const bool only_some : {false, true}) {
        if (only_some) style.labels = "1,3";
        for (const bool parallel : {false, true}) {
            cloud.parallel = parallel;
            ViewCloud view(cloud, style);
            std::int64_t points = 0;
            const Picture expected = drawn_in_order(view, style, camera, points);
            const DrawnCloud read = draw_cloud(view, style, camera, {}, {});
            EXPECT_EQ(read.picture.pixels, expected.pixels);
            EXPECT_EQ(read.points, points);
            EXPECT_GT(points, kPoints / 10);
            EXPECT_LT(points, kPoints);
            EXPECT_EQ(view.kept(0), nullptr);
            view.keep({});
            ASSERT_NE(view.kept(0), nullptr);
            const DrawnCloud kept = draw_cloud(view, style, camera, {}, {});
            EXPECT_EQ(kept.picture.pixels, expected.pixels);
            EXPECT_EQ(kept.points, points);
        }
    }
}

TEST(SequenceSummary, ThreadsSeeAllPoints) {
    MemoryCloud cloud(kPoints);
    fill_densely(cloud);
    ViewStyle style = style_of_the_test();
    for (const char* const by : {"rgbPP", "position.x", "tag"}) {
        style.by = by;
        for (const bool parallel : {false, true}) {
            cloud.parallel = parallel;
            ViewCloud view(cloud, style);
            SequenceSummary summary;
            summary.add(view);
            EXPECT_EQ(summary.points, kPoints - 1);
            EXPECT_EQ(view.without_position, 1);
            EXPECT_EQ(view.without_value, style.by == "rgbPP" ? 1 : 0);
            EXPECT_EQ(summary.low, (Vec{0, 0, 0}));
            EXPECT_EQ(summary.high, (Vec{59.0 / 60, 59.0 / 60, 59.0 / 60 * (59.0 / 60) / 4}));
            EXPECT_EQ(summary.radius, 0.01);
            if (style.by == "position.x") {
                EXPECT_EQ(summary.scale.low, 0);
                EXPECT_EQ(summary.scale.high, 59.0 / 60);
            }
            if (style.by == "tag") {
                EXPECT_EQ(summary.scale.labels, (std::set<std::int32_t>{0, 1, 2, 3, 4}));
            }
            EXPECT_EQ(summary.scale.corner_high, summary.high);
        }
    }
}

} // namespace
} // namespace vx::cache
