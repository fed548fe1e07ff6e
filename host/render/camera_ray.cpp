#include "host/render/camera_ray.h"

#include <algorithm>

namespace vx::render {

CameraRays::CameraRays(const miCamera& camera, const trace::Matrix& to_world)
    : m_to_world(to_world),
      m_eye(trace::point(to_world, {0.0f, 0.0f, 0.0f})),
      m_orthographic(camera.orthographic != miFALSE),
      m_focal(camera.focal) {
    const double aperture = static_cast<double>(camera.aperture);
    const double aspect = camera.aspect != 0.0f ? static_cast<double>(camera.aspect) : 1.0;
    m_scale_x = aperture / camera.x_resolution;
    m_shift_x = -0.5 * aperture - static_cast<double>(camera.x_offset) * m_scale_x;
    m_scale_y = aperture / aspect / camera.y_resolution;
    m_shift_y = -0.5 * aperture / aspect - static_cast<double>(camera.y_offset) * m_scale_y;
}

CameraRay CameraRays::at(float x, float y) const {
    const auto cx = static_cast<float>(static_cast<double>(x) * m_scale_x + m_shift_x);
    const auto cy = static_cast<float>(static_cast<double>(y) * m_scale_y + m_shift_y);
    const miVector along =
        m_orthographic ? miVector{0.0f, 0.0f, -1.0f} : miVector{cx, cy, -m_focal};
    return {m_orthographic ? trace::point(m_to_world, {cx, cy, 0.0f}) : m_eye,
            trace::normalized(trace::direction(m_to_world, along))};
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
