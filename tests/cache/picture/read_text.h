// Reads letters back out of a picture, dot by dot.
#pragma once

#include "cache/picture/font.h"

#include <string>

namespace vx::cache {

// The text that stands at (x, y) in exactly that color, up to the first place that is no letter.
inline std::string read_text(const Picture& picture, int x, int y, int scale, const Color& ink) {
    std::string text;
    for (;; x += kGlyphStep * scale) {
        char found = '\0';
        for (char c = ' '; c <= '~' && found == '\0'; ++c) {
            bool same = true;
            for (int j = 0; j < kGlyphHeight * scale && same; ++j) {
                for (int i = 0; i < kGlyphWidth * scale && same; ++i) {
                    const bool dot =
                        (glyph(c)[static_cast<std::size_t>(j / scale)] >> (4 - i / scale) & 1) != 0;
                    const bool inside =
                        x + i >= 0 && x + i < picture.width && y + j >= 0 && y + j < picture.height;
                    same = dot == (inside && picture.at(x + i, y + j) == ink);
                }
            }
            if (same) found = c;
        }
        if (found == '\0') break;
        text += found;
        if (text.size() > 100) break;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace vx::cache
