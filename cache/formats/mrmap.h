/// @file
/// The parts of the format mrmap, which map_access uses as well.
#pragma once

#include "cache/formats/format_traits.h"

#include "mi_shader_if.h"
#include "shader.h"

#include <memory>
#include <string>

namespace vx::cache {

CloudPtr open_mrmap(FilePtr file, Findings& findings, const OpenOptions& options);
void write_mrmap(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

/// Makes a map of a cloud, ready for searches.
/// @param name   the map's, for the error
/// @param notes  what the map cannot hold is appended
/// @throws FileError
std::unique_ptr<mi::shader_v3::Edit_map> build_map(Cloud& cloud, const std::string& name,
                                                   const WriteOptions& options, Notes& notes);

/// Stores the map of a cloud from open_mrmap().
/// @param tag  of the stored map; null if storing fails
/// @return false, with `tag` unchanged, for other clouds
bool store_map_of(Cloud& cloud, miTag& tag);

/// The first damage of a map file, for messages.
struct MapDamage {
    std::int64_t offset = -1; ///< in bytes; -1: none was found
    std::string what;
};
/// Examines what a map file says about itself: its end, its header, its checksum. Reads the whole
/// file.
/// @throws FileError
MapDamage find_map_damage(const InputFile& file);

/// The reason for a failed call of the map interface, for messages.
std::string map_error(const mi::shader_v3::Map_status& status);

} // namespace vx::cache
