/// @file
/// Zip archives as NumPy writes them: stored and deflated entries, with 64-bit sizes. The layout is
/// that of PKWARE's APPNOTE.TXT.
#pragma once

#include "cache/cloud/file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx::cache {

struct ZipEntry {
    std::string name;
    int method = 0;          ///< 0: stored, 8: deflated
    std::uint32_t crc = 0;   ///< of the unpacked bytes
    std::int64_t packed = 0; ///< bytes in the archive
    std::int64_t size = 0;   ///< bytes when unpacked
    std::int64_t header = 0; ///< offset of the local header
    std::int64_t data = 0;   ///< offset of the packed bytes
    std::string comment;     ///< in the directory; at most 65535 bytes
};

/// Reads the directory. All entries lie within the file, and their sizes are plausible.
/// @throws FileError
std::vector<ZipEntry> read_zip(const InputFile& file);

/// What the offsets of the bytes of written entries are multiples of, so that programs can map
/// them.
inline constexpr std::size_t kZipAlignment = 64;

/// The local header of a stored entry, whose bytes follow at a multiple of kZipAlignment. Its
/// length depends on the entry's name and offset only: sizes always have 64 bits.
std::string zip_local_header(const ZipEntry& entry);
/// The directory of stored entries and the records that end the archive. Sizes and offsets have 64
/// bits where they need them.
/// @param offset  of the directory in the archive
std::string zip_directory(const std::vector<ZipEntry>& entries, std::int64_t offset);

} // namespace vx::cache
