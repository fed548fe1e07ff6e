// The three forms of map files; docs/map-format.md has them byte by byte.
#pragma once

#include "maps/io.h"
#include "maps/map.h"

#include <memory>
#include <span>

namespace vx::maps {

inline constexpr std::uint32_t file_version = 1;

// All read into a map that is empty or declared by the reader itself, and leave it in any state on
// failure: File_not_a_map, File_version_unsupported, or std::bad_alloc thrown. Nothing is allocated
// that the size of the file does not warrant.

bool is_binary(std::span<const unsigned char> file);
// Either binary form. A closed file stays mapped for as long as the map uses it.
Status read_binary(const std::shared_ptr<const MappedFile>& file, Map& map,
                   Map_base::File_format& format);
Status read_ascii(std::span<const unsigned char> file, Map& map);

// The map must have a declaration. Failures of writing show in the file's commit.
void write_closed(ReplacedFile& file, const Map& map);
void write_open(ReplacedFile& file, const Map& map);
void write_ascii(ReplacedFile& file, const Map& map);

} // namespace vx::maps
