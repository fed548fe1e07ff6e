/// @file
/// Colors as bytes.
#pragma once

#include "cache/formats/format.h"

#include <cstdint>

namespace vx::cache {

/// The byte of a linear value, which is cut to 0 to 1. Not-a-number gives 0.
/// @param curve  srgb: IEC 61966-2-1; else linear
std::uint8_t color_byte(double linear, ByteColor curve);

} // namespace vx::cache
