// Colors for numbers and labels, and what a screen makes of them.
#pragma once

#include "cache/picture/raster.h"

#include <cstdint>

namespace vx::cache {

// The sRGB transfer curve (IEC 61966-2-1), of one channel. What is below 0 or not a number gives 0,
// above 1 gives 1.
float to_display(float linear);
float from_display(float shown);
Color to_display(const Color& linear);
Color from_display(const Color& shown);

/*
 * A color for t in 0..1 (cut to it), linear. From a dark violet over blue, green to a light
 * yellow, made for this program: in the OKLab space (Bjoern Ottosson, 2020), whose distances are
 * those that eyes see, lightness rises evenly with t while the hue turns by an even angle; the
 * chroma is as large as a screen can show all along the way. Read in gray it still goes from dark
 * to light.
 */
Color map_color(double t);

// A color for a label, linear, the same in every picture: gray for 0, for the others hues that
// are far apart for neighbors (turned by the golden angle).
Color label_color(std::int32_t label);

// What has no value.
inline constexpr Color kNoValue{0.18f, 0.18f, 0.18f};

} // namespace vx::cache
