/// @file
/// Check sums and hashes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vx::cache {

/// The CRC-32 of zip files, continued: start with 0, and pass the last result with the next bytes.
std::uint32_t crc32_of(std::uint32_t crc, const void* data, std::size_t bytes);

/// A bijection of 32-bit numbers whose results look random: every bit depends on every bit of `v`.
std::uint32_t scrambled(std::uint32_t v);

} // namespace vx::cache
