// Zip archives as far as NumPy writes them: stored and deflated entries, sizes of 64 bits.
#pragma once

#include "cache/cloud/file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx::cache {

struct ZipEntry {
    std::string name;
    int method = 0; // 0 stored, 8 deflated
    std::uint32_t crc = 0;
    std::int64_t packed = 0;
    std::int64_t size = 0;
    std::int64_t header = 0; // offset of the local header
    std::int64_t data = 0;   // offset of the bytes
};

// Reads the directory and checks that all entries lie within the file. Throws FileError.
std::vector<ZipEntry> read_zip(const InputFile& file);

// The local header, and the directory with all that follows it. Sizes and offsets beyond 32 bits
// get their 64-bit fields, the local header always, so that its length does not depend on them.
std::string zip_local_header(const ZipEntry& entry);
std::string zip_directory(const std::vector<ZipEntry>& entries, std::int64_t offset);

} // namespace vx::cache
