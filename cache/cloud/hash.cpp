#include "cache/cloud/hash.h"

#include <zlib.h>

namespace vx::cache {

std::uint32_t crc32_of(std::uint32_t crc, const void* data, std::size_t bytes) {
    return static_cast<std::uint32_t>(crc32_z(crc, static_cast<const Bytef*>(data), bytes));
}

std::uint32_t scrambled(std::uint32_t v) {
    v = (v ^ (v >> 16)) * 0x7feb352dU;
    v = (v ^ (v >> 15)) * 0x846ca68bU;
    return v ^ (v >> 16);
}

} // namespace vx::cache
