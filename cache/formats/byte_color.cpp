#include "cache/formats/byte_color.h"

#include <algorithm>
#include <cmath>

namespace vx::cache {

std::uint8_t color_byte(double linear, ByteColor curve) {
    if (!(linear > 0)) return 0;
    double shown = std::min(linear, 1.0);
    if (curve == ByteColor::srgb) {
        shown = shown <= 0.0031308 ? 12.92 * shown : 1.055 * std::pow(shown, 1 / 2.4) - 0.055;
    }
    return static_cast<std::uint8_t>(std::lround(255.0 * shown));
}

} // namespace vx::cache
