#include "tests/reader/model.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vx::test {

namespace {

constexpr double kEpsilon = 0x1p-23;

struct Found {
    double distance = 0;
    const BakedPoint* point = nullptr;
};

// Collects decisions; close ones make the whole case undecidable.
class Decisions {
  public:
    bool less(double a, double b, double margin) {
        if (std::abs(a - b) <= margin) m_close = true;
        return a < b;
    }
    bool any_close() const { return m_close; }

  private:
    bool m_close = false;
};

double dot(const miVector& a, const std::array<double, 3>& b) {
    return double{a.x} * b[0] + double{a.y} * b[1] + double{a.z} * b[2];
}
std::array<double, 3> doubles(const miVector& v) {
    return {v.x, v.y, v.z};
}

bool in_cone(double cosine, double min_degrees, double max_degrees, Decisions& decisions) {
    const double angle = decisions.less(cosine, -0.9999, 1e-6)  ? std::numbers::pi
                         : decisions.less(0.9999, cosine, 1e-6) ? 0.0
                                                                : std::acos(cosine);
    const double degree = std::numbers::pi / 180;
    if (min_degrees > 0 && decisions.less(angle, min_degrees * degree, 5e-5)) return false;
    if (max_degrees < 180 && decisions.less(max_degrees * degree, angle, 5e-5)) return false;
    return true;
}

// What rounding the products and sums of a scalar product can change in it.
double rounding_of_dot(const miVector& a, const miVector& b) {
    return 2 * kEpsilon *
           (std::abs(double{a.x} * b.x) + std::abs(double{a.y} * b.y) +
            std::abs(double{a.z} * b.z));
}

double smooth_falloff(double t) {
    return t >= 1 ? 0.0 : 1 - t * t * (3 - 2 * t);
}

} // namespace

std::optional<Expected> expected_result(const std::vector<BakedPoint>& cloud,
                                        const ReadParameters& params, const std::set<int>& labels,
                                        const miVector& point, const miVector& normal) {
    Decisions decisions;
    const double radius = params.radius;
    std::vector<Found> found;
    for (const BakedPoint& candidate : cloud) {
        if (params.useLabels != 0 && !labels.contains(candidate.label)) continue;
        const std::array<double, 3> v = {double{candidate.position[0]} - point.x,
                                         double{candidate.position[1]} - point.y,
                                         double{candidate.position[2]} - point.z};
        const double distance = std::hypot(v[0], v[1], v[2]);
        if (!decisions.less(distance, radius, 1e-6 * radius)) continue;
        const bool cone = params.minAngle > 0 || params.maxAngle < 180;
        if (cone && !in_cone(dot(normal, doubles(candidate.normal)), params.minAngle,
                             params.maxAngle, decisions))
            continue;
        if (params.facing == 1 && !decisions.less(0, dot(normal, v) / distance, 1e-6)) continue;
        found.push_back({distance, &candidate});
    }
    std::sort(found.begin(), found.end(),
              [](const Found& a, const Found& b) { return a.distance < b.distance; });
    const size_t most = static_cast<size_t>(std::max(params.maxPoints, 0));
    for (size_t i = 1; i < found.size() && i <= most; ++i)
        decisions.less(found[i - 1].distance, found[i].distance, 1e-6 * radius);
    found.resize(std::min(found.size(), most));

    Expected expected;
    expected.found = static_cast<int>(found.size());
    const std::array<double, 3> exponents = {params.falloff.r, params.falloff.g, params.falloff.b};
    std::array<double, 3> slack = {0, 0, 0};
    std::array<double, 3> magnitude = {0, 0, 0};
    double product = 1;
    double product_rounding = 0; // relative
    for (const auto& [distance, baked] : found) {
        double factor = 1;
        double factor_rounding = 0; // relative
        if (params.facing == 1) {
            factor = -dot(normal, doubles(baked->normal));
            if (decisions.less(factor, 0, 1e-6)) continue;
            factor_rounding = rounding_of_dot(normal, baked->normal) / factor;
        }
        if (params.useOpacity != 0) factor *= baked->opacity;
        ++expected.blended;
        product *= factor;
        product_rounding += factor_rounding;
        // Rounding of the distance, of t and of the terms, which are up to 3.
        const double falloff = smooth_falloff(distance / radius);
        // So near the radius single precision may come out below 0, whose powers are no numbers.
        decisions.less(0, falloff, 8 * kEpsilon);
        const double low = std::max(falloff - 8 * kEpsilon, 0.0);
        const double high = falloff + 8 * kEpsilon;
        const std::array<double, 3> color = doubles(baked->color);
        for (size_t c = 0; c < 3; ++c) {
            const double e = exponents[c];
            const double weight = e != 0 ? std::pow(falloff, e) * factor : product;
            slack[c] += std::abs(weight * color[c]) * (e != 0 ? factor_rounding : product_rounding);
            if (e != 0)
                slack[c] += std::abs((std::pow(high, e) - std::pow(low, e)) * factor * color[c]);
            expected.color[c] += weight * color[c];
            magnitude[c] += std::abs(weight * color[c]);
        }
    }
    if (decisions.any_close()) return std::nullopt;
    const std::array<double, 3> gains = {params.scale.r, params.scale.g, params.scale.b};
    for (size_t c = 0; c < 3; ++c) {
        const double gain = gains[c] / expected.blended;
        expected.color[c] *= gain;
        // One rounding per addition, and two for each factor of a product that goes on and on.
        const double roundings = 3.0 * expected.blended + 12;
        expected.bound[c] =
            std::abs(gain) * (slack[c] + roundings * kEpsilon * magnitude[c]) + 1e-30;
    }
    return expected;
}

} // namespace vx::test
