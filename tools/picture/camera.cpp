#include "tools/picture/camera.h"

#include <algorithm>
#include <limits>

namespace vx::cache {

namespace {

// A direction across `up` that faces the viewer of a picture by custom: +z where y is up, -y where
// z is up.
Vec facing(const Vec& up) {
    const Vec u = normalized(up);
    const Vec guess = std::abs(u.z) > 0.7 ? Vec{0, -1, 0} : Vec{0, 0, 1};
    return normalized(guess - u * dot(guess, u));
}

} // namespace

void Camera::set_plane(double aperture, double aspect, double offset_x, double offset_y) {
    scale_x = aperture / width;
    scale_y = aperture / aspect / height;
    shift_x = -0.5 * aperture - offset_x * scale_x;
    shift_y = -0.5 * aperture / aspect - offset_y * scale_y;
}

Camera::Position Camera::project(const Vec& point) const {
    const Vec p = transform_point(to_camera, point);
    const double stretch = orthographic ? 1 : focal / -p.z;
    return {(p.x * stretch - shift_x) / scale_x, (p.y * stretch - shift_y) / scale_y, -p.z};
}

Matrix look_at(const Vec& eye, const Vec& towards, const Vec& up) {
    const Vec back = normalized(eye - towards);
    Vec right = cross(up, back);
    if (!(length(right) > 1e-9 * length(up))) {
        right = cross(std::abs(back.y) < 0.9 ? Vec{0, 1, 0} : Vec{0, 0, -1}, back);
    }
    right = normalized(right);
    const Vec above = cross(back, right);
    return {right.x, above.x, back.x, 0, right.y,          above.y,          back.y,          0,
            right.z, above.z, back.z, 0, -dot(right, eye), -dot(above, eye), -dot(back, eye), 1};
}

Direction named_direction(const std::string& name, const Vec& up) {
    const Vec u = normalized(up);
    const Vec front = facing(u);
    const Vec right = cross(u, front);
    if (name == "front") return {front, u};
    if (name == "back") return {front * -1, u};
    if (name == "right") return {right, u};
    if (name == "left") return {right * -1, u};
    if (name == "top") return {u, front * -1};
    if (name == "bottom") return {u * -1, front};
    return {normalized(front + right * 0.65 + u * 0.5), u};
}

Framing::Framing(const Matrix& rotation, bool orthographic, double tangent_x, double tangent_y)
    : m_rotation(rotation), m_orthographic(orthographic), m_x(tangent_x), m_y(tangent_y) {
    constexpr double none = -std::numeric_limits<double>::infinity();
    m_right = m_left = m_top = m_bottom = m_nearest = none;
}

void Framing::add(const Vec& point, double radius) {
    const Vec p = transform_direction(m_rotation, point);
    const double x = m_orthographic ? 0 : m_x;
    const double y = m_orthographic ? 0 : m_y;
    const double rx = radius * std::sqrt(1 + x * x);
    const double ry = radius * std::sqrt(1 + y * y);
    m_right = std::max(m_right, p.x + x * p.z + rx);
    m_left = std::max(m_left, -p.x + x * p.z + rx);
    m_top = std::max(m_top, p.y + y * p.z + ry);
    m_bottom = std::max(m_bottom, -p.y + y * p.z + ry);
    m_nearest = std::max(m_nearest, p.z + radius);
}

// All points lie left of the plane x + m_x z = m_right, and so on: the eye stands where the four
// planes of the view are met, as far forward as they allow.
Vec Framing::eye() const {
    const double x = (m_right - m_left) / 2;
    const double y = (m_top - m_bottom) / 2;
    const double z = distance();
    const Matrix& m = m_rotation;
    return {x * m[0] + y * m[1] + z * m[2], x * m[4] + y * m[5] + z * m[6],
            x * m[8] + y * m[9] + z * m[10]};
}

double Framing::distance() const {
    const double width = m_right + m_left;
    const double height = m_top + m_bottom;
    if (m_orthographic) return m_nearest + std::max({width, height, 1e-6});
    const double z = std::max(width / (2 * m_x), height / (2 * m_y));
    // A single point without a size still has to be in front of the camera.
    const double least = 1e-6 * std::max(1.0, std::abs(m_nearest));
    return std::max(z, m_nearest + least);
}

double Framing::half_width() const {
    const double half = std::max((m_right + m_left) / 2, (m_top + m_bottom) / 2 * m_x / m_y);
    return half > 0 ? half : 0.5;
}

} // namespace vx::cache
