#include "host/shaders/microfacet.h"

#include <algorithm>
#include <cmath>

namespace vx::shaders {

miScalar fresnel(miScalar cosine, miScalar ior) {
    if (!(ior > 0)) return 1;
    const double c = static_cast<double>(cosine);
    const double n = static_cast<double>(ior);
    const double g2 = n * n + c * c - 1;
    if (g2 < 0) return 1;
    const double g = std::sqrt(g2);
    if (g + c == 0) return 1; // grazing angle, equal indices
    const double ratio = (g - c) / (g + c);
    const double other = (c * (g + c) - 1) / (c * (g - c) + 1);
    return static_cast<miScalar>(0.5 * ratio * ratio * (1 + other * other));
}

miScalar blinn_highlight(const miVector& normal, const miVector& to_light,
                         const miVector& to_viewer, miScalar roughness, miScalar ior) {
    constexpr miScalar kMinRoughness = 0.001f;
    const miScalar nl = mi_vector_dot(&normal, &to_light);
    const miScalar nv = mi_vector_dot(&normal, &to_viewer);
    if (!(nl > 0) || !(nv > 0)) return 0;
    miVector half = {0, 0, 0};
    mi_vector_add(&half, &to_light, &to_viewer);
    mi_vector_normalize(&half);
    const miScalar nh = mi_vector_dot(&normal, &half);
    const miScalar vh = mi_vector_dot(&to_viewer, &half);
    if (!(nh > 0) || !(vh > 0)) return 0;
    const miScalar m = std::max(roughness, kMinRoughness);
    const miScalar d = m * m / (nh * nh * (m * m - 1) + 1);
    const miScalar g = std::min({1.0f, 2 * nh * nv / vh, 2 * nh * nl / vh});
    return d * d * g * fresnel(vh, ior) / nv;
}

} // namespace vx::shaders
