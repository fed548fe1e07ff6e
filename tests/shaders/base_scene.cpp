#include "base_scene.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace vx::test {

V view(int i, int j) {
    const double aspect = double(kWidth) / kHeight;
    return unit({((i + 0.5) / kWidth - 0.5) * 2, ((j + 0.5) / kHeight - 0.5) * 2 / aspect, -1});
}

V meets(int i, int j, double depth) {
    const V d = view(i, j);
    return d * (depth / d.z);
}

std::string plane(const std::string& name, const std::string& material, double depth,
                  const std::string& items) {
    return fmt::format("instance \"{}\" \"plane\" material \"{}\" transform 1 0 0 0 0 1 0 0 0 0 1 "
                       "0 0 0 {} 1 {} end instance\n",
                       name, material, -depth, items);
}

std::string point_light(const std::string& name, const V& place, const V& color) {
    return fmt::format("light \"{0}\" \"mib_light_point\" ( \"color\" {1} {2} {3} ) origin 0 0 0 "
                       "end light\ninstance \"{0}I\" \"{0}\" transform 1 0 0 0 0 1 0 0 0 0 1 0 {4} "
                       "{5} {6} 1 end instance\n",
                       name, color.x, color.y, color.z, -place.x, -place.y, -place.z);
}

void render_base(Scene& scene, const std::string& text, const std::string& members,
                 const std::string& camera_items, const std::string& option_items) {
    const std::string head =
        fmt::format("link \"{}\"\n$include \"{}\"\n", VX_BASE_LIBRARY, VX_BASE_DECLARATION);
    scene.run(head + options(option_items) + camera(kWidth, kHeight, "aperture 2 " + camera_items) +
              square("plane", 75) + text +
              "instance \"camI\" \"cam\" end instance\ninstgroup \"world\" \"camI\" " + members +
              " end instgroup\nrender \"world\" \"camI\" \"opt\"\n");
    EXPECT_EQ(scene.outcome, render::Outcome::done) << scene.all_messages();
    EXPECT_TRUE(scene.errors.empty()) << scene.all_messages();
}

void expect_color(const Scene& scene, int i, int j, const V& expected, double tolerance) {
    const miColor c = scene.frame.color(i, j);
    EXPECT_NEAR(c.r, expected.x, tolerance) << "pixel " << i << ", " << j;
    EXPECT_NEAR(c.g, expected.y, tolerance) << "pixel " << i << ", " << j;
    EXPECT_NEAR(c.b, expected.z, tolerance) << "pixel " << i << ", " << j;
}

} // namespace vx::test
