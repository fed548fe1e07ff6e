// Builds the consolidated form of a map.
#pragma once

#include "maps/body.h"
#include "maps/records.h"

namespace vx::maps {

// Sorts the records into tree order and copies them into a body. The result depends on the records
// and the quality only, not on the number of threads. `quality` 0 to 1: below 0.3 the axes to split
// are taken from the cells, from 0.3 from the extent of the points, from 0.85 every axis is tried.
// At most 2^32 - 1 records. Throws std::bad_alloc.
BodyPtr build_body(const DeclarationPtr& declaration, const Records& records, float quality);

} // namespace vx::maps
