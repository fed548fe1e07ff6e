#include "host/render/camera_ray.h"

#include <algorithm>

namespace vx::render {

CameraRay camera_ray(const miCamera& camera, const trace::Matrix& to_world, float x, float y) {
    const double w = camera.x_resolution;
    const double h = camera.y_resolution;
    const double aperture = static_cast<double>(camera.aperture);
    const double aspect = camera.aspect != 0.0f ? static_cast<double>(camera.aspect) : 1.0;
    const double cx =
        ((static_cast<double>(x) - static_cast<double>(camera.x_offset)) / w - 0.5) * aperture;
    const double cy = ((static_cast<double>(y) - static_cast<double>(camera.y_offset)) / h - 0.5) *
                      aperture / aspect;
    miVector origin{0.0f, 0.0f, 0.0f};
    miVector direction{static_cast<float>(cx), static_cast<float>(cy), -camera.focal};
    if (camera.orthographic) {
        origin = {static_cast<float>(cx), static_cast<float>(cy), 0.0f};
        direction = {0.0f, 0.0f, -1.0f};
    }
    return {trace::point(to_world.data(), origin),
            trace::normalized(trace::direction(to_world.data(), direction))};
}

image::Rect render_window(const miCamera& camera) {
    const auto clamp = [](long long v, int high) {
        return static_cast<int>(std::clamp<long long>(v, 0, high));
    };
    const miWindow& w = camera.window;
    return {clamp(w.xl, camera.x_resolution), clamp(w.yl, camera.y_resolution),
            clamp(static_cast<long long>(w.xh) + 1, camera.x_resolution),
            clamp(static_cast<long long>(w.yh) + 1, camera.y_resolution)};
}

} // namespace vx::render
