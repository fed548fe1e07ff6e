/// @file
/// Connects the map engine with the host: where maps are stored, how map files are reported.
#pragma once

namespace vx::api {

/// Makes the map engine store maps in the scene database of the current context: a map that a
/// shader stores becomes an element of type miSCENE_MAP, which exists until the context is
/// destroyed. Must be called once, before any shader runs.
void store_maps_in_database();

/// Makes the map engine report its file operations to the messages of the current context, with the
/// shader instance that asked for them: information on success, an error on failure, which also
/// makes the render count as failed.
void report_map_files();

} // namespace vx::api
