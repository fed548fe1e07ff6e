// The three formats of map files, as docs/map-format.md specifies them.
#pragma once

#include "maps/io.h"
#include "maps/map.h"

#include <memory>
#include <span>

namespace vx::maps {

inline constexpr std::uint32_t kFileVersion = 1;

// The readers replace declaration and content of the map. On failure they return File_not_a_map or
// File_version_unsupported, or throw std::bad_alloc, and the map may be left in any state. The
// memory they use is bounded by the file's size and by the limits in declaration.h, whatever the
// file claims.

bool is_binary(std::span<const unsigned char> file);
// How much of a closed file is checked: all of it, or what a map relies on (see verify.h).
enum class Extent { whole, needed };
// Reads either binary format. A closed file stays mapped for as long as the map uses it.
Status read_binary(const std::shared_ptr<const MappedFile>& file, Extent extent, Map& map,
                   Map_base::File_format& format);
Status read_ascii(std::span<const unsigned char> file, Map& map);

// The map must have a declaration. ReplacedFile::commit() reports failures.
void write_closed(ReplacedFile& file, const Map& map);
void write_open(ReplacedFile& file, const Map& map);
void write_ascii(ReplacedFile& file, const Map& map);

} // namespace vx::maps
