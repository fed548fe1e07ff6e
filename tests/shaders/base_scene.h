// Small scenes with the shaders of base.so, and what each pixel of them sees.
#pragma once

#include "run_scene.h"

#include <cmath>
#include <string>

namespace vx::test {

struct V {
    double x = 0, y = 0, z = 0;
    V operator+(const V& b) const { return {x + b.x, y + b.y, z + b.z}; }
    V operator-(const V& b) const { return {x - b.x, y - b.y, z - b.z}; }
    V operator*(double f) const { return {x * f, y * f, z * f}; }
    V operator*(const V& b) const { return {x * b.x, y * b.y, z * b.z}; }
};
inline double dot(const V& a, const V& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline V unit(const V& a) {
    return a * (1.0 / std::sqrt(dot(a, a)));
}

// The picture is this large; the camera stands at the origin and looks along -z, 90 degrees wide.
constexpr int kWidth = 12, kHeight = 9;
// Direction through the centre of pixel (i, j).
V view(int i, int j);
// Where that line meets the plane z = depth.
V meets(int i, int j, double depth);

// An instance of square "plane" (150 wide) in the plane z = depth, facing the camera.
std::string plane(const std::string& name, const std::string& material, double depth,
                  const std::string& items = "");
// A point light of mib_light_point without shadow and falloff, as instance nameI.
std::string point_light(const std::string& name, const V& place, const V& color);

// Links base.so, includes base.mi, sets up options, the camera and the square, then `text`; the
// group holds `members` and the camera. `camera_items` go into the camera.
void render_base(Scene& scene, const std::string& text, const std::string& members,
                 const std::string& camera_items = "", const std::string& option_items = "");

void expect_color(const Scene& scene, int i, int j, const V& expected, double tolerance = 4e-6);

} // namespace vx::test
