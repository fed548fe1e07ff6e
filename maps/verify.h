// What is checked of a binary map file. Searches stay within the body whatever its boxes, positions
// and values are: they rely on the numbers in `order` and `rank` only, and on these being below the
// number of elements.
#pragma once

#include "maps/body.h"

namespace vx::maps {

// Files up to this size are checked as a whole when they are opened. Of larger closed files, only
// the header and the ranges of `order` and `rank` are checked: reading the rest would take longer
// than everything else.
std::uint64_t verified_size();

// Whether all numbers in `order` and `rank` are below the number of elements.
bool rows_are_in_range(const Body& body);
// Whether, in addition, `order` and `rank` are permutations that undo each other. Reads `rank` in
// the order of `order`, which takes long if the body is larger than the processor's cache.
bool rows_are_inverse(const Body& body);

} // namespace vx::maps
