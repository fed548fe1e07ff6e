#include "host/image/filter.h"

#include <cmath>
#include <numbers>

namespace vx::image {

namespace {

// D. Mitchell and A. Netravali, "Reconstruction filters in computer graphics" (1988), with the
// parameters B and C that the paper recommends. x: 0 to 2.
float mitchell(float x) {
    constexpr float kBlur = 1.0f / 3.0f;    // B
    constexpr float kRinging = 1.0f / 3.0f; // C
    if (x < 1.0f)
        return ((12 - 9 * kBlur - 6 * kRinging) * x * x * x +
                (-18 + 12 * kBlur + 6 * kRinging) * x * x + (6 - 2 * kBlur)) /
               6.0f;
    return ((-kBlur - 6 * kRinging) * x * x * x + (6 * kBlur + 30 * kRinging) * x * x +
            (-12 * kBlur - 48 * kRinging) * x + (8 * kBlur + 24 * kRinging)) /
           6.0f;
}

float sinc(float x) {
    const float t = std::numbers::pi_v<float> * x;
    return t < 1e-4f ? 1.0f : std::sin(t) / t;
}

// Weight along one axis. u: distance divided by radius, 0 to 1.
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
      m_radius_x(0.5f * (width > 0.0f ? width : default_filter_size(kind))),
      m_radius_y(0.5f * (height > 0.0f ? height : default_filter_size(kind))) {}

float Filter::weight(float dx, float dy) const {
    // Half-open, so that a one-pixel box assigns every sample to exactly one pixel.
    if (!(dx >= -m_radius_x && dx < m_radius_x && dy >= -m_radius_y && dy < m_radius_y))
        return 0.0f;
    if (m_kind == FilterKind::box) return 1.0f;
    return profile(m_kind, std::abs(dx) / m_radius_x) * profile(m_kind, std::abs(dy) / m_radius_y);
}

} // namespace vx::image
