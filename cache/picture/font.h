// Letters of 5 x 7 dots with 2 more below the line, drawn for this program, so that pictures need
// no font of the machine.
#pragma once

#include "cache/picture/raster.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace vx::cache {

inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 9;
inline constexpr int kGlyphStep = 6; // from one letter to the next

// Rows from the top; bit 4 is the leftmost dot. Anything but printable ASCII is a question mark.
const std::array<std::uint8_t, kGlyphHeight>& glyph(char c);

// In pixels, `scale` pixels to a dot, without the gap behind the last letter.
int text_width(std::string_view text, int scale);
// Of capitals and numbers, which stand on the line.
inline int text_height(int scale) {
    return 7 * scale;
}

// (x, y): the upper left corner. What lies outside the picture is cut off.
void draw_text(Picture& picture, int x, int y, int scale, std::string_view text,
               const Color& color);
void fill_box(Picture& picture, int x, int y, int width, int height, const Color& color);

} // namespace vx::cache
