#include "host/render/camera_ray.h"

#include <algorithm>

namespace vx::render {

CameraRays::CameraRays(const miCamera& camera, const trace::Matrix& to_world)
    : to_world_(to_world),
      eye_(trace::point(to_world.data(), {0.0f, 0.0f, 0.0f})),
      orthographic_(camera.orthographic != miFALSE),
      focal_(camera.focal) {
    const double aperture = static_cast<double>(camera.aperture);
    const double aspect = camera.aspect != 0.0f ? static_cast<double>(camera.aspect) : 1.0;
    scale_x_ = aperture / camera.x_resolution;
    shift_x_ = -0.5 * aperture - static_cast<double>(camera.x_offset) * scale_x_;
    scale_y_ = aperture / aspect / camera.y_resolution;
    shift_y_ = -0.5 * aperture / aspect - static_cast<double>(camera.y_offset) * scale_y_;
}

CameraRay CameraRays::at(float x, float y) const {
    const auto cx = static_cast<float>(static_cast<double>(x) * scale_x_ + shift_x_);
    const auto cy = static_cast<float>(static_cast<double>(y) * scale_y_ + shift_y_);
    const miVector along = orthographic_ ? miVector{0.0f, 0.0f, -1.0f} : miVector{cx, cy, -focal_};
    return {orthographic_ ? trace::point(to_world_.data(), {cx, cy, 0.0f}) : eye_,
            trace::normalized(trace::direction(to_world_.data(), along))};
}

CameraRay camera_ray(const miCamera& camera, const trace::Matrix& to_world, float x, float y) {
    return CameraRays(camera, to_world).at(x, y);
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
