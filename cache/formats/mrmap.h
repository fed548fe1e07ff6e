// The parts of the format mrmap, and what access to maps in memory shares with it.
#pragma once

#include "cache/formats/format_traits.h"

#include "mi_shader_if.h"
#include "shader.h"

#include <memory>
#include <string>

namespace vx::cache {

CloudPtr open_mrmap(FilePtr file, Findings& findings, const OpenOptions& options);
void write_mrmap(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

/// A map of the cloud, ready for searches. The name is for messages. Throws FileError.
std::unique_ptr<mi::shader_v3::Edit_map> build_map(Cloud& cloud, const std::string& name,
                                                   const WriteOptions& options, Notes& notes);

/// Stores the map that a cloud of open_mrmap() reads, if it is one. Sets `tag`, to a null tag if
/// that fails.
bool store_map_of(Cloud& cloud, miTag& tag);

/// The reason behind a failed call of the map interface.
std::string map_error(const mi::shader_v3::Map_status& status);

} // namespace vx::cache
