/// @file
/// Storage of maps in the scene database.
#pragma once

namespace vx::api {

/// Makes the map engine store maps in the scene database of the current context: a map that a
/// shader stores becomes an element of type miSCENE_MAP, which exists until the context is
/// destroyed. Must be called once, before any shader runs.
void store_maps_in_database();

} // namespace vx::api
