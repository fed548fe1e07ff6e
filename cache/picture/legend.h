// What the colors of a picture stand for, written beside it.
#pragma once

#include "cache/picture/raster.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx::cache {

struct Legend {
    enum class Kind { none, bar, labels, text };
    Kind kind = Kind::none;
    std::string title;                // the attribute's name
    double low = 0, high = 1;         // bar
    std::vector<std::int32_t> labels; // in the order in which they are shown
    std::vector<std::string> lines;   // text: below the title
};

// Pixels at the right side of a picture of this size that the legend takes; 0 when there is none or
// it does not fit into a third of the width.
int legend_width(const Legend& legend, int width, int height);

// Draws it there, readable on the background; nothing when it does not fit.
void draw_legend(Picture& picture, const Legend& legend, const Color& background);

// Where a bar is marked: the two ends, and between them multiples of 1, 2 or 5 times a power of ten
// that stand clear of the ends. `most`: how many marks there is room for.
struct Tick {
    double value;
    std::string text;
};
std::vector<Tick> bar_ticks(double low, double high, int most);

} // namespace vx::cache
