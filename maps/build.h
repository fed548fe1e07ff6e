// Builds the consolidated form of a map.
#pragma once

#include "maps/body.h"
#include "maps/records.h"

namespace vx::maps {

// Sorts up to 2^32 - 1 records into tree order and copies them into a body. The result depends on
// the records and the quality only, not on the number of threads. `quality` selects how the axis of
// a split is chosen: below 0.3 the widest of the cell, below 0.85 the widest of the points' extent,
// otherwise the best of all axes. Throws std::bad_alloc.
BodyPtr build_body(const DeclarationPtr& declaration, const Records& records, float quality);

} // namespace vx::maps
