// Reads the big-endian numbers of binary blocks.
#pragma once

#include "host/scene/values.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace vx::scene {

// Size of a binary vector in bytes.
inline constexpr std::size_t kBinaryVectorSize = 12;

inline std::uint32_t big_endian_word(const char* bytes) {
    const auto byte = [&](int i) { return std::uint32_t{static_cast<unsigned char>(bytes[i])}; };
    return byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
}

inline float big_endian_float(const char* bytes) {
    return std::bit_cast<float>(big_endian_word(bytes));
}

inline Vec3 big_endian_vector(const char* bytes) {
    return {big_endian_float(bytes), big_endian_float(bytes + 4), big_endian_float(bytes + 8)};
}

} // namespace vx::scene
