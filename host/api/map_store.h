/// @file
/// Where the maps live that shaders store.
#pragma once

namespace vx::api {

/// Makes the map engine keep maps that have a tag in the scene database of the current context: a
/// map that a shader stores becomes an element of type miSCENE_MAP. The element stays until the
/// context ends. A program calls this once, before any shader runs.
void store_maps_in_database();

} // namespace vx::api
