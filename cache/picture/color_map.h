/// @file
/// Colors for numbers and labels, and conversion to and from display colors.
#pragma once

#include "cache/picture/raster.h"

#include <cstdint>

namespace vx::cache {

/// The sRGB transfer function (IEC 61966-2-1) and its inverse, for one channel or three. Values are
/// clamped to 0..1; not-a-number gives 0.
float to_display(float linear);
float from_display(float shown);
Color to_display(const Color& linear);
Color from_display(const Color& shown);

/// The linear color of a number.
/// @param t  clamped to 0..1
///
/// The map leads from dark violet through blue and green to light yellow. In the OKLab space
/// (Bjoern Ottosson, 2020), where distances approximate perceived differences, lightness increases
/// linearly with t, the hue rotates at a constant rate, and the chroma is the largest that a screen
/// can show along the whole path. In gray it still goes from dark to light.
Color map_color(double t);

/// The linear color of a label, the same in every picture: gray for 0; otherwise the hue advances
/// by the golden angle from label to label, so that neighbors differ.
Color label_color(std::int32_t label);

/// For points without a value.
inline constexpr Color kNoValue{0.18f, 0.18f, 0.18f};

} // namespace vx::cache
