#include "cache/picture/camera.h"

#include <algorithm>
#include <limits>

namespace vx::cache {

namespace {

// The direction toward the viewer in the usual front view: +z where y is up, -y where z is up.
Vec facing(const Vec& up) {
    const Vec u = normalized(up);
    const Vec guess = std::abs(u.z) > 0.7 ? Vec{0, -1, 0} : Vec{0, 0, 1};
    return normalized(guess - u * guess.dot(u));
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
    Vec right = up.cross(back);
    if (!(length(right) > 1e-9 * length(up))) {
        right = (std::abs(back.y) < 0.9 ? Vec{0, 1, 0} : Vec{0, 0, -1}).cross(back);
    }
    right = normalized(right);
    const Vec above = back.cross(right);
    return {right.x, above.x, back.x, 0, right.y,         above.y,         back.y,         0,
            right.z, above.z, back.z, 0, -right.dot(eye), -above.dot(eye), -back.dot(eye), 1};
}

Direction named_direction(const std::string& name, const Vec& up) {
    const Vec u = normalized(up);
    const Vec front = facing(u);
    const Vec right = u.cross(front);
    if (name == "front") return {front, u};
    if (name == "back") return {front * -1, u};
    if (name == "right") return {right, u};
    if (name == "left") return {right * -1, u};
    if (name == "top") return {u, front * -1};
    if (name == "bottom") return {u * -1, front};
    return {normalized(front + right * 0.65 + u * 0.5), u};
}

Framing::Extent::Extent(double t) : tangent(t) {
    above.fill(-std::numeric_limits<double>::infinity());
    below = above;
}

void Framing::Extent::add(double across, double along, double radius) {
    for (std::size_t k = 0; k < kShares; ++k) {
        const double t = tangent * static_cast<double>(k + 1) / kShares;
        const double reach = t * along + radius * std::sqrt(1 + t * t);
        above[k] = std::max(above[k], reach + across);
        below[k] = std::max(below[k], reach - across);
    }
}

double Framing::Extent::distance(std::size_t share) const {
    const double t = tangent * static_cast<double>(share + 1) / kShares;
    return (above[share] + below[share]) / (2 * t);
}

double Framing::Extent::middle(double at) const {
    const auto of = [this](std::size_t k) { return (above[k] - below[k]) / 2; };
    if (!(tangent > 0)) return of(kShares - 1);
    for (std::size_t k = kShares - 1; k > 0; --k) {
        const double far = distance(k - 1);
        const double near = distance(k);
        if (at > far) continue;
        const double part = far > near ? std::clamp((at - near) / (far - near), 0.0, 1.0) : 0;
        return of(k) + (of(k - 1) - of(k)) * part;
    }
    return of(0);
}

Framing::Framing(const Matrix& rotation, bool orthographic, double tangent_x, double tangent_y)
    : m_rotation(rotation),
      m_orthographic(orthographic),
      m_proportion(tangent_x / tangent_y),
      m_x(orthographic ? 0 : tangent_x),
      m_y(orthographic ? 0 : tangent_y),
      m_nearest(-std::numeric_limits<double>::infinity()) {}

void Framing::add(const Vec& point, double radius) {
    const Vec p = transform_direction(m_rotation, point);
    m_x.add(p.x, p.z, radius);
    m_y.add(p.y, p.z, radius);
    m_nearest = std::max(m_nearest, p.z + radius);
}

Vec Framing::eye() const {
    const double z = distance();
    const double x = m_x.middle(z);
    const double y = m_y.middle(z);
    const Matrix& m = m_rotation;
    return {x * m[0][0] + y * m[0][1] + z * m[0][2], x * m[1][0] + y * m[1][1] + z * m[1][2],
            x * m[2][0] + y * m[2][1] + z * m[2][2]};
}

double Framing::distance() const {
    if (m_orthographic) return m_nearest + std::max({m_x.size(), m_y.size(), 1e-6});
    const std::size_t whole = Extent::kShares - 1;
    const double z = std::max(m_x.distance(whole), m_y.distance(whole));
    // A single point without a size still has to be in front of the camera.
    const double least = 1e-6 * std::max(1.0, std::abs(m_nearest));
    return std::max(z, m_nearest + least);
}

double Framing::half_width() const {
    const double half = std::max(m_x.size() / 2, m_y.size() / 2 * m_proportion);
    return half > 0 ? half : 0.5;
}

} // namespace vx::cache
