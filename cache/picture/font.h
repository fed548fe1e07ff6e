/// @file
/// A bitmap font of 5 x 7 dots, with 2 more rows for descenders, so that pictures do not depend on
/// installed fonts.
#pragma once

#include "cache/picture/raster.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace vx::cache {

inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 9;
inline constexpr int kGlyphStep = 6; ///< from one letter to the next

/// The rows of a letter from the top; bit 4 is the leftmost dot. Characters other than printable
/// ASCII are question marks.
const std::array<std::uint8_t, kGlyphHeight>& glyph(char c);

/// The width of a text in pixels, without the gap after the last letter.
/// @param scale  pixels per dot
int text_width(std::string_view text, int scale);
/// The height of capitals and digits, which have no descenders, in pixels.
inline int text_height(int scale) {
    return 7 * scale;
}

/// Draw at (x, y), the upper left corner. What is outside the picture is clipped.
/// @{
void draw_text(Picture& picture, int x, int y, int scale, std::string_view text,
               const Color& color);
void fill_box(Picture& picture, int x, int y, int width, int height, const Color& color);
/// @}

} // namespace vx::cache
