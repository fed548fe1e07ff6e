#include "cache/picture/color_map.h"

#include <algorithm>
#include <cmath>

namespace vx::cache {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kMapSteps = 256;

struct Lab {
    double l, a, b;
};

// The matrices are from B. Ottosson, "A perceptual color space for image processing" (2020).
Color from_oklab(const Lab& c) {
    const double l = std::pow(c.l + 0.3963377774 * c.a + 0.2158037573 * c.b, 3);
    const double m = std::pow(c.l - 0.1055613458 * c.a - 0.0638541728 * c.b, 3);
    const double s = std::pow(c.l - 0.0894841775 * c.a - 1.2914855480 * c.b, 3);
    return {static_cast<float>(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s),
            static_cast<float>(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s),
            static_cast<float>(-0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s)};
}

Color polar(double lightness, double chroma, double degrees) {
    const double h = degrees * kPi / 180;
    return from_oklab({lightness, chroma * std::cos(h), chroma * std::sin(h)});
}

bool is_shown(const Color& c) {
    return std::all_of(c.begin(), c.end(), [](float v) { return v >= 0.0f && v <= 1.0f; });
}

// The largest chroma up to `wanted` that is inside the sRGB gamut.
Color shown(double lightness, double wanted, double degrees) {
    double low = 0;
    double high = wanted;
    if (is_shown(polar(lightness, high, degrees))) low = high;
    for (int i = 0; i < 30 && low < high; ++i) {
        const double middle = (low + high) / 2;
        (is_shown(polar(lightness, middle, degrees)) ? low : high) = middle;
    }
    return polar(lightness, low, degrees);
}

std::array<Color, kMapSteps> make_map() {
    std::array<Color, kMapSteps> map{};
    for (int i = 0; i < kMapSteps; ++i) {
        const double t = i / (kMapSteps - 1.0);
        const double chroma = 0.115 + 0.05 * std::abs(2 * t - 1);
        map[static_cast<std::size_t>(i)] = shown(0.28 + 0.63 * t, chroma, 305 - 195 * t);
    }
    return map;
}

} // namespace

float to_display(float linear) {
    if (!(linear > 0.0f)) return 0.0f;
    if (linear >= 1.0f) return 1.0f;
    const double v = static_cast<double>(linear);
    return static_cast<float>(v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055);
}

float from_display(float shown) {
    if (!(shown > 0.0f)) return 0.0f;
    if (shown >= 1.0f) return 1.0f;
    const double v = static_cast<double>(shown);
    return static_cast<float>(v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4));
}

Color to_display(const Color& linear) {
    return {to_display(linear[0]), to_display(linear[1]), to_display(linear[2])};
}

Color from_display(const Color& shown) {
    return {from_display(shown[0]), from_display(shown[1]), from_display(shown[2])};
}

Color map_color(double t) {
    static const std::array<Color, kMapSteps> kMap = make_map();
    const double at = std::clamp(t, 0.0, 1.0) * (kMapSteps - 1);
    const auto step = std::min(static_cast<std::size_t>(at), std::size_t{kMapSteps - 2});
    const auto rest = static_cast<float>(at - static_cast<double>(step));
    Color out{};
    for (std::size_t k = 0; k < 3; ++k)
        out[k] = kMap[step][k] * (1.0f - rest) + kMap[step + 1][k] * rest;
    return out;
}

Color label_color(std::int32_t label) {
    if (label == 0) return {0.40f, 0.40f, 0.40f};
    constexpr double kGoldenAngle = 137.50776405;
    const auto number = static_cast<std::uint32_t>(label);
    const double degrees = std::fmod(number * kGoldenAngle - 95, 360.0);
    const double lightness = std::array{0.72, 0.62, 0.80}[number % 3];
    return shown(lightness, 0.15, degrees);
}

} // namespace vx::cache
