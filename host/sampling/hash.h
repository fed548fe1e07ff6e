// Small integer hashes: from positions to random-looking bits, the same on every machine.
#pragma once

#include <cstdint>

namespace vx::sampling {

// A permutation of 64 bits in which every input bit changes every output bit about half the time.
constexpr std::uint64_t mix(std::uint64_t x) {
    x ^= x >> 32;
    x *= 0xd6e8feb86659fd93ULL;
    x ^= x >> 32;
    x *= 0xd6e8feb86659fd93ULL;
    x ^= x >> 32;
    return x;
}

constexpr std::uint64_t combine(std::uint64_t seed, std::uint64_t value) {
    return mix(seed ^ (mix(value + 0x9e3779b97f4a7c15ULL) + (seed << 6)));
}

} // namespace vx::sampling
