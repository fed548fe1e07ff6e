#include "host/image/filter.h"

#include <cmath>
#include <numbers>

namespace vx::image {

namespace {

float own_size(FilterKind kind) {
    switch (kind) {
    case FilterKind::box:
        return 1.0f;
    case FilterKind::triangle:
        return 2.0f;
    case FilterKind::gauss:
        return 3.0f;
    case FilterKind::mitchell:
    case FilterKind::lanczos:
        return 4.0f;
    }
    return 1.0f;
}

float mitchell(float x) {
    constexpr float kB = 1.0f / 3.0f;
    constexpr float kC = 1.0f / 3.0f;
    if (x < 1.0f)
        return ((12 - 9 * kB - 6 * kC) * x * x * x + (-18 + 12 * kB + 6 * kC) * x * x +
                (6 - 2 * kB)) /
               6.0f;
    return ((-kB - 6 * kC) * x * x * x + (6 * kB + 30 * kC) * x * x + (-12 * kB - 48 * kC) * x +
            (8 * kB + 24 * kC)) /
           6.0f;
}

float sinc(float x) {
    const float t = std::numbers::pi_v<float> * x;
    return t < 1e-4f ? 1.0f : std::sin(t) / t;
}

// u: distance over radius, 0 to 1.
float profile(FilterKind kind, float u) {
    switch (kind) {
    case FilterKind::box:
        return 1.0f;
    case FilterKind::triangle:
        return 1.0f - u;
    case FilterKind::gauss:
        return std::exp(-4.5f * u * u);
    case FilterKind::mitchell:
        return mitchell(2.0f * u);
    case FilterKind::lanczos:
        return sinc(2.0f * u) * sinc(u);
    }
    return 0.0f;
}

} // namespace

Filter::Filter(FilterKind kind, float width, float height)
    : m_kind(kind),
      m_radius_x(0.5f * (width > 0.0f ? width : own_size(kind))),
      m_radius_y(0.5f * (height > 0.0f ? height : own_size(kind))) {}

float Filter::weight(float dx, float dy) const {
    // Half open, so that a box of one pixel gives every sample to exactly one pixel.
    if (!(dx >= -m_radius_x && dx < m_radius_x && dy >= -m_radius_y && dy < m_radius_y))
        return 0.0f;
    if (m_kind == FilterKind::box) return 1.0f;
    return profile(m_kind, std::abs(dx) / m_radius_x) * profile(m_kind, std::abs(dy) / m_radius_y);
}

} // namespace vx::image
