/// @file
/// Legends, which explain the colors of a picture beside it.
#pragma once

#include "cache/picture/raster.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx::cache {

struct Legend {
    enum class Kind { none, bar, labels, text };
    Kind kind = Kind::none;
    std::string title;                ///< the name of the attribute
    double low = 0, high = 1;         ///< bar: its ends
    std::vector<std::int32_t> labels; ///< labels: in the order of the legend
    std::vector<std::string> lines;   ///< text: below the title
};

/// The width in pixels that a legend takes at the right side of a picture of this size; 0 if there
/// is none, or if it does not fit into a third of the picture.
int legend_width(const Legend& legend, int width, int height);

/// Draws a legend at the right side, if it fits, in a color that contrasts with the background.
void draw_legend(Picture& picture, const Legend& legend, const Color& background);

/// A mark of a bar.
struct Tick {
    double value;
    std::string text;
};
/// The marks of a bar: its ends, and multiples of 1, 2 or 5 times a power of ten between them, at a
/// distance from the ends.
/// @param most  the number of marks that fit
std::vector<Tick> bar_ticks(double low, double high, int most);

} // namespace vx::cache
